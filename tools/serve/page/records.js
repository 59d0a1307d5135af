// A list as a table: its records are rows, its fields columns with the names that the table of
// settings gives them. Of a long list only the rows in sight are there.
import {counted, h} from "./dom.js";

const kBeyond = 12;  // rows that are there above and below those in sight
const kWidest = 26, kNarrowest = 3;

// What a list's value is to whoever edits it. A record that nobody touches keeps its text.
export function recordsOf(value, shape) {
  if (value === "" && shape.records) return [];
  return shape.records ? value.split(shape.records) : [value];
}

const fieldsOf = (record, shape) => (shape.fields ? record.split(shape.fields) : [record]);

export class Records {
  // `collect` sends the list's new value, and `refresh` brings what came of it to show().
  constructor(known, id, collect, refresh) {
    this.known = known;
    this.shape = known.table;
    this.id = id;
    this.collect = collect;
    this.refresh = refresh;
    this.sent = 0;  // values that are on their way
    this.records = [];
    this.faults = [];
    this.rows = new Map();  // those that are there, by the record's place
    this.fresh = null;      // the place of a record that nothing was written into yet
    this.body = h("tbody", {});
    this.head = h("thead", {});
    this.above = h("tr", {class: "space", "aria-hidden": "true"}, h("td", {}));
    this.below = h("tr", {class: "space", "aria-hidden": "true"}, h("td", {}));
    this.table = h("table", {"aria-label": known.key}, this.head, this.body);
    this.window = h("div", {class: "records", tabindex: 0, role: "region", "aria-label": `Records of ${known.key}`,
      onscroll: () => this.draw()}, this.table);
    this.count = h("span", {class: "none"});
    this.trouble = h("div", {class: "faults"});
    const several = this.shape.records !== "";
    this.element = h("div", {class: "list", id}, this.window,
      h("p", {class: "list-tools"},
        several ? h("button", {type: "button", class: "add", onclick: () => this.insert(this.records.length)}, `Add a ${this.shape.of}`) : null,
        several ? h("button", {type: "button", class: "as-text", "aria-expanded": "false", onclick: () => this.asText()}, "As text") : null,
        this.count), this.trouble);
  }

  show(value, faults) {
    if (this.sent > 0) return;  // it is older than what stands here
    this.faults = faults;
    const records = recordsOf(value, this.shape);
    // A record that waits for its first field is nothing that the list holds yet.
    if (this.fresh !== null) records.splice(this.fresh, 0, this.empty());
    const same = records.length === this.records.length && this.columns !== undefined;
    this.records = records;
    const columns = Math.max(this.shape.columns.length, ...records.map((record) => fieldsOf(record, this.shape).length));
    if (!same || columns !== this.columns) this.measure(columns);
    this.count.replaceChildren(counted(records.length, this.shape.of));
    this.tellFaults();
    this.draw(true);
    if (this.moved_to) this.reveal(this.moved_to);
    this.moved_to = null;
  }

  empty() {
    return this.shape.fields.repeat(Math.max(0, this.shape.columns.length - 1));
  }

  // The widths are those of all records, so that they stay as they are while rows come and go.
  measure(columns) {
    this.columns = columns;
    this.widths = Array(columns).fill(kNarrowest);
    for (const record of this.records) {
      fieldsOf(record, this.shape).forEach((field, column) => {
        this.widths[column] = Math.min(kWidest, Math.max(this.widths[column], field.length));
      });
    }
    this.rows.clear();
    this.body.replaceChildren();
    this.window.hidden = this.records.length === 0;
    const title = (column) => this.column(column).title;
    this.head.replaceChildren(h("tr", {}, h("th", {scope: "col"}, this.shape.of),
      this.widths.map((_, column) => h("th", {scope: "col", title: title(column)}, this.column(column).name))));
  }

  // What is known of a column; records have more fields than anybody has names for.
  column(place) {
    const {name, words, meaning, choices} = this.shape.columns[place] ?? {name: "", words: "", meaning: "", choices: []};
    const named = name || (this.shape.fields ? `field ${place + 1}` : "value");
    return {name: named, choices, title: [words, meaning].filter((text) => text).join("; ")};
  }

  // Those in sight, and some beyond. A row that stays keeps its element, and so the keyboard's
  // place and what is being typed.
  draw(anew = false) {
    const height = this.height ?? 34, top = this.window.scrollTop, seen = this.window.clientHeight || 600;
    const first = Math.max(0, Math.floor(top / height) - kBeyond);
    const last = Math.min(this.records.length, Math.ceil((top + seen) / height) + kBeyond);
    if (!anew && first === this.first && last === this.last) return;
    [this.first, this.last] = [first, last];
    const held = this.body.contains(document.activeElement) ? Number(document.activeElement.closest("tr").dataset.place) : null;
    const wanted = new Map();
    for (let place = first; place < last; place++) wanted.set(place, this.rowAt(place));
    if (held !== null && !wanted.has(held) && this.rows.has(held)) document.activeElement.blur();
    this.rows = wanted;
    this.above.firstChild.style.height = `${first * height}px`;
    this.below.firstChild.style.height = `${(this.records.length - last) * height}px`;
    this.arrange([this.above, ...[...wanted.values()].map(({element}) => element), this.below]);
    const drawn = wanted.get(first)?.element.offsetHeight;
    if (!drawn || this.height) return;  // it is not on the page yet, or known
    this.height = drawn;
    this.draw(true);
  }

  // Only what stands elsewhere is moved: an element that is taken out loses the focus.
  arrange(elements) {
    const wanted = new Set(elements);
    for (const child of [...this.body.children]) if (!wanted.has(child)) child.remove();
    elements.forEach((element, place) => {
      if (this.body.children[place] !== element) this.body.insertBefore(element, this.body.children[place] ?? null);
    });
  }

  rowAt(place) {
    const faults = this.faults.filter((fault) => fault.record === place + 1);
    const says = JSON.stringify([this.records[place], faults, this.records.length, this.fresh === place]);
    const before = this.rows.get(place);
    if (before?.says === says) return before;
    return {says, element: this.row(place, faults)};
  }

  row(place, faults) {
    const number = place + 1, several = this.shape.records !== "";
    const fields = fieldsOf(this.records[place], this.shape);
    const tool = (sign, words, act, off) => h("button", {type: "button", "aria-label": `${words}, ${this.shape.of} ${number}`,
      title: words, disabled: off, onclick: act}, sign);
    const whole = faults.filter(({field}) => field === 0);
    return h("tr", {class: this.fresh === place ? "fresh" : whole.length ? "wrong" : null, "data-place": place,
        onkeydown: (event) => this.onKey(event, place)},
      h("th", {scope: "row"}, h("span", {class: "tools"},
        several ? h("input", {class: "place", value: number, inputmode: "numeric", size: 3, autocomplete: "off",
          "aria-label": `Place of ${this.shape.of} ${number}`, onchange: (event) => this.moveTo(place, event.target)}) : null,
        several ? [tool("\u2191", "Move up (Alt+\u2191)", () => this.move(place, place - 1), place === 0),
          tool("\u2193", "Move down (Alt+\u2193)", () => this.move(place, place + 1), number === this.records.length),
          tool("+", "Add one below", () => this.insert(number)),
          tool("\u00d7", "Remove", () => this.remove(place))] : null),
        whole.map((fault) => h("small", {class: "finding"}, fault.reason))),
      this.widths.map((width, column) => h("td", {}, this.cell(place, column, fields[column], width,
        faults.filter(({field}) => field === column + 1)))));
  }

  cell(place, column, value, width, faults) {
    const {name, choices} = this.column(column);
    const common = {id: `${this.id}-${place + 1}-${column + 1}`, "aria-label": `${this.shape.of} ${place + 1}, ${name}`,
      "aria-invalid": faults.length ? "true" : null, "aria-describedby": faults.length ? `${this.id}-${place + 1}-${column + 1}-fault` : null,
      onchange: (event) => this.write(place, column, event.target)};
    const known = choices.some((choice) => choice.value === (value ?? ""));
    const editor = choices.length && (known || !value)
      ? h("select", common, known ? null : h("option", {value: "", selected: true}, ""),
        choices.map((choice) => h("option", {value: choice.value, selected: choice.value === value},
          choice.meaning ? `${choice.value} (${choice.meaning})` : choice.value)))
      : h("input", {...common, value: value ?? "", size: width, spellcheck: "false", autocomplete: "off",
        class: value === undefined ? "absent" : null});
    return [editor, faults.length ? h("small", {class: "finding", id: `${common.id}-fault`}, faults.map(({reason}) => reason).join("; ")) : null];
  }

  // A field is refused here when it would become two; all else the server judges.
  write(place, column, editor) {
    const splits = [this.shape.records, this.shape.fields].find((separator) => separator && editor.value.includes(separator));
    editor.parentElement.querySelector(".refused")?.remove();
    if (splits) {
      editor.setAttribute("aria-invalid", "true");
      editor.parentElement.append(h("small", {class: "finding refused", role: "alert"},
        `\u201c${splits}\u201d ends a ${splits === this.shape.records ? this.shape.of : "field"} and cannot be part of one`));
      return;
    }
    const fields = fieldsOf(this.records[place], this.shape);
    while (fields.length <= column) fields.push("");
    fields[column] = editor.value;
    this.records[place] = fields.join(this.shape.fields);
    if (this.fresh === place) this.fresh = null;
    this.send();
  }

  // What the list holds, without a record that nothing was written into.
  get value() {
    return this.records.filter((_, place) => place !== this.fresh).join(this.shape.records);
  }

  async send(value = this.value) {
    this.sent++;
    try {
      await this.collect(value);
    } finally {
      this.sent--;
      await this.refresh();
    }
  }

  // Once a field is written into it, it is one of the list's.
  insert(place) {
    const value = this.value;
    this.fresh = this.fresh !== null && this.fresh < place ? place - 1 : place;
    this.columns = undefined;
    this.show(value, this.faults.map((fault) => (fault.record > this.fresh ? {...fault, record: fault.record + 1} : fault)));
    this.reveal(this.fresh + 1);
  }

  remove(place) {
    this.records.splice(place, 1);
    if (this.fresh !== place) {
      if (this.fresh > place) this.fresh--;
      return this.send();
    }
    this.fresh = null;
    this.columns = undefined;
    this.refresh();
  }

  move(from, to) {
    const [record] = this.records.splice(from, 1);
    this.records.splice(to, 0, record);
    if (this.fresh === from) this.fresh = to;
    this.moved_to = to + 1;
    this.send();
  }

  moveTo(from, editor) {
    const to = Number(editor.value) - 1;
    if (Number.isInteger(to) && to >= 0 && to < this.records.length) return this.move(from, to);
    editor.value = from + 1;
  }

  onKey(event, place) {
    const step = {ArrowUp: -1, ArrowDown: 1}[event.key];
    if (!step) return;
    const to = place + step;
    if (to < 0 || to >= this.records.length) return;
    if (event.altKey) {
      event.preventDefault();
      event.target.blur();  // what was typed counts
      this.move(place, to);
    } else if (event.target.tagName === "INPUT") {
      event.preventDefault();
      const column = event.target.closest("td, th").cellIndex;
      this.bring(to);
      this.rows.get(to)?.element.cells[column]?.querySelector("input, select")?.focus();
    }
  }

  // Scrolls the window so that a place is in it.
  bring(place) {
    if (!this.height) this.draw(true);
    const height = this.height ?? 34, top = place * height, window = this.window;
    if (top < window.scrollTop) window.scrollTop = top;
    if (top + 3 * height > window.scrollTop + window.clientHeight) window.scrollTop = top + 3 * height - window.clientHeight;
    this.draw();
  }

  // The keyboard goes to a record, counted from 1.
  reveal(record) {
    if (record < 1 || record > this.records.length) return;
    this.bring(record - 1);
    const row = this.rows.get(record - 1)?.element;
    row?.classList.add("meant");
    row?.querySelector("td input, td select")?.focus();
  }

  tellFaults() {
    const most = 8;
    const wrong = [...new Map(this.faults.filter(({record}) => record > 0).map((fault) => [fault.record, fault])).values()];
    this.trouble.replaceChildren(...wrong.length === 0 ? [] : [h("p", {class: "finding"}, "Not as it should be: ",
      wrong.slice(0, most).map(({record}) => [h("button", {type: "button", onclick: () => this.reveal(record)}, `${this.shape.of} ${record}`), " "]),
      wrong.length > most ? `and ${wrong.length - most} more` : "")]);
  }

  // For pasting, and for what a text editor does better: a record a line.
  asText() {
    const button = this.element.querySelector(".as-text"), open = this.element.querySelector("textarea");
    button.setAttribute("aria-expanded", open ? "false" : "true");
    if (open) return open.parentElement.remove();
    const lines = recordsOf(this.value, this.shape).join("\n");
    this.trouble.before(h("label", {class: "text"}, "A record a line",
      h("textarea", {rows: 12, spellcheck: "false", value: lines,
        onchange: (event) => this.send(event.target.value.split("\n").join(this.shape.records))})));
  }
}
