// What the collected changes are, and what they would do.
import {announce, ask, wishAndTell} from "./api.js";
import {card, counted, h} from "./dom.js";

const kSign = {added: "+", removed: "\u2212", moved: "\u2195", changed: "~"};

const sign = (kind) => h("b", {"aria-label": kind, role: "img"}, kSign[kind] ?? "?");
const edits = (lines) => h("ol", {class: "edits"}, lines.map((line) =>
  h("li", {class: line.change}, sign(line.change), h("code", {}, line.text))));

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
  return h("details", {class: "card effect", open: commands.length <= 40, "data-entry": entry},
    h("summary", {}, h("h2", {}, entry), ` ${commands.length} of its commands differ`),
    part("Commands", commands), part("Settings written", settings), part("Besides", besides),
    Object.entries(files).map(([path, lines]) => part(path, lines)),
    chains.length === 0 ? null
      : h("details", {}, h("summary", {}, `${counted(chains.length, "chain")} that differ${chains.length === 1 ? "s" : ""}`),
        chains.map(chainOf)));
}

const value = (text) => (text === undefined ? h("i", {}, "not set") : text === "" ? h("i", {}, "empty") : h("code", {}, text));
const became = (before, after) => [value(before), " \u2192 ", value(after)];

function fieldsOf(fields) {
  return !fields ? null : h("ul", {class: "fields"}, fields.map(({field, name, before, after}) =>
    h("li", {}, `${name || `field ${field}`}: `, became(before, after))));
}

// "record 3 (was 5)", and what it holds or which of its fields changed.
function recordOf({space, key}, {change, before, after, fields}) {
  const at = (after ?? before).record;
  const place = after ? h("a", {href: `#settings/${space}/${encodeURIComponent(key)}/${at}`}, `record ${at}`) : `record ${at}`;
  return h("li", {class: change}, sign(change), h("div", {}, place,
    before && after && before.record !== after.record ? ` (was ${before.record})` : "", ": ",
    fields ? fieldsOf(fields) : change === "changed" ? became(before.text, after.text) : h("code", {}, (after ?? before).text)));
}

function changeOf(one, undo) {
  const {space, key, before, after, fields, records} = one;
  const many = records && records.length > 40;
  const list = records ? h("ol", {class: "edits"}, records.slice(0, 400).map((record) => recordOf(one, record)),
    records.length > 400 ? h("li", {}, "", `and ${records.length - 400} more`) : null) : null;
  return h("li", {"data-key": key}, h("p", {}, h("a", {href: `#settings/${space}/${encodeURIComponent(key)}`}, h("b", {}, key)),
    space === 1 ? null : ` (space ${space})`,
    records ? (before === undefined ? " is new" : after === undefined ? " is taken away" : "") : [": ", became(before, after)], " ", undo,
    h("small", {}, ` ${one.meaning}`)),
  fieldsOf(fields), many ? h("details", {}, h("summary", {}, `${records.length} of its records differ`), list) : list);
}

// The words of `orba diff`: a line for what changes, and indented below it what belongs to it.
const kTraffic = {"+": "added", "-": "removed", "~": "changed", "*": "changed"};
function trafficOf({same, lines, given_up: givenUp}) {
  if (givenUp) return h("p", {class: "none"}, "This was not found out in 20 seconds; orba diff takes the time that it needs.");
  if (same) return h("p", {}, "The same traffic: what got through still does, and nothing else.");
  const items = [];
  for (const line of lines.slice(1)) {
    if (line.startsWith("    ")) items.at(-1)?.lastChild.append(h("small", {}, line.trim()));
    else {
      const kind = kTraffic[line[0]];
      items.push(h("li", {class: kind}, kind ? sign(kind) : h("b", {}), h("div", {}, line.slice(2))));
    }
  }
  return h("ul", {class: "edits traffic"}, items);
}

// What the settings are compared with, and where they go.
function fileOf({file, unsaved}, again) {
  const save = file.target === "" ? null
    : h("button", {type: "button", id: "save", class: "primary", disabled: unsaved.length === 0, onclick: () => wishAndTell("save").then(again)}, `Write to ${file.target}`);
  const names = unsaved.map(({space, key}) => (space === 1 ? key : `${key} (space ${space})`));
  return card("The file",
    h("p", {id: "unsaved-names"}, names.length === 0 ? `What is kept is what ${file.name} has.`
      : `Kept in memory only, not in ${file.name}: ${names.slice(0, 20).join(", ")}${names.length > 20 ? ` and ${names.length - 20} more` : ""}.`),
    file.written_by_others ? h("p", {class: "finding"}, `${file.name} was written by somebody else since: it is not written over.`) : null,
    h("p", {class: "choices"}, save, h("a", {class: "button", href: "api/settings.conf", download: "router.conf"}, "Save as\u2026"),
      file.target === "" ? h("small", {}, "With --save FILE, orba serve writes to a file of its own machine.") : null));
}

export function changes(main, query) {
  const against = h("select", {id: "against", "aria-label": "Compared with", onchange: () => look()});
  const list = h("div", {}), file = h("div", {}), traffic = h("div", {}), effects = h("div", {});
  let wanted = query.get("against") === "file" ? "file" : "kept";
  main.replaceChildren(file, list, traffic, effects);

  // The slow questions come behind the quick one, and only as long as somebody looks.
  async function look() {
    wanted = against.value || wanted;
    const answer = await ask(`changes?against=${wanted}`);
    announce(answer);
    against.replaceChildren(h("option", {value: "kept", selected: wanted === "kept"}, "compared with what is kept"),
      h("option", {value: "file", selected: wanted === "file"}, `compared with ${answer.file.name.split("/").at(-1)}`));
    file.replaceChildren(fileOf(answer, look));
    const undo = ({space, key}) => (wanted === "file" ? null
      : h("button", {type: "button", onclick: () => wishAndTell("undo", {space, key}).then(look)}, "Undo"));
    list.replaceChildren(card("Changes", h("p", {}, against), answer.list.length === 0
      ? h("p", {}, wanted === "file" ? "There are none: the settings are those of the file."
        : "There are none. Change a setting, and this page says what would come of it.")
      : h("ul", {class: "changes"}, answer.list.map((one) => changeOf(one, undo(one))))));
    traffic.replaceChildren();
    effects.replaceChildren();
    if (answer.list.length === 0) return;
    const done = await ask(`effects?against=${wanted}`);
    if (done.findings.length) list.firstChild.append(...done.findings.map((finding) => h("p", {class: "finding"}, finding)));
    effects.replaceChildren(...done.effects.map(effectOf),
      done.effects.length === 0 ? card("Effect", h("p", {}, "No command would be another.")) : "");
    traffic.replaceChildren(card("Traffic", h("p", {class: "none"}, "\u2026")));
    traffic.replaceChildren(card("Traffic", trafficOf(await ask(`traffic?against=${wanted}`))));
  }
  return {look};
}
