// The firewall's picture within the page, and what it tells of its rules.
import {h} from "./dom.js";

const kDrawn = new Set(["svg", "g", "title", "rect", "path", "circle", "text", "tspan",
  "foreignObject", "details", "summary", "ol", "li", "b"]);

// What only draws. The server has escaped every text; this is for the
// day it has not.
function onlyDrawing(element) {
  for (const child of [...element.children]) {
    if (kDrawn.has(child.localName)) onlyDrawing(child);
    else child.remove();
  }
  for (const {name} of [...element.attributes]) {
    if (name.startsWith("on") || name.endsWith("href")) element.removeAttribute(name);
  }
  return element;
}

export function framed(text) {
  // The page may hold no style of its own: it links the picture's.
  const parsed = new DOMParser().parseFromString(text.replace(/<style>[^]*?<\/style>/, ""), "image/svg+xml");
  if (parsed.querySelector("parsererror")) throw new Error("the picture is no SVG");
  const drawing = document.importNode(onlyDrawing(parsed.documentElement), true);
  const frame = h("div", {class: "picture", tabindex: 0, role: "region", "aria-label": "The firewall's chains"});
  frame.append(drawing);
  return {frame, drawing};
}

// A setting or its record, where it can be changed.
export function recordLink({space, key, record}, text) {
  const place = [space, key, ...record ? [record] : []].map(encodeURIComponent).join("/");
  return h("a", {href: `#settings/${place}`}, text ?? (record ? `record ${record} of ${key}` : key));
}

// The lines that are told of the rule around an element, nothing outside of all rules.
export function toldBy(element) {
  const rule = element.closest(".rule");
  const title = rule?.querySelector("title")?.textContent ?? rule?.getAttribute("title");
  return title?.split("\n").filter((line) => line !== "");
}

// "from PortForwardRules, record 1: ..." leads there.
export function lineOf(text) {
  const [, lead, key, space, record, rest] =
    text.match(/^(from|because of) (.*?)(?: \(space (\d)\))?(?:, record (\d+))?(: .*)$/) ?? [];
  if (!key) return h("p", {}, text);
  return h("p", {}, `${lead} `, recordLink({space: space ?? 1, key, record}), rest);
}

// A text such as "records 1 and 2 of aclRules, firewallAction=DROP", in which what is from one of
// these settings leads to it.
export function linked(text, origins) {
  const known = new Map(origins.map((origin) => [origin.key, origin]));
  const parts = [];
  let end = 0;
  for (const found of text.matchAll(/(records? )(\d+(?:(?:, | and )\d+)*)( of )([^\s,:(]+)|([^\s,(=]+)(?==)/g)) {
    const [whole, record, numbers, of, list, key] = found, origin = known.get(list ?? key);
    if (!origin) continue;
    const link = (number, words) => recordLink({...origin, record: number}, words);
    parts.push(text.slice(end, found.index));
    if (key) parts.push(link(0, key));
    else if (/^\d+$/.test(numbers)) parts.push(link(numbers, whole));
    else parts.push(record, numbers.split(/(\d+)/).map((piece) => (/\d/.test(piece) ? link(piece, piece) : piece)), of, list);
    end = found.index + whole.length;
  }
  return [...parts, text.slice(end)];
}
