// Building the page. Every text goes in as text: nothing that a setting or the
// air holds is ever read as markup, or turns the direction of what stands beside it.

const kSvg = "http://www.w3.org/2000/svg";

// What terminal.cpp spells out for a terminal, but for ends of lines and tabs.
const kUnseen = new RegExp("[\\0-\\x08\\x0b-\\x1f\\x7f-\\x9f\\xad\\u061c\\u200b-\\u200f\\u2028-\\u202e" +
  "\\u2060-\\u206f\\ufeff\\ufff9-\\ufffb\\u{e0000}-\\u{e007f}]", "gu");

// "\x1b", "\U0000202e" for what is not seen, or makes other text be seen otherwise.
export function visible(text) {
  return text.replace(kUnseen, (character) => {
    const code = character.codePointAt(0);
    return code < 0x80 ? `\\x${code.toString(16).padStart(2, "0")}` : `\\U${code.toString(16).padStart(8, "0")}`;
  });
}

function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes ?? {})) {
    if (value === undefined || value === null || value === false) continue;
    if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
    else if (name === "value") element.value = value;
    else element.setAttribute(name, value === true ? "" : value);
  }
  element.append(...children.flat(9).filter((child) => child !== null && child !== undefined)
    .map((child) => (typeof child === "string" ? visible(child) : child)));
  return element;
}

export function h(tag, attributes, ...children) {
  return fill(document.createElement(tag), attributes, children);
}

export function svg(tag, attributes, ...children) {
  return fill(document.createElementNS(kSvg, tag), attributes, children);
}

// Marks what the desk has made up: a device would say something else of it.
export const invented = () => h("abbr", {class: "invented", title: "made up on the desk"}, "\u2217");

// What the mark means, below a view that has any.
export function legend() {
  return h("p", {class: "invented-legend none"}, invented(),
    " made up on the desk, or from its files (-r, -d): there is no device behind it. All else comes of the settings, by the library.");
}

export function card(title, ...children) {
  return h("section", {class: "card"}, h("h2", {}, title), children);
}

// Rows of cells under headings; a cell is a text, an element or a list of both.
// Headings that begin with "#" stand over numbers.
export function table(headings, rows, caption) {
  const numeric = headings.map((heading) => heading.startsWith("#"));
  const cell = (content, column) => h("td", {class: numeric[column] ? "number" : null}, content);
  return h("div", {class: "scroll", tabindex: 0, role: "region", "aria-label": caption},
    h("table", {},
      h("thead", {}, h("tr", {}, headings.map((heading, column) =>
        h("th", {scope: "col", class: numeric[column] ? "number" : null}, heading.replace("#", ""))))),
      h("tbody", {}, rows.map((row) => h("tr", {}, row.map(cell))))));
}

export const counted = (count, noun) => `${count} ${noun}${count === 1 ? "" : "s"}`;

// Names and values beside each other, those without a value left out.
export function facts(pairs) {
  return h("dl", {class: "facts"}, pairs.filter(([, value]) => value !== "" && value !== undefined)
    .map(([name, value]) => h("div", {}, h("dt", {}, name), h("dd", {}, value))));
}
