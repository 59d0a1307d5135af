// Channels, the week, and who else is on the air.
import {ask, change} from "./api.js";
import {card, facts, h, svg, table} from "./dom.js";
import {parseOptions, parseSurvey} from "./getters.js";

const kDay = 24 * 60;

// Choosing another channel is a change of the setting, collected like any other.
function selector(getter, name, text) {
  const options = parseOptions(text);
  if (options.length === 0) return h("label", {}, name, h("span", {class: "none"}, "no channel in this region"));
  const select = h("select", {"data-getter": getter, onchange: () => change(1, "Channel", select.value)},
    options.some((option) => option.selected) ? null
      : h("option", {value: "", selected: true, disabled: true}, "the present one is not among them"),
    options.map((option) => h("option", {value: option.value, selected: option.selected}, option.text)));
  return h("label", {}, h("span", {}, name), select);
}

const minutes = (clock) => {
  const [hour, minute] = clock.split(":").map(Number);
  return hour * 60 + minute;
};

function weekOf(week, switched) {
  const hours = [0, 3, 6, 9, 12, 15, 18, 21, 24];
  return h("div", {class: "week"},
    h("div", {class: "hours", "aria-hidden": "true"}, hours.map((hour) => h("span", {}, String(hour)))),
    Object.entries(week).map(([day, periods]) => h("div", {class: "day"}, h("b", {}, day),
      svg("svg", {viewBox: `0 0 ${kDay} 20`, preserveAspectRatio: "none", role: "img",
        "aria-label": `${day}: ${periods.map((period) => period.join(" to ")).join(", ") || "off"}`},
        svg("rect", {class: "off", width: kDay, height: 20}),
        periods.map(([from, to]) => svg("rect", {class: "on", x: minutes(from), height: 20,
          width: minutes(to) - minutes(from)}, svg("title", {}, `${from} to ${to}`))),
        hours.map((hour) => svg("line", {x1: hour * 60, x2: hour * 60, y1: 0, y2: 20}))),
      h("small", {}, periods.map((period) => period.join("\u2013")).join(", ") || "off"))),
    switched ? null : h("p", {class: "none"}, "No schedule switches the radio: it stays as it is."));
}

function signal(text) {
  const percent = Number.parseInt(text, 10);
  return [h("meter", {min: 0, max: 100, low: 25, high: 60, optimum: 100, value: percent,
    "aria-label": `signal ${text}`}), ` ${text}`];
}

function surveyOf(text) {
  const networks = parseSurvey(text);
  if (networks.length === 0) {
    return h("p", {class: "none"}, "No networks were found. Start with --device examples/neighbourhood.txt for some.");
  }
  networks.sort((one, other) => Number.parseInt(other.rssi, 10) - Number.parseInt(one.rssi, 10));
  return table(["Name", "Signal", "#Channel", "Security", "Encryption", "Address", "Kind"],
    networks.map((network) => [network.ssid.trim() === "" ? h("i", {}, "hidden") : h("span", {class: "ssid"}, network.ssid), signal(network.rssi), network.channel,
      network.auth, network.encryption, h("code", {}, network.bssid), network.network_type]), "Networks found");
}

export function radio(main) {
  async function look() {
    const {answers, survey, week, switched} = await ask("radio");
    main.replaceChildren(
      h("div", {class: "cards"},
        card("Radio", facts([["Channel set", answers.getWlanChannel === "0" ? "automatic" : answers.getWlanChannel],
          ["Channel in use", answers.getWlanOperatingChannel], ["MAC", answers.getWlanCurrentMac],
          ["Networks at most", answers.getMaxBssidNum]])),
        card("Channels", h("div", {class: "form"},
          selector("getWlan11gChannels", "2.4 GHz, 802.11g", answers.getWlan11gChannels),
          selector("getWlan11bChannels", "2.4 GHz, 802.11b", answers.getWlan11bChannels),
          selector("getWlan11aChannels", "5 GHz", answers.getWlan11aChannels)))),
      card("The radio's week", weekOf(week, switched)),
      card("Networks found", surveyOf(survey)));
  }
  return {look};
}
