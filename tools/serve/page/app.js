// The page: its views, and the changes that wait to be kept.
import {announce, ask, wishAndTell} from "./api.js";
import {asking} from "./ask.js";
import {changes} from "./changes.js";
import {counted, visible} from "./dom.js";
import {firewall} from "./firewall.js";
import {network} from "./network.js";
import {overview} from "./overview.js";
import {radio} from "./radio.js";
import {settings} from "./settings.js";

const kViews = {overview, network, radio, firewall, ask: asking, settings, changes};

const byId = (id) => document.getElementById(id);
let view = null;
let timer = 0;

async function attempt(act) {
  const trouble = byId("trouble");
  try {
    await act();
    trouble.hidden = true;
  } catch (error) {
    trouble.textContent = error instanceof TypeError ? "The server does not answer. Is orba serve still running?"
      : visible(`That did not work: ${error.message}`);
    trouble.hidden = false;
  }
}

// Looks once, and again after the view's period for as long as it is shown.
async function look() {
  clearTimeout(timer);
  const shown = view;
  if (!document.hidden) await attempt(shown.look);
  document.body.dataset.ready = shown.name;
  if (view === shown && shown.period) timer = setTimeout(look, shown.period);
}

function show() {
  const [place, query] = location.hash.slice(1).split("?"), [wanted, ...path] = place.split("/");
  const name = Object.hasOwn(kViews, wanted) ? wanted : "overview";
  delete document.body.dataset.ready;
  for (const link of document.querySelectorAll("nav a")) {
    if (link.hash === `#${name}`) link.setAttribute("aria-current", "page");
    else link.removeAttribute("aria-current");
  }
  byId("main").replaceChildren();
  view = {name, ...kViews[name](byId("main"), new URLSearchParams(query), path)};
  look();
}

// How much comes of the changes, as soon as it is known; while they come one upon the other
// nobody waits for it.
let told = 0, delay = 0;
function tellEffect(text, version) {
  clearTimeout(delay);
  byId("pending-text").textContent = `${text}.`;
  told = version;
  if (byId("pending").hidden) return;
  delay = setTimeout(async () => {
    const {effects} = await ask("effects");
    const commands = effects.reduce((sum, {difference}) => sum + difference.commands.length, 0);
    if (told === version) byId("pending-text").textContent = `${text}: ${counted(commands, "command")} would differ.`;
  }, 300);
}

document.addEventListener("pending", ({detail: {changes: count, version, unsaved, file}}) => {
  byId("pending").hidden = count === 0;
  tellEffect(`${counted(count, "change")} not kept yet`, version);
  byId("count").hidden = count === 0;
  byId("count").textContent = count;
  byId("unsaved").hidden = unsaved.length === 0;
  byId("unsaved").textContent = visible(`${counted(unsaved.length, "setting")} kept in memory only, not in ${file.name.split("/").at(-1)}`);
});

for (const name of ["keep", "discard"]) {
  byId(name).addEventListener("click", () => attempt(() => wishAndTell(name).then(look)));
}
// What stays in sight stays above the bar.
new ResizeObserver(([{target}]) => document.documentElement.style.setProperty("--pending", `${target.offsetHeight}px`))
  .observe(byId("pending"));
window.addEventListener("hashchange", show);
window.addEventListener("unhandledrejection", (event) => attempt(() => Promise.reject(event.reason)));
document.addEventListener("visibilitychange", () => document.hidden || look());

attempt(async () => {
  const {answers} = await ask("status");
  byId("model").textContent = visible(answers.getModelName || "Router");
  byId("host").textContent = visible(`${answers.getHostName || "no name"}, on the desk`);
  announce(await ask("pending"));
});
show();
