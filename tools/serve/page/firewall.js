// The firewall as a picture; what the pointer or the keyboard is at is told beside it.
import {ask, askText} from "./api.js";
import {card, h} from "./dom.js";

const kDrawn = new Set(["svg", "g", "title", "desc", "defs", "marker", "rect", "line", "path",
  "polygon", "polyline", "circle", "ellipse", "text", "tspan"]);

// What only draws. The server has escaped every text; this is for the day it has not.
function onlyDrawing(element) {
  for (const child of [...element.children]) {
    if (kDrawn.has(child.localName)) onlyDrawing(child);
    else child.remove();
  }
  for (const {name, value} of [...element.attributes]) {
    if (name.startsWith("on") || (name.endsWith("href") && !value.startsWith("#"))) element.removeAttribute(name);
  }
  return element;
}

function framed(text) {
  const parsed = new DOMParser().parseFromString(text, "image/svg+xml");
  if (parsed.querySelector("parsererror")) throw new Error("the picture is no SVG");
  const drawing = document.importNode(onlyDrawing(parsed.documentElement), true);
  const frame = h("div", {class: "picture", tabindex: 0, role: "region", "aria-label": "The firewall's chains"});
  frame.append(drawing);
  return {frame, drawing};
}

// The lines of the nearest title around an element, nothing outside of all rules.
function toldBy(element) {
  const title = element.closest("g.rule")?.querySelector("title");
  return title?.textContent.split("\n").filter((line) => line !== "");
}

// "from PortForwardRules, record 1: ..." leads to the setting.
function lineOf(text) {
  const [, lead, key, rest] = text.match(/^(from|because of) ([^\s,:]+)(.*)$/) ?? [];
  if (!key) return h("p", {}, text);
  return h("p", {}, `${lead} `, h("a", {href: `#settings?${new URLSearchParams({filter: key})}`}, key), rest);
}

export function firewall(main) {
  const told = h("div", {class: "told card", role: "status"});
  const place = h("div", {class: "place"});
  const with_changes = h("input", {type: "checkbox", checked: true, onchange: () => look()});
  const fitted = h("input", {type: "checkbox", checked: matchMedia("(min-width: 60rem)").matches,
    onchange: () => place.classList.toggle("fitted", fitted.checked)});
  const choice = h("label", {hidden: true}, with_changes, " with the changes not kept yet");
  const next = h("button", {type: "button", hidden: true, onclick: () => goOn()}, "Next change");
  let shown = "", changed = [], at = -1;

  main.replaceChildren(card("Firewall",
    h("p", {class: "choices"}, h("label", {}, fitted, " as wide as the page"), choice, next), place), told);
  told.append(h("p", {class: "none"}, "Point at a rule, or reach it with the Tab key, to see which settings it comes from."));

  function tell(element) {
    const [rule, ...lines] = toldBy(element) ?? [];
    if (rule) told.replaceChildren(h("p", {}, h("code", {}, rule)), ...lines.map(lineOf));
  }

  function goOn() {
    at = (at + 1) % changed.length;
    changed[at].focus({preventScroll: true});
    changed[at].scrollIntoView({block: "center", inline: "nearest"});
  }

  async function look() {
    const {changes} = await ask("changes");
    choice.hidden = changes === 0;
    const text = await askText(changes > 0 && with_changes.checked ? "firewall.svg?changes=1" : "firewall.svg");
    if (text === shown) return;
    shown = text;
    const {frame, drawing} = framed(text);
    for (const rule of drawing.querySelectorAll("g.rule")) rule.setAttribute("tabindex", "0");
    drawing.addEventListener("pointerover", (event) => tell(event.target));
    drawing.addEventListener("focusin", (event) => tell(event.target));
    changed = [...drawing.querySelectorAll("g.rule:is(.added, .removed, .moved)")];
    at = -1;
    next.hidden = changed.length === 0;
    place.classList.toggle("fitted", fitted.checked);
    place.replaceChildren(frame);
  }
  return {look};
}
