// Every setting, to be changed in a copy.
import {ask, change} from "./api.js";
import {card, h} from "./dom.js";

const idOf = ({space, key}) => `${space} ${key}`;

// Lists are written a record a line, as long as that can be taken back.
const isList = (setting) => setting.value.includes(";") && !/[\n\r]/.test(setting.value);

function editor(setting, form, wrong, collect) {
  const common = {id: `setting-${setting.space}-${setting.key}`, "aria-invalid": wrong ? "true" : null};
  const choices = [...form?.choices ?? []];
  if (choices.length) {
    if (!choices.includes(setting.value)) choices.unshift(setting.value);
    return h("select", {...common, onchange: (event) => collect(event.target.value)},
      choices.map((value) => h("option", {value, selected: value === setting.value}, value || "(empty)")));
  }
  if (isList(setting)) {
    const lines = setting.value.split(";");
    return h("textarea", {...common, rows: Math.min(lines.length, 12), spellcheck: "false", value: lines.join("\n"),
      onchange: (event) => collect(event.target.value.split("\n").join(";"))});
  }
  return h("input", {...common, value: setting.value, spellcheck: "false", autocomplete: "off",
    onchange: (event) => collect(event.target.value)});
}

function row(setting, form, kept, findings, collect) {
  const changed = kept !== undefined;
  const label = h("label", {for: `setting-${setting.space}-${setting.key}`}, setting.key,
    setting.space === 1 ? null : h("small", {}, ` space ${setting.space}`));
  return h("div", {class: changed ? "setting changed" : "setting", "data-key": setting.key}, label,
    h("div", {}, editor(setting, form, findings.length > 0, collect),
      form && form.words !== "0 or 1" ? h("small", {}, form.words) : null,
      findings.map((finding) => h("p", {class: "finding"}, finding.line))),
    h("small", {}, setting.meaning, setting.fields.length ? ` Fields: ${setting.fields.join("; ")}.` : "",
      isList(setting) ? " A record a line." : ""),
    h("div", {class: "tools"},
      changed ? h("button", {type: "button", onclick: () => collect(kept)}, kept === null ? "Do not add" : "Undo") : null,
      changed && kept === null ? null
        : h("button", {type: "button", "aria-label": `Take ${setting.key} away`, onclick: () => collect(null)}, "Remove")));
}

function goneRow(one, collect) {
  return h("div", {class: "setting changed gone", "data-key": one.key}, h("span", {}, one.key),
    h("span", {}, "taken away"), h("small", {}),
    h("div", {class: "tools"}, h("button", {type: "button", onclick: () => collect(one.from)}, "Undo")));
}

function adder(answer, collect) {
  const there = new Set(answer.settings.map(idOf));
  const space = h("select", {id: "add-space"}, [1, 2].map((n) => h("option", {value: n}, String(n))));
  const key = h("input", {id: "add-key", list: "known", autocomplete: "off", spellcheck: "false", required: true});
  const value = h("input", {id: "add-value", autocomplete: "off", spellcheck: "false"});
  const add = () => key.value && collect(Number(space.value), key.value, value.value);
  return card("Add a setting", h("div", {class: "adder"},
    h("label", {}, "Space", space), h("label", {}, "Key", key), h("label", {}, "Value", value),
    h("button", {type: "button", id: "add", onclick: add}, "Add"),
    h("datalist", {id: "known"}, answer.forms.filter((form) => !there.has(idOf(form)))
      .map((form) => h("option", {value: form.key}, form.words)))));
}

export function settings(main, query) {
  const list = h("div", {class: "settings"});
  const found = h("span", {role: "status"});
  const filter = h("input", {id: "filter", value: query.get("filter") ?? "", type: "search", placeholder: "Filter by name or value", "aria-label": "Filter the settings",
    oninput: () => sift()});
  const add = h("div", {});
  main.replaceChildren(card("Settings", h("p", {class: "filter"}, filter, " ", found), list), add);

  function sift() {
    const wanted = filter.value.toLowerCase();
    let shown = 0;
    for (const element of list.children) {
      const field = element.querySelector("input, select, textarea");
      const text = `${element.dataset.key} ${field?.value ?? ""}`.toLowerCase();
      element.hidden = !text.includes(wanted);
      shown += element.hidden ? 0 : 1;
    }
    found.replaceChildren(`${shown} of ${list.children.length}`);
  }

  async function collect(space, key, value) {
    const focused = document.activeElement?.id;
    await change(space, key, value);
    await look();
    if (focused) document.getElementById(focused)?.focus();
  }

  // Rows that say the same as before stay the same elements, so that a click or
  // the keyboard's place in them is not lost.
  let shown = new Map();
  function show(rows) {
    const before = shown;
    shown = new Map(rows.map(({id, make, says}) => {
      const text = JSON.stringify(says), old = before.get(id);
      return [id, old?.text === text ? old : {text, element: make()}];
    }));
    if ([...shown.keys()].join("\n") !== [...before.keys()].join("\n")) {
      list.replaceChildren(...[...shown.values()].map(({element}) => element));
      return;
    }
    for (const [id, {element}] of shown) {
      if (before.get(id).element !== element) before.get(id).element.replaceWith(element);
    }
  }

  async function look() {
    const [answer, changes] = await Promise.all([ask("settings"), ask("changes")]);
    const forms = new Map(answer.forms.map((form) => [idOf(form), form]));
    const kept = new Map(changes.list.map((one) => [idOf(one), one.from]));
    const gone = changes.list.filter((one) => one.to === null);
    show([
      ...gone.map((one) => ({id: idOf(one), says: one, make: () => goneRow(one, (value) => collect(one.space, one.key, value))})),
      ...answer.settings.map((setting) => {
        const id = idOf(setting), findings = answer.findings.filter((finding) => idOf(finding) === id);
        return {id, says: [setting, kept.get(id), findings],
          make: () => row(setting, forms.get(id), kept.get(id), findings, (value) => collect(setting.space, setting.key, value))};
      }),
    ]);
    add.replaceChildren(adder(answer, collect));
    sift();
  }
  return {look};
}
