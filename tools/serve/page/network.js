// Addresses and routes.
import {ask} from "./api.js";
import {card, facts, h, invented, legend, table} from "./dom.js";
import {parseRoutes} from "./getters.js";

function wansOf(answers) {
  const services = answers.wanSrvName.split("|");
  return [1, 2, 3, 4].map((wan) => {
    const name = wan === 1 ? "getWanIfNamePPP" : `getWan2IfNamePPP ${wan}`;
    return {wan, ifname: answers[name], address: answers[`getIfIp @${name}`], service: services[wan - 1]};
  }).filter(({ifname}) => ifname !== "");
}

function routeRow(route) {
  const active = route.inactive === "0";
  return [route.destination, route.netmask, route.gateway, route.interface, route.side, route.metric,
    route.index === "-1" ? ["kernel", invented()] : `RoutingRules, record ${Number(route.index) + 1}`,
    h("span", {class: active ? "tag good" : "tag"}, active ? "active" : "not installed"), route.note.trim()];
}

const kDhcp = {0: "off", 1: "server: the router hands out addresses", 2: "relay: another server does"};

function dhcpOf({mode, relay, hosts}) {
  return [facts([["On the LAN", mode === null ? "not set" : kDhcp[mode] ?? mode],
    ["Answers from the WAN", relay.length ? "let in" : "not let in"],
    ["Setting", h("a", {href: "#settings/1/dhcpEnabled"}, "dhcpEnabled")]]),
  h("h3", {}, "Hosts that the kernel has heard of on the LAN", invented()),
  hosts.length === 0 ? h("p", {class: "none"}, "None. Start with -r FOLDER for a device with a table of neighbours.")
    : table(["Address", "MAC"], hosts.map(({address, mac}) => [address, h("code", {}, mac)]), "Hosts of the LAN"),
  h("small", {}, "Leases are kept by the device's DHCP program; the library does not read them.")];
}

export function network(main) {
  async function look() {
    const {answers, dhcp} = await ask("network");
    const link = answers.getWANLinkStatus === "1";
    main.replaceChildren(
      h("div", {class: "cards"},
        card("LAN", facts([["Interface", answers.getLanIfName], ["Address", [answers["getIfIp @getLanIfName"], invented()]],
          ["Netmask", [answers["getIfNetmask @getLanIfName"], invented()]], ["MAC", [answers.getLanMac, invented()]]])),
        card("Default WAN", facts([["Interface", answers.getDefaultWanIfName],
          ["Connection", answers.getDefaultWanConnectionMode], ["Address type", answers.getDefaultWanAddressType],
          ["Address", [answers.getDefaultWanIp, invented()]], ["Netmask", [answers.getDefaultWanNetmask, invented()]],
          ["Gateway", [answers["getGatewayByInterface @getDefaultWanIfName"], invented()]],
          ["MAC", [answers.getDefaultWanMac, invented()]]])),
        card("All WANs", h("p", {}, h("span", {class: link ? "tag good" : "tag"},
          link ? "WAN port has link" : "WAN port has no link"), invented()),
          table(["WAN", "Service", "Interface", "Address"], wansOf(answers).map((wan) =>
            [String(wan.wan), wan.service, wan.ifname, [wan.address, invented()]]), "WANs")),
        card("DHCP", dhcpOf(dhcp))),
      card("Routing table", table(["Destination", "Netmask", "Gateway", "Interface", "Side", "#Metric",
        "From", "State", "Note"], parseRoutes(answers.getRoutingTable).map(routeRow), "Routing table")), legend());
  }
  return {look};
}
