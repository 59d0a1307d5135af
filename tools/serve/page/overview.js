// The device as it goes: load, links, traffic.
import {ask} from "./api.js";
import {bytes, Chart, perSecond} from "./chart.js";
import {card, facts, h, invented, legend, table} from "./dom.js";
import {parsePorts, parseTraffic} from "./getters.js";

const kPeriod = 1000;

// Kept while another view is shown.
const load = new Chart(["processor", "memory"], (percent) => `${Math.round(percent)} %`, 100);
const chart_of = new Map();
let before = null;

function portsOf(text) {
  const ports = parsePorts(text);
  if (ports.length === 0) return h("p", {class: "none"}, "The switch does not answer.");
  return [h("ul", {class: "ports"}, ports.map(({port, link, flag}) =>
    h("li", {class: link ? "up" : "down"}, h("b", {}, port), h("span", {}, link ? "link" : "no link"),
      h("small", {title: `bit ${port} of the switch's register 80`}, `bit ${port}: ${flag ? 1 : 0}`)))),
  h("small", {}, "The lower line is the port's bit of the switch's register 80, whose meaning is the switch's.")];
}

function trafficTable(traffic) {
  const rows = traffic.filter((source) => source.packetsIn + source.packetsOut > 0)
    .map((source) => [source.name, bytes(source.bytesIn), bytes(source.bytesOut),
      source.packetsIn, source.packetsOut, ...source.faults]);
  return table(["", "#in", "#out", "#packets in", "#packets out", "#dropped out", "#dropped in",
    "#errors out", "#errors in"], rows, "Counters");
}

export function overview(main) {
  const now = h("div", {}), ports = h("div", {}), counters = h("div", {}), charts = h("div", {class: "cards"});
  main.replaceChildren(
    h("div", {class: "cards"}, card("Now", now), card(["Load", invented()], load.element), card(["Ports", invented()], ports)),
    h("h2", {class: "band"}, "Traffic", invented()), charts, card(["Counters", invented()], counters), legend());

  for (const [name, chart] of chart_of) charts.append(card(name, chart.element));

  function drawTraffic(at, traffic) {
    for (const [place, source] of traffic.entries()) {
      if (source.packetsIn + source.packetsOut <= 0) continue;
      if (!chart_of.has(source.name)) {
        const chart = new Chart(["in", "out"], perSecond);
        chart_of.set(source.name, chart);
        charts.append(card(source.name, chart.element));
      }
      const rate = (name) => {
        const grown = source[name] - (before?.traffic[place]?.[name] ?? Infinity);
        // A counter that ran over, or whose halves were joined too short, tells nothing.
        return grown < 0 || at <= before.at ? null : grown / (at - before.at);
      };
      chart_of.get(source.name).add(at, [rate("bytesIn"), rate("bytesOut")]);
    }
    before = {at, traffic};
  }

  async function look() {
    const {at, answers} = await ask("status");
    now.replaceChildren(facts([["Model", answers.getModelName], ["Name", answers.getHostName],
      ["Up for", [answers.getSysUptime, invented()]], ["Local time", answers.getSysCurrentTime]]));
    load.add(at / 1000, [Number(answers.getCpuLoad), Number(answers.getMemUsgInfo)]);
    ports.replaceChildren(...[portsOf(answers.getPortStatus)].flat());
    const traffic = parseTraffic(answers.getCurrentPacketStatistic);
    drawTraffic(at / 1000, traffic);
    counters.replaceChildren(trafficTable(traffic));
  }
  return {look, period: kPeriod};
}
