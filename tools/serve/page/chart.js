// A small line chart that moves as time passes.
import {h, svg} from "./dom.js";

const kWidth = 300, kHeight = 64, kSeconds = 120;

export class Chart {
  // `lines`: their names, drawn in the colours of the classes line0, line1.
  // `show`: how a value is written. `most`: the top of the scale, none for as needed.
  constructor(lines, show, most) {
    this.lines = lines;
    this.show = show;
    this.most = most;
    this.points = [];  // {at, values}; a value is null where it is not known
    this.paths = lines.map((line, i) => svg("path", {class: `line line${i}`}));
    this.picture = svg("svg", {viewBox: `0 0 ${kWidth} ${kHeight}`, preserveAspectRatio: "none",
      "aria-hidden": "true"},
      [16, 32, 48].map((y) => svg("line", {class: "grid", x1: 0, x2: kWidth, y1: y, y2: y})),
      this.paths);
    this.values = lines.map((line, i) => h("span", {class: `value value${i}`}));
    this.scale = h("span", {class: "scale"});
    this.element = h("div", {class: "chart"}, this.picture, this.scale,
      h("p", {class: "legend"}, lines.map((line, i) => [line ? `${line} ` : "", this.values[i], " "])));
  }

  add(at, values) {
    this.points.push({at, values});
    while (this.points.length > 2 && this.points[1].at < at - kSeconds) this.points.shift();
    const known = this.points.flatMap((point) => point.values).filter((value) => value !== null);
    const top = this.most ?? Math.max(1, ...known) * 1.1;
    this.paths.forEach((path, line) => path.setAttribute("d", this.drawn(line, at, top)));
    this.values.forEach((value, line) =>
      value.replaceChildren(values[line] === null ? "\u2013" : this.show(values[line])));
    this.scale.replaceChildren(this.most || known.length === 0 ? "" : this.show(top));
  }

  drawn(line, now, top) {
    let path = "", pen = "M";
    for (const {at, values} of this.points) {
      if (values[line] === null) {
        pen = "M";
        continue;
      }
      const x = kWidth * (1 - (now - at) / kSeconds), y = kHeight - 2 - (kHeight - 4) * values[line] / top;
      path += `${pen}${x.toFixed(1)} ${y.toFixed(1)}`;
      pen = "L";
    }
    return path;
  }
}

export function bytes(count) {
  const units = ["B", "kB", "MB", "GB", "TB"];
  let unit = 0;
  while (count >= 1000 && unit < units.length - 1) count /= 1000, unit++;
  return `${unit > 0 && count < 10 ? count.toFixed(1) : Math.round(count)} ${units[unit]}`;
}

export const perSecond = (count) => `${bytes(count)}/s`;
