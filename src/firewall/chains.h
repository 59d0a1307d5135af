// This system's own chains: where each one is hooked, and why it exists. Rules within
// a chain stand in the order of the builders' calls. There is no code here: commands spell
// the names out, so that whoever looks for one finds it as it runs, and library/chains
// compares them with the names below.
//
// ---- iptables filter, from INPUT, in the order of the jumps ----
//
// MCL_IPCHAIN             INPUT, behind IGMP and TR-069: trusted management addresses; jumps to
//                         MCL_FILTER itself.
// MCL_FILTER              From MCL_IPCHAIN: one service (web, Telnet, ping ...) after the other,
//                         by the side it serves.
// malicious_input_filter  INPUT, behind MCL_IPCHAIN: attacks on the router itself, answers to its
//                         own connections.
// synflood_input_filter   First in malicious_input_filter, TCP SYN only: kept for a SYN limit,
//                         nothing here fills it.
// PING_DEATH              From both malicious chains, new echo requests only: long pings and
//                         floods of them.
// macipport_input_filter  INPUT, behind malicious_input_filter: the user's IP, port and MAC rules
//                         for the router.
// dhcp_relay_chain        INPUT, last ahead of the final drop: answers of a DHCP server on the
//                         WAN side.
//
// ---- iptables filter, from FORWARD, in the order of the jumps ----
//
// FORWARD_IGMP            FORWARD, first behind the MSS rules: multicast, filled by other
//                         programs.
// FORWARD_UPNP            FORWARD: ports that LAN hosts asked for, filled by other programs.
// port_forward            FORWARD: lets forwarded ports in. A second one in nat, first in
//                         PREROUTING, translates them.
// DMZ                     FORWARD: lets the DMZ host's traffic in. A second one in nat, second in
//                         PREROUTING, translates.
// web_filter              FORWARD: web content, URLs and hosts that the user blocks.
// malicious_filter        FORWARD: attacks on the hosts behind the router.
// synflood_filter         First in malicious_filter, TCP SYN only: kept for a SYN limit, nothing
//                         here fills it.
// macipport_filter        FORWARD, last: the user's IP, port and MAC rules for the hosts behind
//                         the router.
//
// ---- iptables nat ----
//
// LAN_NAT_CHAIN           POSTROUTING: source translation, filled by other programs.
//
// ---- ebtables ----
//
// Policy_Route            filter INPUT: marks frames for the policy routes.
// MAC_Filter              nat PREROUTING: the user's MAC list, before a frame reaches any
//                         iptables rule.
// pppoePassThrough        broute BROUTING and nat POSTROUTING, first: what PPPoE pass-through
//                         lets cross.
// poebrWAN                From pppoePassThrough, what is no PPPoE discovery: drops what is no
//                         PPPoE session either.
//
// ---- names of no chain, which are meant: their commands change nothing ----
//
// synflood__input_filter  Flushed in the place of synflood_input_filter, which outlives a
//                         rebuild.
// MAC_FILTER              Given a policy in the place of MAC_Filter, whose policy MACFilterRun
//                         sets.
// poebrWAN1               Removed in the place of poebrWAN, which stays until pass-through is on
//                         again.
