// Addresses and routes.
import {ask} from "./api.js";
import {card, facts, h, table} from "./dom.js";
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
    route.index === "-1" ? "kernel" : `RoutingRules, record ${Number(route.index) + 1}`,
    h("span", {class: active ? "tag good" : "tag"}, active ? "active" : "not installed"), route.note.trim()];
}

export function network(main) {
  async function look() {
    const {answers} = await ask("network");
    const link = answers.getWANLinkStatus === "1";
    main.replaceChildren(
      h("div", {class: "cards"},
        card("LAN", facts([["Interface", answers.getLanIfName], ["Address", answers["getIfIp @getLanIfName"]],
          ["Netmask", answers["getIfNetmask @getLanIfName"]], ["MAC", answers.getLanMac]])),
        card("Default WAN", facts([["Interface", answers.getDefaultWanIfName],
          ["Connection", answers.getDefaultWanConnectionMode], ["Address type", answers.getDefaultWanAddressType],
          ["Address", answers.getDefaultWanIp], ["Netmask", answers.getDefaultWanNetmask],
          ["Gateway", answers["getGatewayByInterface @getDefaultWanIfName"]],
          ["MAC", answers.getDefaultWanMac]])),
        card("All WANs", h("p", {}, h("span", {class: link ? "tag good" : "tag"},
          link ? "WAN port has link" : "WAN port has no link")),
          table(["WAN", "Service", "Interface", "Address"], wansOf(answers).map((wan) =>
            [String(wan.wan), wan.service, wan.ifname, wan.address]), "WANs"))),
      card("Routing table", table(["Destination", "Netmask", "Gateway", "Interface", "Side", "#Metric",
        "From", "State", "Note"], parseRoutes(answers.getRoutingTable).map(routeRow), "Routing table")));
  }
  return {look};
}
