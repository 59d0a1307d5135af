// What the collected changes would do.
import {announce, ask, change} from "./api.js";
import {card, h} from "./dom.js";

const kSign = {added: "+", removed: "\u2212", moved: "\u2195"};

const edits = (lines) => h("ol", {class: "edits"}, lines.map((line) =>
  h("li", {class: line.change}, h("b", {"aria-label": line.change}, kSign[line.change] ?? "?"), h("code", {}, line.text))));

function part(title, lines) {
  return lines.length === 0 ? null : [h("h3", {}, title), edits(lines)];
}

function chainOf(chain) {
  const name = `${chain.program} ${chain.table} ${chain.chain}`;
  const policy = chain.policy ? h("p", {}, `policy ${chain.policy.before || "none"} becomes ${chain.policy.after || "none"}`) : null;
  return [h("h4", {}, chain.change ? `${name} (${chain.change})` : name), policy, edits(chain.rules)];
}

function effectOf({entry, difference}) {
  const {commands, chains, settings, files, besides} = difference;
  return h("details", {class: "card effect", open: true, "data-entry": entry},
    h("summary", {}, h("h2", {}, entry), ` ${commands.length} of its commands differ`),
    part("Commands", commands), part("Settings written", settings), part("Besides", besides),
    Object.entries(files).map(([path, lines]) => part(path, lines)),
    chains.length === 0 ? null
      : h("details", {}, h("summary", {}, `${chains.length} ${chains.length === 1 ? "chain differs" : "chains differ"}`),
        chains.map(chainOf)));
}

const shown = (value) => (value === null ? h("i", {}, "none") : h("code", {}, value));

export function changes(main) {
  async function look() {
    const answer = await ask("effects");
    announce(answer);
    const download = h("a", {class: "button", href: "api/settings.conf", download: "router.conf"}, "Save as\u2026");
    if (answer.list.length === 0) {
      main.replaceChildren(card("Changes", h("p", {}, "There are none. Change a setting, and this page says what would come of it."), download));
      return;
    }
    main.replaceChildren(
      card("Changes", h("ul", {class: "changes"}, answer.list.map((one) => h("li", {}, h("b", {}, one.key),
        one.space === 1 ? null : ` (space ${one.space})`, ": ", shown(one.from), " \u2192 ", shown(one.to), " ",
        h("button", {type: "button", onclick: () => change(one.space, one.key, one.from).then(look)}, "Undo")))),
      answer.findings.map((finding) => h("p", {class: "finding"}, finding)), h("p", {}, download)),
      ...answer.effects.map(effectOf),
      answer.effects.length === 0 ? card("Effect", h("p", {}, "No command would be another.")) : "");
  }
  return {look};
}
