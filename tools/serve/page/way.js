// One packet's way: its steps as a list, and in the firewall's picture.
import {h, svg} from "./dom.js";
import {framed, linked} from "./picture.js";

const idOf = ({entry, number, part}) => `${entry} ${number} ${part}`;
const placeOf = ({program, table, chain}) => `${program} ${table} ${chain}`;
const kGood = new Set(["forwarded", "delivered to the router", "bridged"]);

// What a step has changed of the packet.
function changesOf(before, after) {
  if (!after) return [];
  const end = (packet, side) => packet[side] + (packet[`${side}_port`] === undefined ? "" : `:${packet[`${side}_port`]}`);
  return [["destination", "now to "], ["source", "now from "]]
    .filter(([side]) => end(before, side) !== end(after, side)).map(([side, words]) => words + end(after, side))
    .concat(before.mark === after.mark ? [] : [`now with mark 0x${after.mark.toString(16)}`]);
}

// The steps that a person reads: each with its number, the rules before it that did not match,
// and how deep in chains it is.
function readable(way) {
  const steps = [];
  let chains = [], passed = [], packet = way.packet, number = 0;
  const add = (step) => {
    steps.push({...step, passed, depth: Math.max(0, chains.length - 1), changes: changesOf(packet, step.packet), number: step.heading ? 0 : ++number});
    passed = [];
  };
  // What did not match in chains that are left behind is told where the next step is.
  const leaveTo = (place) => {
    while (chains.length > 0 && chains.at(-1) !== place) chains.pop();
  };
  for (const [at, step] of way.steps.entries()) {
    const place = step.chain ? placeOf(step) : null, before = way.steps[at - 1];
    if (step.step === "enter") {
      const jump = before?.step === "rule" && before.matched && before.text.split(" ").includes(step.chain);
      if (!jump) {
        chains = [];
        add({...step, heading: true});
      }
      chains.push(place);
      continue;
    }
    if (place) leaveTo(place);
    else chains = [];
    if (step.step === "rule" && !step.matched) passed.push(step);
    else if (step.step !== "policy" || step.policy !== "ACCEPT" || (step.program === "iptables" && step.table === "filter")) {
      if (step.step !== "connection" || step.packet) add(step);
    }
    packet = step.packet ?? packet;
  }
  if (passed.length > 0) add({step: "end", heading: true});
  return steps.filter((step, at) => !step.heading || step.step === "end" || step.passed.length > 0 || (steps[at + 1] && !steps[at + 1].heading));
}

// All settings behind some ways.
export function originsIn(ways) {
  const of = (command) => command?.origins ?? [];
  return ways.flatMap((way) => [
    ...way.steps.flatMap((step) => [...of(step.command), ...of(step.route?.command), ...of(step.route?.rule?.command)]),
    ...originsIn([...way.answer, ...way.data])]);
}

const originsOf = (command) => (command?.origins ?? []).map((origin) =>
  h("p", {class: "origin"}, origin.role === "because" ? "because of " : "from ", linked(origin.words, [origin])));

const kTold = {
  rule: (step) => [h("p", {}, h("small", {}, `rule ${step.rule} of ${step.chain}: `), step.words),
    step.text.startsWith("-j ") && step.words.startsWith("Everything goes through") ? null : h("p", {}, h("code", {}, step.text))],
  policy: (step) => [h("p", {}, h("small", {}, `the policy of ${step.chain}: `), `everything else: ${step.policy}`)],
  route: ({route}) => [h("p", {}, h("small", {}, "routing: "), route ? h("code", {}, route.text) : "no route"),
    route?.rule ? [h("p", {}, `by the rule for mark 0x${route.rule.mark.toString(16)}/0x${route.rule.mask.toString(16)}`), originsOf(route.rule.command)] : null,
    originsOf(route?.command)],
  bridge: (step) => [h("p", {}, h("small", {}, "the bridge: "), step.for_router ? "the frame is for the router"
    : "the frame is for another host: it stays on the bridge")],
  connection: () => [h("p", {}, h("small", {}, "the connection, which is known:"))],
};

function passedOf(rules) {
  if (rules.length === 0) return null;
  const [chain, ...others] = new Set(rules.map((rule) => rule.chain));
  const where = others.length === 0 ? ` of ${chain}` : "";
  return h("details", {class: "passed-by"},
    h("summary", {}, `${rules.length} ${rules.length === 1 ? "rule" : "rules"}${where} did not match`),
    h("ol", {}, rules.map((rule) => h("li", {}, h("small", {}, `rule ${rule.rule} of ${rule.chain}: `), rule.words, " ",
      h("i", {}, `No: ${rule.why_not}.`)))));
}

// The list; who looks at a step sees it in the picture.
export function stepsOf(way, picture) {
  return h("ol", {class: "way-steps"}, readable(way).map((step) => {
    if (step.heading) return h("li", {class: "stage"}, passedOf(step.passed), step.step === "end" ? null : h("h4", {}, placeOf(step)));
    const told = h("div", {class: "step", tabindex: 0, "data-step": step.number, onfocus: () => picture.show(way, step), onclick: () => picture.show(way, step)},
      h("b", {class: "badge-step", "aria-label": `step ${step.number}`}, String(step.number)),
      h("div", {}, kTold[step.step](step), step.changes.map((change) => h("p", {class: "change"}, change)), originsOf(step.command)));
    return h("li", {class: `at-depth-${Math.min(step.depth, 3)}`}, passedOf(step.passed), told);
  }));
}

export class WayPicture {
  constructor(text) {
    const {frame, drawing} = framed(text);
    this.frame = frame;
    this.drawing = drawing;
    this.made_by = new Map([...drawing.querySelectorAll("[data-made-by]")].map((rule) => [rule.dataset.madeBy, rule]));
    this.chains = new Map([...drawing.querySelectorAll(".chain")].map((chain) => [chain.dataset.chain, chain]));
    drawing.classList.add("with-way");
  }

  // Where a step is drawn, nothing for what is not in the picture.
  elementOf(step) {
    if (step.step === "policy") return this.chains.get(placeOf(step))?.querySelector(".policy");
    return step.made_by ? this.made_by.get(idOf(step.made_by)) : undefined;
  }

  draw(way) {
    if (this.way === way) return;
    this.way = way;
    for (const badge of this.drawing.querySelectorAll(".step-badge")) badge.remove();
    for (const marked of this.drawing.querySelectorAll(".looked, .matched, .decided")) {
      marked.classList.remove("looked", "matched", "decided", "good", "bad");
      marked.removeAttribute("data-step");
    }
    const met = new Set(way.steps.filter((step) => step.chain).map(placeOf));
    for (const drawn of this.drawing.querySelectorAll("[data-chain]")) drawn.classList.toggle("met", met.has(drawn.dataset.chain));
    for (const step of way.steps) {
      if (step.step === "rule" && !step.matched) this.elementOf(step)?.classList.add("looked");
    }
    const good = kGood.has(way.verdict);
    this.end = null;
    for (const step of readable(way)) {
      const element = this.elementOf(step);
      if (!element) continue;
      element.classList.add("matched");
      this.number(element, step.number);
      // What stops a packet is the last; what lets it go on stands in the filter, before its way out.
      if (!good || !this.end || (step.table === "filter" && step.command)) this.end = element;
    }
    this.end?.classList.add("decided", good ? "good" : "bad");
  }

  // The step's number at the left of its row; in a list that opens, before its line.
  number(element, number) {
    element.setAttribute("data-step", element.hasAttribute("data-step") ? `${element.getAttribute("data-step")}, ${number}` : number);
    if (element.localName === "li") {
      element.closest("details").open = true;
      return;
    }
    const row = element.querySelector(".row"), line = element.querySelector(".line");
    const x = Number(element.closest(".chain").querySelector(".box").getAttribute("x"));
    const y = row ? Number(row.getAttribute("y")) : Number(line.getAttribute("d").match(/^M\d+ (\d+)/)[1]);
    element.append(svg("g", {class: "step-badge"}, svg("circle", {cx: x, cy: y + 11, r: 10}),
      svg("text", {x, y: y + 15, "text-anchor": "middle"}, element.getAttribute("data-step"))));
  }

  show(way, step) {
    this.draw(way);
    const element = this.elementOf(step);
    for (const shown of this.drawing.querySelectorAll(".shown")) shown.classList.remove("shown");
    if (!element) return;
    element.classList.add("shown");
    this.scrollTo(element);
  }

  showEnd() {
    if (this.end) this.scrollTo(this.end);
  }

  scrollTo(element) {
    const frame = this.frame.getBoundingClientRect(), place = element.getBoundingClientRect();
    this.frame.scrollBy({left: place.left - frame.left - 60, top: place.top - frame.top - frame.height / 3});
  }
}
