// Every setting, to be changed in a copy: by the part of the router that it belongs to, with
// what differs from what is kept, from the file and from the default.
import {ask, change, wishAndTell} from "./api.js";
import {card, counted, h} from "./dom.js";
import {Records, recordsOf} from "./records.js";

const idOf = ({space, key}) => `${space} ${key}`;
const elementOf = ({space, key}) => `setting-${space}-${key}`;
const kOther = "Not known to the library";

// The table of settings, which stays as it is.
let known_settings = null;
async function known() {
  if (!known_settings) {
    const {settings} = await ask("known");
    known_settings = {list: settings, by_id: new Map(settings.map((one) => [idOf(one), one]))};
  }
  return known_settings;
}

const kShown = {
  all: ["all settings", () => true],
  changed: ["changes not kept", (setting) => "kept" in setting],
  file: ["not as in the file", (setting) => "file" in setting],
  default: ["not the default", (setting) => "default" in setting],
  faults: ["with a fault", (_, faults) => faults.length > 0],
};

const shortly = (value) => (value === null ? "not set" : value === "" ? "empty" : value.length > 40 ? `${value.slice(0, 40)}\u2026` : value);

function editor(setting, one, wrong, collect) {
  const common = {id: elementOf(setting), "aria-invalid": wrong ? "true" : null};
  if (setting.bytes) return [h("input", {...common, value: setting.value, readonly: true}),
    h("small", {}, "holds bytes that are no UTF-8, shown as \\x..: to be changed in the file")];
  const choices = one?.choices ?? [];
  if (choices.length && (setting.value === null || choices.some(({value}) => value === setting.value))) {
    return h("select", {...common, onchange: (event) => collect(event.target.value)},
      choices.map(({value, meaning}) => h("option", {value, selected: value === setting.value},
        meaning ? `${value} (${meaning})` : value)));
  }
  return h("input", {...common, value: setting.value, spellcheck: "false", autocomplete: "off",
    onchange: (event) => collect(event.target.value)});
}

// What a value was, or is elsewhere; pressed, it is that here too.
function marks(setting, shape, take) {
  const told = (value) => (shape?.records && value ? counted(recordsOf(value, shape).length, shape.of) : shortly(value));
  const mark = (name, words) => {
    if (!(name in setting)) return null;
    const value = setting[name];
    return h("button", {type: "button", class: `mark ${name}`, title: "Take this value", disabled: /\\x/.test(value ?? ""),
      onclick: () => take(value)}, words, " ", h("code", {}, told(value)));
  };
  return [mark("kept", "was"), mark("file", "in the file"), mark("default", "default")];
}

// A setting's row, which stays the same element while what it says changes.
class Row {
  constructor(setting, one, collect, refresh) {
    this.one = one;
    this.collect = collect;
    this.posting = 0;
    this.front = h("div", {class: "front"});
    this.place = h("div", {class: "editor"});
    this.records = one?.table ? new Records(one, elementOf(setting), collect, refresh) : null;
    if (this.records) this.place.append(this.records.element);
    this.tools = h("div", {class: "tools"});
    this.meaning = h("small", {class: "meaning"}, one?.meaning ?? "");
    this.element = h("div", {class: this.records ? "setting wide" : "setting", "data-key": setting.key}, this.front,
      this.place, this.meaning, this.tools);
  }

  // Changes may follow one another faster than they are shown again.
  async post(value) {
    const {space, key} = this.setting, was = this.known;
    this.known = value;
    this.posting++;
    try {
      return await change(space, key, value, was);
    } finally {
      this.posting--;
    }
  }

  show(setting, faults) {
    this.setting = setting;
    if (this.posting === 0) this.known = setting.bytes ? undefined : setting.value;
    this.faults = faults;
    const says = JSON.stringify([setting, faults]);
    if (this.says === says) return;
    this.says = says;
    const {key, space, value} = setting, changed = "kept" in setting;
    const name = [key, space === 1 ? null : h("small", {}, ` space ${space}`)];
    this.element.classList.toggle("changed", changed);
    this.element.classList.toggle("gone", value === null);
    this.front.replaceChildren(this.records || value === null ? h("span", {class: "name", id: `${elementOf(setting)}-name`}, name)
      : h("label", {for: elementOf(setting)}, name), h("span", {class: "marks"},
        marks(setting, this.one?.table, (other) => this.collect(other).then(this.collect.look))));
    const undo = changed ? h("button", {type: "button", onclick: () => wishAndTell("undo", {space, key}).then(this.collect.look)},
      setting.kept === null ? "Do not add" : "Undo") : null;
    this.tools.replaceChildren(...[undo, value === null ? null
      : h("button", {type: "button", "aria-label": `Take ${key} away`, onclick: () => this.collect(null).then(this.collect.look)}, "Remove")]
      .filter((tool) => tool));
    this.showValue();
  }

  showValue() {
    const {setting, one, faults} = this, {value} = setting;
    if (this.records && !setting.bytes && value !== null) {
      if (this.place.firstChild !== this.records.element) this.place.replaceChildren(this.records.element);
      this.records.show(value, faults);
      return;
    }
    if (value === null) return this.place.replaceChildren(h("span", {class: "none"}, "kept" in setting || "file" in setting ? "taken away" : "not set"));
    // What is being typed at is left alone when it says the same.
    const there = document.getElementById(elementOf(setting));
    const focused = there && there === document.activeElement && there.value === value;
    const faulty = faults.map((fault) => h("p", {class: "finding"}, fault.line));
    const form = one && !one.choices.length && one.words ? h("small", {}, one.words) : null;
    this.place.replaceChildren(...[editor(setting, one, faults.length > 0,
      (changed) => this.collect(changed).finally(this.collect.look)), form, faulty].flat(2).filter((part) => part));
    if (focused) document.getElementById(elementOf(setting)).focus();
  }

  matches(text, which) {
    const {key, value} = this.setting, {meaning = "", group = ""} = this.one ?? {};
    return kShown[which][1](this.setting, this.faults) && `${key}\n${value ?? ""}\n${meaning}\n${group}`.toLowerCase().includes(text);
  }
}

// A part of the router: its settings, and those that could be there.
class Group {
  constructor(name, onPick) {
    this.onPick = onPick;
    this.name = name;
    this.count = h("small", {});
    this.rows = h("div", {class: "rows"});
    this.unset = h("details", {class: "unset"});
    this.element = h("section", {class: "card group", "aria-label": name}, h("h2", {}, name, " ", this.count), this.rows, this.unset);
    this.link = h("button", {type: "button", onclick: () => this.element.scrollIntoView({block: "start"})}, name);
  }

  showUnset(missing) {
    const text = missing.map(idOf).join();
    if (this.missing === text) return;
    this.missing = text;
    this.unset.hidden = missing.length === 0;
    this.unset.replaceChildren(h("summary", {}, `${missing.length} not set`), h("ul", {}, missing.map((one) =>
      h("li", {}, h("button", {type: "button", "aria-label": `Set ${one.key}`, onclick: () => this.onPick(one)}, "Set"), " ",
        h("b", {}, one.key), one.space === 1 ? "" : ` (space ${one.space})`, h("small", {}, ` without it: ${one.without}`)))));
  }

  sift(rows, text, which) {
    const shown = rows.filter((row) => !(row.element.hidden = !row.matches(text, which))).length;
    const changed = rows.filter(({setting}) => "kept" in setting).length;
    this.count.replaceChildren(`${shown === rows.length ? rows.length : `${shown} of ${rows.length}`}${changed ? `, ${changed} changed` : ""}`);
    this.element.hidden = shown === 0 && (text !== "" || which !== "all");
    this.link.hidden = this.element.hidden;
    this.link.classList.toggle("changed", changed > 0);
    return shown;
  }
}

// Any key, with those that the library knows offered.
class Adder {
  constructor(collect) {
    this.space = h("select", {id: "add-space"}, [1, 2, 3, 4, 5, 6, 7, 8, 9].map((n) => h("option", {value: n}, String(n))));
    this.key = h("input", {id: "add-key", list: "known", autocomplete: "off", spellcheck: "false", oninput: () => this.tell()});
    this.value = h("input", {id: "add-value", autocomplete: "off", spellcheck: "false"});
    this.offered = h("datalist", {id: "known"});
    this.told = h("p", {class: "none", role: "status"});
    const add = () => (this.key.value === "" ? this.key.focus()
      : collect(Number(this.space.value), this.key.value, this.value.value));
    const onkeydown = (event) => event.key === "Enter" && add();
    this.element = card("Add a setting", h("div", {class: "adder", onkeydown},
      h("label", {}, "Key", this.key), h("label", {}, "Value", this.value), h("label", {}, "Space", this.space),
      h("button", {type: "button", id: "add", onclick: add}, "Add"), this.offered), this.told);
  }

  offer(missing, by_id) {
    this.by_id = by_id;
    this.offered.replaceChildren(...missing.map((one) =>
      h("option", {value: one.key}, one.space === 1 ? one.group : `${one.group}, space ${one.space}`)));
  }

  tell() {
    const one = this.by_id.get(idOf({space: this.space.value, key: this.key.value}))
      ?? [...this.by_id.values()].find(({key}) => key === this.key.value);
    if (one) this.space.value = one.space;
    this.value.placeholder = one ? `such as ${one.example}` : "";
    this.told.replaceChildren(one ? `${one.meaning} It is ${one.words}.` : "");
  }

  pick(one) {
    this.key.value = one.key;
    this.space.value = one.space;
    this.tell();
    this.element.scrollIntoView({block: "center"});
    this.value.focus();
  }
}

// What stands behind "#settings": "?filter=TEXT", or "/SPACE/KEY" and "/RECORD", counted from 1.
export function settings(main, query, [space, key, record] = []) {
  let meant = key ? {space: Number(space), key: decodeURIComponent(key), record: Number(record ?? 0)} : null;
  const found = h("span", {role: "status"});
  const filter = h("input", {id: "filter", value: query.get("filter") ?? "", type: "search", placeholder: "Search by name, value or meaning",
    "aria-label": "Search the settings", oninput: () => sift()});
  const which = h("select", {id: "which", "aria-label": "Which settings", onchange: () => sift()},
    Object.entries(kShown).map(([value, [words]]) => h("option", {value, selected: value === query.get("which")}, words)));
  const links = h("nav", {class: "groups", "aria-label": "Groups of settings"}), list = h("div", {class: "settings"});
  const adder = new Adder(collect);
  main.replaceChildren(h("div", {class: "filter card"}, filter, which, found), h("div", {class: "beside"}, links, h("div", {}, list, adder.element)));
  const groups = new Map(), rows = new Map();

  async function collect(its_space, its_key, value) {
    await change(its_space, its_key, value);
    await look();
    reveal({space: its_space, key: its_key, record: 0});
  }

  function sift() {
    const text = filter.value.toLowerCase();
    let shown = 0;
    for (const group of groups.values()) {
      shown += group.sift([...rows.values()].filter((row) => row.group === group), text, which.value);
    }
    found.replaceChildren(`${shown} of ${rows.size}`);
  }

  function groupOf(name) {
    if (!groups.has(name)) groups.set(name, new Group(name, (one) => adder.pick(one)));
    return groups.get(name);
  }

  function rowOf(setting, one) {
    const id = idOf(setting);
    if (!rows.has(id)) {
      const post = (value) => rows.get(id).post(value);
      rows.set(id, new Row(setting, one, Object.assign(post, {look}), look));
    }
    return rows.get(id);
  }

  // In the order of the table of settings; what it does not know comes last.
  function arrange(answer, {list: all, by_id}) {
    const place = new Map(all.map((one, at) => [idOf(one), at]));
    const at = (setting) => place.get(idOf(setting)) ?? all.length;
    const sorted = answer.settings.toSorted((one, other) => at(one) - at(other));
    const there = new Set(sorted.map(idOf));
    for (const id of rows.keys()) if (!there.has(id)) rows.delete(id);
    for (const one of all) groupOf(one.group);
    for (const setting of sorted) {
      const one = by_id.get(idOf(setting)), row = rowOf(setting, one);
      row.group = groupOf(one?.group ?? kOther);
      row.show(setting, answer.findings.filter((finding) => idOf(finding) === idOf(setting)));
    }
    for (const group of groups.values()) {
      put(group.rows, sorted.map((setting) => rows.get(idOf(setting))).filter((row) => row.group === group).map(({element}) => element));
      group.showUnset(all.filter((one) => one.group === group.name && !there.has(idOf(one))));
    }
    put(list, [...groups.values()].map(({element}) => element));
    put(links, [...groups.values()].map(({link}) => link));
    adder.offer(all.filter((one) => !there.has(idOf(one))), by_id);
  }

  // Elements that are there already are left alone, so that the keyboard's place is not lost.
  function put(into, elements) {
    if (elements.length === into.children.length && elements.every((element, at) => into.children[at] === element)) return;
    into.replaceChildren(...elements);
  }

  function reveal({space: its_space, key: its_key, record: its_record}) {
    const row = rows.get(idOf({space: its_space, key: its_key}));
    if (!row) return;
    if (row.element.hidden) filter.value = "", which.value = "all", sift();
    row.element.scrollIntoView({block: its_record ? "start" : "center"});
    if (its_record && row.records) row.records.reveal(its_record);
    else row.element.querySelector("input, select")?.focus();
  }

  async function look() {
    const focused = document.activeElement?.id;
    const [answer, table] = await Promise.all([ask("settings"), known()]);
    arrange(answer, table);
    sift();
    if (focused && document.activeElement === document.body) document.getElementById(focused)?.focus();
    if (meant) reveal(meant);
    meant = null;
  }
  return {look};
}
