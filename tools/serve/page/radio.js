// Channels, the week, and who else is on the air.
import {ask, change} from "./api.js";
import {card, facts, h, invented, legend, svg, table} from "./dom.js";
import {parseOptions, parseSurvey} from "./getters.js";

const kDay = 24 * 60;

// Choosing another channel is a change of the setting, collected like any other.
function selector(getter, name, text, present) {
  const options = parseOptions(text);
  if (options.length === 0) return h("label", {}, name, h("span", {class: "none"}, "no channel in this region"));
  const select = h("select", {"data-getter": getter, onchange: () => change(1, "Channel", select.value)},
    options.some((option) => option.selected) ? null
      : h("option", {value: "", selected: true, disabled: true}, `${present}, which is not among them`),
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

// As the router's own page shows a name; beside it, where that is not all of it, what it is.
function nameOf(shown, real) {
  const name = shown.trim() === "" ? h("i", {}, "hidden") : h("span", {class: "ssid"}, shown);
  if (!real?.bytes) return name;
  return [name, " ", h("small", {class: "real"}, real.name === shown ? "" : `${real.name} `, h("code", {}, real.bytes))];
}

// The survey leaves records out only at its end, so that names and bytes go side by side.
function surveyOf(text, on_air) {
  const networks = parseSurvey(text).map((network, place) => ({...network, real: on_air[place]}));
  if (networks.length === 0) {
    return h("p", {class: "none"}, "No networks were found. Start with --device examples/neighbourhood.txt for some.");
  }
  networks.sort((one, other) => Number.parseInt(other.rssi, 10) - Number.parseInt(one.rssi, 10));
  return table(["Name", "Signal", "#Channel", "Security", "Encryption", "Address", "Kind"],
    networks.map((network) => [nameOf(network.ssid, network.real), signal(network.rssi), network.channel,
      network.auth, network.encryption, h("code", {}, network.bssid), network.network_type]), "Networks found");
}

const linkTo = (space, key) => h("a", {href: `#settings/${space}/${key}`}, key);

function ownNetworks(networks) {
  return table(["Name", "Network", "Interface", "State", "Security", "Encryption", "Pass phrase", "Setting"], networks.map((network) => [
    nameOf(network.name, network), network.role, network.interface,
    h("span", {class: network.on ? "tag good" : "tag"}, network.on ? "on" : "off"),
    network.security || "not set", network.encryption || "not set", network.key ? "set" : "not set", linkTo(network.space, network.setting)]), "Own networks");
}

const kWpsStatus = {0: "no answer", 1: "idle", 2: "failed", 3: "started", 34: "configured", 265: "two buttons at once"};
const kWpsResult = {1: "success", 0: "none", "-1": "failure"};

function wpsOf({daemon, why, button, configured, answers}) {
  const status = answers["getWscStatus ra0"], pin = answers["getAPPIN ra0"];
  return facts([
    ["Daemon", h("span", {class: daemon ? "tag good" : "tag"}, daemon ? "started" : "stays stopped")],
    [daemon ? "Command" : "Because", daemon ? h("code", {}, daemon) : why],
    ["Push button", [button ? "starts a run" : "does nothing", ", ", linkTo(1, "WscModeOption")]],
    ["Access point", [configured ? "configured" : "takes a configuration by WPS", ", ", linkTo(1, "WscConfigured")]],
    ["Driver's status", [kWpsStatus[status] ?? status, invented()]],
    ["PIN", [pin === "0" ? "none" : pin.padStart(8, "0"), invented()]],
    ["Last run", [kWpsResult[answers.getWscResult], invented()]]]);
}

export function radio(main) {
  async function look() {
    const {answers, networks, on_air, survey, week, switched, wps} = await ask("radio");
    const channel = answers.getWlanChannel === "0" ? "automatic" : answers.getWlanChannel;
    const present = `channel ${channel}`;
    main.replaceChildren(
      card("Own networks", ownNetworks(networks)),
      h("div", {class: "cards"},
        card("Radio", facts([["Channel set", channel],
          ["Channel in use", [answers.getWlanOperatingChannel, invented()]], ["MAC", [answers.getWlanCurrentMac, invented()]],
          ["Networks at most", answers.getMaxBssidNum]])),
        card("Channels", h("div", {class: "form"},
          selector("getWlan11gChannels", "2.4 GHz, 802.11g", answers.getWlan11gChannels, present),
          selector("getWlan11bChannels", "2.4 GHz, 802.11b", answers.getWlan11bChannels, present),
          selector("getWlan11aChannels", "5 GHz", answers.getWlan11aChannels, present))),
        card("Wi-Fi Protected Setup", wpsOf(wps))),
      card("The radio's week", weekOf(week, switched)),
      card(["Networks found", invented()], surveyOf(survey, on_air)), legend());
  }
  return {look};
}
