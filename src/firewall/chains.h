// The firewall's own chains: where firewall_init hooks each one, and why it
// exists. Rules within a chain stand in the order of the builders' calls.
#ifndef ORBA_FIREWALL_CHAINS_H
#define ORBA_FIREWALL_CHAINS_H

namespace orba::chain {

// iptables filter, from INPUT, in the order of the jumps.

// INPUT, behind IGMP and TR-069: trusted management addresses; jumps to MCL_FILTER itself.
constexpr char kMclIpChain[] = "MCL_IPCHAIN";
// From MCL_IPCHAIN: one service (web, Telnet, ping ...) after the other, by the side it serves.
constexpr char kMclFilter[] = "MCL_FILTER";
// INPUT, behind MCL_IPCHAIN: attacks on the router itself, answers to its own connections.
constexpr char kMaliciousInputFilter[] = "malicious_input_filter";
// First in malicious_input_filter, TCP SYN only: kept for a SYN limit, nothing here fills it.
constexpr char kSynFloodInputFilter[] = "synflood_input_filter";
// From both malicious chains, new echo requests only: long pings and floods of them.
constexpr char kPingDeath[] = "PING_DEATH";
// INPUT, behind malicious_input_filter: the user's IP, port and MAC rules for the router.
constexpr char kMacIpPortInputFilter[] = "macipport_input_filter";
// INPUT, last ahead of the final drop: answers of a DHCP server on the WAN side.
constexpr char kDhcpRelay[] = "dhcp_relay_chain";

// iptables filter, from FORWARD, in the order of the jumps.

// FORWARD, first behind the MSS rules: multicast, filled by other programs.
constexpr char kForwardIgmp[] = "FORWARD_IGMP";
// FORWARD: ports that LAN hosts asked for, filled by other programs.
constexpr char kForwardUpnp[] = "FORWARD_UPNP";
// FORWARD: lets forwarded ports in. A second one in nat, first in PREROUTING, translates them.
constexpr char kPortForward[] = "port_forward";
// FORWARD: lets the DMZ host's traffic in. A second one in nat, second in PREROUTING, translates.
constexpr char kDmz[] = "DMZ";
// FORWARD: web content, URLs and hosts that the user blocks.
constexpr char kWebFilter[] = "web_filter";
// FORWARD: attacks on the hosts behind the router.
constexpr char kMaliciousFilter[] = "malicious_filter";
// First in malicious_filter, TCP SYN only: kept for a SYN limit, nothing here fills it.
constexpr char kSynFloodFilter[] = "synflood_filter";
// FORWARD, last: the user's IP, port and MAC rules for the hosts behind the router.
constexpr char kMacIpPortFilter[] = "macipport_filter";

// iptables nat.

// POSTROUTING: source translation, filled by other programs.
constexpr char kLanNat[] = "LAN_NAT_CHAIN";

// ebtables.

// filter INPUT: marks frames for the policy routes.
constexpr char kPolicyRoute[] = "Policy_Route";
// nat PREROUTING: the user's MAC list, before a frame reaches any iptables rule.
constexpr char kMacFilter[] = "MAC_Filter";

}  // namespace orba::chain

#endif
