// The firewall: as a picture, where what the pointer or the keyboard is at is told beside it, or
// as a list of chains that open, for small screens.
import {ask, askText} from "./api.js";
import {card, h} from "./dom.js";
import {framed, lineOf, recordLink, toldBy} from "./picture.js";

// Of a chain's rules so many are made at once.
const kBatch = 60;

const kSmall = matchMedia("(max-width: 40rem)");

const kVerdicts = {ACCEPT: "accept", CONTINUE: "accept", DROP: "drop", REJECT: "drop", RETURN: "return",
  DNAT: "translate", SNAT: "translate", MASQUERADE: "translate"};

const verdictOf = (target, leads_to) => h("b", {class: `verdict ${leads_to ? "jump" : kVerdicts[target] ?? "note"}`},
  leads_to ? `\u2192 ${target}` : target || "count");

const sourceOf = (source) => h("p", {}, source.role === "because" ? "because of " : "from ", recordLink(source),
  `: ${source.value}`);

// The picture; `told` is where it tells of its rules.
function pictureOf(text, told) {
  const {frame, drawing} = framed(text);
  for (const rule of drawing.querySelectorAll("g.rule")) rule.setAttribute("tabindex", "0");
  function tell(element) {
    const [rule, ...lines] = toldBy(element) ?? [];
    if (rule) told.replaceChildren(h("p", {}, h("code", {}, rule)), ...lines.map(lineOf));
  }
  drawing.addEventListener("pointerover", (event) => tell(event.target));
  drawing.addEventListener("focusin", (event) => tell(event.target));
  return {element: frame,
    changed: [...drawing.querySelectorAll("g.rule:is(.added, .removed, .moved)")].map((rule) => () => rule)};
}

function ruleOf(rule) {
  const made_by = rule.made_by ? `Command ${rule.made_by.number} of ${rule.made_by.entry}.` : null;
  return h("details", {class: `rule ${rule.change}`},
    h("summary", {}, h("span", {class: "number"}, String(rule.number)), h("span", {}, rule.words), verdictOf(rule.target, rule.leads_to)),
    rule.note ? h("p", {}, rule.note) : null, h("p", {}, h("code", {}, rule.text)), rule.sources.map(sourceOf),
    rule.more ? h("p", {}, `and ${rule.more} more settings`) : null,
    rule.made_by && rule.sources.length === 0 ? h("p", {}, "whatever the settings") : null,
    made_by ? h("p", {class: "none"}, made_by) : null);
}

// How often each verdict stands in a chain, the most frequent first.
function verdictsIn(rules) {
  const counts = new Map();
  for (const {target, leads_to} of rules) if (!leads_to) counts.set(target, (counts.get(target) ?? 0) + 1);
  return [...counts].sort(([, one], [, other]) => other - one)
    .map(([target, count]) => h("b", {class: `verdict ${kVerdicts[target] ?? "note"}`}, `${count} ${target || "count"}`));
}

// A chain, whose rules are made when it opens.
function chainOf(chain) {
  const place = h("ol", {class: "rules"}), rest = h("button", {type: "button", hidden: true, onclick: () => more(kBatch)});
  const rules = chain.rules.filter((rule) => rule.change !== "removed");
  const policy = chain.policy === "" ? null : h("span", {class: "policy"}, "else ", verdictOf(chain.policy, false),
    chain.policy === chain.policy_before ? null : ` (was ${chain.policy_before || "none"})`);
  function more(count) {
    const made = place.children.length;
    place.append(...chain.rules.slice(made, made + count).map((rule) => h("li", {}, ruleOf(rule))));
    const left = chain.rules.length - place.children.length;
    rest.hidden = left === 0;
    rest.textContent = `${Math.min(kBatch, left)} more of ${left}`;
  }
  const begin = () => place.children.length === 0 && more(kBatch);
  const element = h("details", {class: `chain ${chain.change}`, "data-depth": Math.min(chain.depth, 4), ontoggle: begin},
    h("summary", {}, h("code", {}, chain.name), " ", h("small", {}, `${rules.length} ${rules.length === 1 ? "rule" : "rules"}`),
      " ", verdictsIn(rules), policy), place, rest);
  // Shows one of its rules.
  function open(place_of_rule) {
    element.open = true;
    begin();
    more(Math.max(0, place_of_rule + 1 - place.children.length));
    const rule = place.children[place_of_rule].firstChild;
    rule.open = true;
    return rule.firstChild;
  }
  return {element, open};
}

function listOf(text) {
  const changed = [];
  const element = h("div", {class: "chains"}, JSON.parse(text).stages.map((stage) => [
    h("h3", {}, `${stage.program} ${stage.table}: `, stage.meaning), stage.chains.map((chain) => {
      const made = chainOf(chain);
      chain.rules.forEach((rule, place) => rule.change !== "kept" && changed.push(() => made.open(place)));
      return made.element;
    })]));
  return {element, changed};
}

export function firewall(main) {
  const told = h("div", {class: "told card", role: "status"});
  const place = h("div", {class: "place"});
  const wide = matchMedia("(min-width: 60rem)").matches;
  const box = (checked, onchange) => h("input", {type: "checkbox", checked, onchange});
  const with_changes = box(true, () => look());
  const listed = box(kSmall.matches, () => look());
  const fitted = box(wide, () => place.classList.toggle("fitted", fitted.checked));
  const fitting = h("label", {}, fitted, " as wide as the page");
  const choice = h("label", {hidden: true}, with_changes, " with the changes not kept yet");
  const next = h("button", {type: "button", hidden: true, onclick: () => goOn()}, "Next change");
  let shown = "", changed = [], at = -1;

  main.replaceChildren(card("Firewall",
    h("p", {class: "choices"}, h("label", {}, listed, " as a list"), fitting, choice, next), place), told);

  kSmall.onchange = () => {
    listed.checked = kSmall.matches;
    if (place.isConnected) look();
  };

  function goOn() {
    at = (at + 1) % changed.length;
    const rule = changed[at]();
    rule.focus({preventScroll: true});
    rule.scrollIntoView({block: "center", inline: "nearest"});
  }

  async function look() {
    const {changes} = await ask("pending");
    choice.hidden = changes === 0;
    const name = listed.checked ? "firewall" : "firewall.svg";
    const text = await askText(changes > 0 && with_changes.checked ? `${name}?changes=1` : name);
    if (text === shown) return;
    shown = text;
    told.hidden = fitting.hidden = listed.checked;
    told.replaceChildren(h("p", {class: "none"}, "Point at a rule, or reach it with the Tab key, to see which settings it comes from."));
    const made = listed.checked ? listOf(text) : pictureOf(text, told);
    ({changed} = made);
    at = -1;
    next.hidden = changed.length === 0;
    place.classList.toggle("fitted", fitted.checked);
    place.replaceChildren(made.element);
  }
  return {look};
}
