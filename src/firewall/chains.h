// This system's own chains: where each one is hooked, and why it exists. Rules within
// a chain stand in the order of the builders' calls. Commands spell the names out, so
// that whoever looks for one finds it as it runs; library/chains holds the two together.
#ifndef ORBA_FIREWALL_CHAINS_H
#define ORBA_FIREWALL_CHAINS_H

namespace orba {

constexpr const char *kChains[] = {
    // ---- iptables filter, from INPUT, in the order of the jumps ----

    // INPUT, behind IGMP and TR-069: trusted management addresses; jumps to MCL_FILTER itself.
    "MCL_IPCHAIN",
    // From MCL_IPCHAIN: one service (web, Telnet, ping ...) after the other, by the side it serves.
    "MCL_FILTER",
    // INPUT, behind MCL_IPCHAIN: attacks on the router itself, answers to its own connections.
    "malicious_input_filter",
    // First in malicious_input_filter, TCP SYN only: kept for a SYN limit, nothing here fills it.
    "synflood_input_filter",
    // From both malicious chains, new echo requests only: long pings and floods of them.
    "PING_DEATH",
    // INPUT, behind malicious_input_filter: the user's IP, port and MAC rules for the router.
    "macipport_input_filter",
    // INPUT, last ahead of the final drop: answers of a DHCP server on the WAN side.
    "dhcp_relay_chain",

    // ---- iptables filter, from FORWARD, in the order of the jumps ----

    // FORWARD, first behind the MSS rules: multicast, filled by other programs.
    "FORWARD_IGMP",
    // FORWARD: ports that LAN hosts asked for, filled by other programs.
    "FORWARD_UPNP",
    // FORWARD: lets forwarded ports in. The one in nat, first in PREROUTING, translates.
    "port_forward",
    // FORWARD: lets the DMZ host's traffic in. The one in nat, second in PREROUTING, translates.
    "DMZ",
    // FORWARD: web content, URLs and hosts that the user blocks.
    "web_filter",
    // FORWARD: attacks on the hosts behind the router.
    "malicious_filter",
    // First in malicious_filter, TCP SYN only: kept for a SYN limit, nothing here fills it.
    "synflood_filter",
    // FORWARD, last: the user's IP, port and MAC rules for the hosts behind the router.
    "macipport_filter",

    // ---- iptables nat ----

    // POSTROUTING: source translation, filled by other programs.
    "LAN_NAT_CHAIN",

    // ---- ebtables ----

    // filter INPUT: marks frames for the policy routes.
    "Policy_Route",
    // nat PREROUTING: the user's MAC list, before a frame reaches any iptables rule.
    "MAC_Filter",
    // broute BROUTING and nat POSTROUTING, first: what PPPoE pass-through lets cross.
    "pppoePassThrough",
    // From pppoePassThrough, what is no PPPoE discovery: drops what is no PPPoE session either.
    "poebrWAN",

    // ---- names of no chain, which are meant: their commands change nothing ----

    // Flushed in the place of synflood_input_filter, which outlives a rebuild.
    "synflood__input_filter",
    // Given a policy in the place of MAC_Filter, whose own MACFilterRun sets.
    "MAC_FILTER",
    // Removed in the place of poebrWAN, which stays until pass-through is on again.
    "poebrWAN1",
};

}  // namespace orba

#endif
