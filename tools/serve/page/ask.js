// Questions about packets: what becomes of one, step by step and in the firewall's picture; and
// what gets through.
import {ask, askText} from "./api.js";
import {card, h, table} from "./dom.js";
import {linked} from "./picture.js";
import {originsIn, stepsOf, WayPicture} from "./way.js";

// What a question's address holds, by the names of its fields.
const kPacket = ["from", "source", "destination", "protocol", "state", "flags", "mac", "source_port", "length"];
const kPassed = new Set(["forwarded", "delivered to the router", "bridged"]);
const kProtocols = {tcp: "TCP", udp: "UDP", icmp: "ICMP", igmp: "IGMP", esp: "ESP", gre: "GRE", other: "another, by its number"};
// What stands behind the protocol: the label, and what is typed there first.
const kNumbers = {tcp: ["Port", "80"], udp: ["Port", "53"], icmp: ["Type", "8"], other: ["Number", "47"]};

// The MAC address of a packet that came by no wire.
const kNobody = "00:00:00:00:00:00";

const capital = (text) => text.charAt(0).toUpperCase() + text.slice(1);
const verdictClass = (verdict) => (kPassed.has(verdict) ? "passed" : ["depends", "unknown"].includes(verdict) ? "open" : "stopped");
const linkTo = (question, ...text) => h("a", {href: `#ask?${new URLSearchParams(question)}`}, text);
const option = (value, text, chosen) => h("option", {value, selected: value === chosen}, text);

// A field with a place below it for what is wrong with it.
function field(name, label, control, more) {
  control.name = name;
  return h("label", {}, h("span", {}, label), control, more, h("small", {class: "finding", role: "alert", hidden: true}));
}

// Not by form.elements, in which "length" is another.
const controlOf = (form, name) => form.querySelector(`[name="${name}"]`);

const input = (value, attributes) => h("input", {value, autocomplete: "off", spellcheck: "false", size: 1, ...attributes});

// "tcp/25" as the two fields have it.
function protocolIn(text) {
  const [name, number] = text.split("/");
  return Object.hasOwn(kNumbers, name) || Object.hasOwn(kProtocols, name) ? [name, number ?? ""] : ["other", name];
}

// A packet of an answer as a question.
function questionOf({protocol, ...packet}, from) {
  const port = packet.destination_port ?? packet.icmp_type;
  const question = {from, source: packet.source, destination: packet.destination,
    protocol: port === undefined ? protocol : `${protocol}/${port}`, source_port: packet.source_port, length: packet.length};
  if (packet.source_mac !== kNobody) question.mac = packet.source_mac;
  return Object.fromEntries(Object.entries(question).filter(([, value]) => value !== undefined));
}

function packetForm(offers, asked, submit) {
  const sides = [...offers.sides, {name: "router", words: "the router itself"}];
  const chosen = (name, usual) => asked.get(name) ?? usual;
  const from = h("select", {}, sides.map((side) => option(side.name, `${side.name}: ${side.words}`, chosen("from", "lan"))));
  const [name, number] = protocolIn(chosen("protocol", "tcp/80"));
  const protocol = h("select", {}, Object.entries(kProtocols).map(([value, text]) => option(value, text, name)));
  const port = input(number, {inputmode: "numeric", list: "ask-ports"});
  const state = h("select", {}, ["", "new", "established", "related", "invalid"].map((value) =>
    option(value, value || "what it is", chosen("state", ""))));
  // A host behind the side, as the settings name one.
  const hostOf = (side) => offers.hosts.find((host) => host.interface === sides.find((each) => each.name === side)?.interface)?.address;
  const usualSource = (side) => (side === "router" ? "router" : side.startsWith("wan") ? offers.somebody : hostOf(side) ?? "");
  const usualDestination = (side) => (side.startsWith("wan") ? "router" : offers.somebody);
  const source = input(chosen("source", usualSource(from.value)), {list: "ask-hosts"});
  const destination = input(chosen("destination", usualDestination(from.value)), {list: "ask-hosts"});
  const numbered = field("number", "Port", port);
  const more = h("details", {open: kPacket.slice(4).some((each) => asked.get(each))}, h("summary", {}, "More about the packet"),
    h("div", {class: "fields"}, field("state", "State of its connection", state),
      field("flags", "TCP flags", input(chosen("flags", ""), {placeholder: "SYN"})),
      field("mac", "The sender\u2019s MAC address", input(chosen("mac", ""), {placeholder: "one that no rule names"})),
      field("source_port", "The sender\u2019s port", input(chosen("source_port", ""), {placeholder: "40000"})),
      field("length", "Length in bytes", input(chosen("length", ""), {placeholder: "without data"}))));

  function showNumber() {
    const [label, usual] = kNumbers[protocol.value] ?? [];
    numbered.hidden = !label;
    numbered.firstChild.textContent = label ?? "";
    port.placeholder = usual ?? "";
  }
  function asProtocol() {
    const behind = port.value.trim() || (protocol.value === "icmp" ? "" : port.placeholder);
    if (protocol.value === "other") return behind;
    return numbered.hidden || behind === "" ? protocol.value : `${protocol.value}/${behind}`;
  }
  protocol.addEventListener("change", () => { port.value = ""; showNumber(); });
  // Where the addresses were not touched, they go with the side.
  let before = from.value;
  from.addEventListener("change", () => {
    if (source.value === usualSource(before)) source.value = usualSource(from.value);
    if (destination.value === usualDestination(before)) destination.value = usualDestination(from.value);
    before = from.value;
  });
  showNumber();

  const form = h("form", {class: "question", onsubmit: (event) => {
    event.preventDefault();
    const values = {...Object.fromEntries(kPacket.map((each) => [each, controlOf(form, each).value.trim()])), protocol: asProtocol()};
    submit(Object.fromEntries(Object.entries(values).filter(([, value]) => value !== "")));
  }}, h("div", {class: "fields"}, field("from", "From", from), field("source", "Sender", source), field("destination", "For", destination),
    field("protocol", "Protocol", protocol), numbered), more,
  h("datalist", {id: "ask-hosts"}, h("option", {value: "router"}, "the router\u2019s own address"),
    h("option", {value: offers.somebody}, "somebody in the Internet"),
    offers.hosts.map(({address, key}) => h("option", {value: address}, `named in ${key}`))),
  h("datalist", {id: "ask-ports"}, offers.services.map(({name: service, port: number_of, protocol: over}) =>
    h("option", {value: String(number_of)}, `${service}, ${over}`))),
  h("button", {class: "primary"}, "What becomes of it?"));
  return form;
}

function portsForm(offers, asked, submit) {
  const names = offers.sides.map((side) => [side.name, `${side.name}: ${side.words}`]);
  const select = (name, choices) => h("select", {}, choices.map(([value, text]) => option(value, text, asked.get(name) ?? "")));
  const form = h("form", {class: "question", onsubmit: (event) => {
    event.preventDefault();
    submit(Object.fromEntries(["from", "to"].map((each) => [each, controlOf(form, each).value]).filter(([, value]) => value !== "")));
  }}, h("div", {class: "fields wide"},
    field("from", "From", select("from", [["", "the Internet, and the LAN to the router"], ...names])),
    field("to", "To", select("to", [["", "wherever it gets"], ["router", "the router"], ...names]))),
  h("button", {class: "primary"}, "What gets through?"),
  h("p", {class: "ready"}, linkTo({ask: "ports"}, "What is open to the Internet?"), linkTo({ask: "ports", from: "lan"}, "What does the LAN reach?")));
  return form;
}

// Names what is wrong at its field.
function complain(form, {field: name, why}) {
  const number = controlOf(form, "number")?.closest("label");
  const control = controlOf(form, name === "protocol" && !number.hidden ? "number" : name);
  const place = control.closest("label").querySelector(".finding");
  place.textContent = capital(why);
  place.hidden = false;
  control.setAttribute("aria-invalid", "true");
  const around = control.closest("details");
  if (around) around.open = true;
  control.focus();
}

function forget(form) {
  for (const place of form.querySelectorAll(".finding")) place.hidden = true;
  for (const control of form.querySelectorAll("[aria-invalid]")) control.removeAttribute("aria-invalid");
}

// ---- what becomes of a packet ----

function wayOf(way, picture, heading) {
  const when = way.if.filter((each) => each.matches).map((each) => each.question).join(" and ");
  const follows = (ways, subject) => ways.map((each) => h("details", {class: "follows"},
    h("summary", {}, `${subject} `, h("b", {class: `verdict ${verdictClass(each.verdict)}`}, each.verdict)), wayOf(each, picture)));
  return h("section", {class: "way"}, heading === undefined ? null : h("h3", {}, when ? `Where ${when} matches: ${way.verdict}` : heading),
    h("p", {class: "packet"}, packetText(way.packet)), stepsOf(way, picture),
    h("p", {class: `sentence ${verdictClass(way.verdict)}`}, linked(capital(way.sentence), originsIn([way])), "."),
    follows(way.answer, "The answer:"), follows(way.data, "What it then sends:"));
}

function packetText(packet) {
  const end = (address, port) => (port === undefined ? address : `${address}:${port}`);
  const more = packet.flags ?? (packet.icmp_type === undefined ? null : `type ${packet.icmp_type}`);
  return `${packet.protocol} from ${end(packet.source, packet.source_port)} to ${end(packet.destination, packet.destination_port)}` +
    `${more ? ` (${more})` : ""}, ${packet.state}, ${packet.length} bytes${packet.source_mac === kNobody ? ", from the router itself" : ""}`;
}

function traceOf(answer, drawing) {
  const picture = new WayPicture(drawing);
  const [first] = answer.ways;
  picture.draw(first);
  return [
    h("section", {class: "card"}, h("h2", {}, "What becomes of it"),
      h("p", {class: `answer ${verdictClass(answer.verdict)}`, role: "status"}, linked(capital(answer.sentence), originsIn(answer.ways)), "."),
      answer.missing.map((each) => h("p", {class: "finding"}, `Not in force: ${each.setting || each.words}: ${each.why}`))),
    h("div", {class: "traced"},
      h("div", {class: "card steps"}, answer.ways.map((way) => wayOf(way, picture, answer.ways.length > 1 ? "Where none of them matches" : undefined))),
      h("details", {class: "card drawn", open: matchMedia("(min-width: 60rem)").matches, ontoggle: () => picture.showEnd()},
        h("summary", {}, "In the firewall\u2019s picture"), picture.frame)),
  ];
}

// ---- what gets through ----

function openingsOf(openings) {
  const groups = Map.groupBy ? Map.groupBy(openings, (each) => each.words.heading)
    : openings.reduce((map, each) => map.set(each.words.heading, [...map.get(each.words.heading) ?? [], each]), new Map());
  return [...groups].map(([heading, lines]) => h("section", {class: "card openings"}, h("h2", {}, heading), table(["What", "Who", "Let through by", ""], lines.map((line) => [
    h("b", {}, line.words.what), line.words.who,
    [linked(line.by, line.by_origins),
      line.but ? h("small", {class: "but"}, "but for what is stopped by ", linked(line.but, line.but_origins)) : null,
      line.depends.map((question) => h("small", {class: "but"}, `depends on ${question}`))],
    linkTo(questionOf(line.witness, line.from), "Follow one")]), heading)));
}

function portsAnswer({openings, leaks, missing}) {
  return [
    leaks.length + missing.length === 0 ? null : card("To be looked at",
      leaks.map((leak) => h("p", {class: "finding"}, linked(leak.words, leak.by_origins), " ", linkTo(questionOf(leak.witness, leak.from), "Follow one"))),
      missing.map((each) => h("p", {class: "finding"}, `Not in force: ${each.command}: ${each.why}`))),
    openings.length === 0 ? card("Nothing", h("p", {role: "status"}, "Nothing gets through.")) : openingsOf(openings)].flat().filter(Boolean);
}

export function asking(main, query) {
  const forms = h("div", {class: "cards questions"}), result = h("div", {class: "result", "aria-live": "polite"});
  const with_changes = h("input", {type: "checkbox", checked: true, onchange: () => look(true)});
  const choice = h("label", {hidden: true}, with_changes, " with the changes not kept yet");
  main.replaceChildren(h("p", {class: "choices ask-choices"}, choice), forms, result);
  let asked = query, version = 0;

  const draft = (name, question) => {
    const parameters = new URLSearchParams(question);
    if (!choice.hidden && with_changes.checked) parameters.set("changes", "1");
    return `${name}?${parameters}`;
  };

  // The question stands in the page's address, so that it can be sent to somebody.
  function submit(question) {
    history.pushState(null, "", `#ask?${new URLSearchParams(question)}`);
    asked = new URLSearchParams(question);
    return answer();
  }

  async function answer() {
    const ports = asked.get("ask") === "ports";
    if (!ports && !asked.get("from")) return result.replaceChildren();
    const [packet_form, ports_form] = forms.querySelectorAll("form");
    forget(packet_form);
    forget(ports_form);
    result.replaceChildren(h("p", {class: "none", role: "status"}, "Working it out\u2026"));
    const question = Object.fromEntries([...asked].filter(([name]) => name !== "ask"));
    const [found, drawing] = await Promise.all([ask(draft(ports ? "ports" : "trace", question)), ports ? "" : askText(draft("firewall.svg"))]);
    if (found.wrong) {
      result.replaceChildren();
      return complain(ports ? ports_form : packet_form, found.wrong);
    }
    result.replaceChildren(...ports ? portsAnswer(found) : traceOf(found, drawing));
  }

  async function look(again = false) {
    const {changes, version: now} = await ask("pending");
    if (now === version && !again) return;
    version = now;
    choice.hidden = changes === 0;
    const offers = await ask(draft("offers"));
    const packet = asked.get("ask") === "ports" ? new URLSearchParams() : asked, ports = asked.get("ask") === "ports" ? asked : new URLSearchParams();
    forms.replaceChildren(
      card("One packet", packetForm(offers, packet, submit)),
      card("All packets", portsForm(offers, ports, (question) => submit({ask: "ports", ...question}))));
    await answer();
  }
  return {look};
}
