#include "tools/catalog/peculiarities.h"

#include <algorithm>
#include <cstdlib>

namespace orba::tool {

namespace {

// clang-format off
const std::vector<Peculiarity> kPeculiarities = {
    // WANs
    {.keys = {"wan%dEnable"},
     .sentence = "A WAN that is switched off keeps its interface, and with it its routes and rules.",
     .shown = {{.settings = {"wan3Enable=0", "wan3Vid=30"}, .call = {"getWan2IfName", "3"}, .seen = {"eth2.30"}}}},
    {.keys = {"OperationMode"},
     .sentence = "Without a WAN of its own (0) the Internet side is a port of the LAN's bridge, and \"from the LAN only\" keeps nobody off; with a LAN that is no bridge (2) it keeps off the LAN too.",
     .shown = {{.settings = {"OperationMode=0", "httpMode=0"}, .packet = "wan 198.51.100.9 router tcp/80", .verdict = "delivered to the router"},
               {.settings = {"OperationMode=2", "httpMode=0"}, .packet = "lan 192.168.1.9 router tcp/80", .verdict = "dropped"}}},
    {.keys = {"wan%dVid", "vlanEnabled"},
     .sentence = "The routing page calls eth2.2 and ppp0 alone \"WAN\"; any other stands there by its own name.",
     .shown = {{.settings = {"OperationMode=1"}, .call = {"getLanWanNamebyIf", "eth2.10"}, .seen = {"eth2.10"}}}},
    {.keys = {"wan_MTU", "wan_MTU_manaul"},
     .sentence = "An MTU above 1492 makes no difference: a rule that is always there lowers the segments of PPP links to 1452 bytes.",
     .shown = {{.settings = {"OperationMode=1", "wanConnectionMode=PPPOE", "wan_MTU_manaul=1", "wan_MTU=1500"}, .call = {"iptablesPathMTU"},
                .seen = {"--set-mss 1460", "-i ppp+ --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1452:1536 -j TCPMSS --set-mss 1452"}}}},
    {.keys = {"pppoeREnabled"},
     .sentence = "Pass-through is not switched on while the WAN port has no link: orba_pppoeRelay is to be called again when it has one.",
     .shown = {{.settings = {"OperationMode=1", "pppoeREnabled=1", "wanConnectionMode=PPPOE", "wan1Enable=1"}, .call = {"orba_pppoeRelay"},
                .seen = {"brctl delif br0 eth2.2", "switch pppoe-passthrogh 0"}, .not_seen = {"brctl addif"}, .device = "answer \"switch reg r 3608\" \"value=0x0\""}}},
    {.keys = {"pppoeREnabled"},
     .sentence = "PPPoE frames never cross between eth2.12 and the LAN, whichever WAN is chosen.",
     .shown = {{.settings = {"OperationMode=1", "pppoeREnabled=1", "wanConnectionMode=PPPOE", "wan1Enable=1"}, .call = {"orba_pppoeRelay"},
                .seen = {"ebtables -t nat -I pppoePassThrough 1 -o eth2.12 -p 0x8863 -j DROP"}}}},
    {.keys = {"pppoeREnabled"},
     .sentence = "Switching it off leaves the empty chain poebrWAN behind, until it is switched on again.",
     .shown = {{.settings = {"pppoeREnabled=0"}, .call = {"orba_pppoeRelay"}, .seen = {"ebtables -t nat -X poebrWAN1"}, .not_seen = {"-X poebrWAN\n"}}}},
    {.keys = {"pppoeREnabled"},
     .sentence = "The WAN's device becomes a port of the LAN's bridge: a session that the router itself has over it falls silent until pass-through is off again.",
     .shown = {{.settings = {"OperationMode=1", "vlanEnabled=1", "wan1Vid=10", "pppoeREnabled=1", "wanConnectionMode=PPPOE", "wan1Enable=1"}, .call = {"orba_pppoeRelay"},
                .seen = {"brctl addif br0 eth2.10"}},
               {.settings = {"OperationMode=1", "vlanEnabled=1", "wan1Vid=10", "pppoeREnabled=1", "wanConnectionMode=PPPOE", "wan1Enable=0"}, .call = {"orba_pppoeRelay"},
                .seen = {"brctl delif br0 eth2.10"}}}},
    {.keys = {"defaultRouteNum"},
     .sentence = "3 and 4 mean WAN 2 as well.",
     .shown = {{.settings = {"OperationMode=1", "defaultRouteNum=3", "wan2Vid=20", "wan3Vid=30", "DMZEnable=1", "DMZAddress=192.168.1.50", "DMZAvoidTCPPort80=0"},
                .call = {"iptablesDMZRun"}, .seen = {"-i eth2.20 -d 192.168.1.50"}, .not_seen = {"eth2.30"}}}},

    // Routes
    {.keys = {"RoutingRules", "StaticRoutingRules"},
     .sentence = "A record that is taken out of the list leaves its route in the kernel.",
     .shown = {{.settings = {"OperationMode=1", "RoutingRules=192.168.5.0,255.255.255.0,192.168.1.254,LAN,br0,,"}, .call = {"RoutingInit"},
                .seen = {"route add -net 192.168.5.0"}, .not_seen = {"route del"}},
               {.settings = {"OperationMode=1", "StaticRoutingRules="}, .call = {"executeStaticRoute"}, .not_seen = {"route"}}}},
    {.keys = {"StaticRoutingRules"},
     .sentence = "A record without a gateway, for a WAN that has no address yet, makes a command with an empty gateway, which is refused.",
     .shown = {{.settings = {"OperationMode=1", "wanConnectionMode4=DHCP", "StaticRoutingRules=1,office,10.8.0.0,255.255.0.0,,4"}, .call = {"executeStaticRoute"},
                .seen = {"netmask 255.255.0.0 gw  dev"}}}},
    {.keys = {"PolicyRoutingRules"},
     .sentence = "Six records have marks of their own. The seventh has the mark 0: every packet without a mark takes its way, whoever sends it.",
     .shown = {{.settings = {"wanConnectionMode2=DHCP", "wan2Vid=20", "PolicyRoutingRules=,192.168.1.31,0,,-1,WAN,eth2.2,a;,192.168.1.32,0,,-1,WAN,eth2.2,b;,192.168.1.33,0,,-1,WAN,eth2.2,c;,192.168.1.34,0,,-1,WAN,eth2.2,d;,192.168.1.35,0,,-1,WAN,eth2.2,e;,192.168.1.36,0,,-1,WAN,eth2.2,f;,192.168.1.37,0,,-1,WAN2,eth2.20,g"},
                .packet = "lan 192.168.1.99 198.51.100.1 tcp/80", .verdict = "forwarded to 198.51.100.1 by eth2.20"}},
     .trouble = {{"PolicyRoutingRules", Circumstance::kMoreRecords, "6"}},
     .reason = "has more than six records, and the seventh has no mark of its own", .effect = "sends every packet without a mark where its seventh says"},
    {.keys = {"PolicyRoutingRules"},
     .sentence = "Marks are or-ed together: what the records 1 and 3 both match takes the way of record 5.",
     .shown = {{.settings = {"wanConnectionMode2=DHCP", "wan2Vid=20", "PolicyRoutingRules=,192.168.1.30,0,,-1,WAN,eth2.2,a;,192.168.1.31,0,,-1,WAN,eth2.2,b;,192.168.1.30,0,,-1,WAN,eth2.2,c;,192.168.1.32,0,,-1,WAN,eth2.2,d;,192.168.1.33,0,,-1,WAN2,eth2.20,e"},
                .packet = "lan 192.168.1.30 198.51.100.1 tcp/80", .verdict = "forwarded to 198.51.100.1 by eth2.20"}}},
    {.keys = {"PolicyRoutingRules"},
     .sentence = "A source port counts beside a protocol alone: with the protocol -1 the record is for every port.",
     .shown = {{.settings = {"OperationMode=1", "PolicyRoutingRules=,192.168.1.30,80,,-1,WAN,eth2.2,web"}, .call = {"executePolicyRoute"},
                .seen = {"ebtables -A Policy_Route  -p ipv4  --ip-src 192.168.1.30 -j mark"}, .not_seen = {"--ip-sport"}}}},
    {.keys = {"PolicyRoutingRules"},
     .sentence = "A record for the LAN makes a route that is refused, and the main table decides about what it marks.",
     .shown = {{.settings = {"PolicyRoutingRules=,192.168.1.30,0,,-1,LAN,br0,stay"}, .call = {"executePolicyRoute"}, .seen = {"ip route add default  via  dev br0"}},
               {.settings = {"PolicyRoutingRules=,192.168.1.30,0,,-1,LAN,br0,stay"}, .packet = "lan 192.168.1.30 198.51.100.1 tcp/80", .verdict = "forwarded to 198.51.100.1 by eth2.2"}}},

    // Filter rules
    {.keys = {"IPPortFilterRules", "firewallAction"},
     .sentence = "What a record matches is logged as well, without a limit.",
     .shown = {{.settings = {"firewallAction=DROP", "IPPortFilterRules=192.168.1.20,,0,0,any/0,,25,0,1,1,mail,,,,"}, .call = {"iptablesIPPortFilterRun"},
                .seen = {"-s 192.168.1.20 -d any/0 -p tcp --dport 25 -j LOG", "-s 192.168.1.20 -d any/0 -p tcp --dport 25 -j DROP"}, .not_seen = {"limit"}}}},
    {.keys = {"IPPortFilterRules"},
     .sentence = "The word for all addresses is any/0: iptables takes \"any\" alone for a name, and the record makes no rule.",
     .shown = {{.settings = {"firewallAction=DROP", "IPPortFilterRules=192.168.1.20,,0,0,any,,25,0,1,1,mail,,,,"}, .packet = "lan 192.168.1.20 198.51.100.1 tcp/25", .verdict = "forwarded to 198.51.100.1 by eth2.2"},
               {.settings = {"firewallAction=DROP", "IPPortFilterRules=192.168.1.20,,0,0,any/0,,25,0,1,1,mail,,,,"}, .packet = "lan 192.168.1.20 198.51.100.1 tcp/25", .verdict = "dropped"}}},
    {.keys = {"IPPortFilterType", "IPPortFilterRules"},
     .sentence = "The records filter in one direction alone: what is forwarded, or with WAN_TO_WAN what is sent to the router, never both.",
     .shown = {{.settings = {"firewallAction=DROP", "IPPortFilterRules=any/0,,0,0,any/0,,25,0,1,1,mail,,,,"}, .packet = "lan 192.168.1.20 192.168.1.1 tcp/25", .verdict = "delivered to the router"},
               {.settings = {"firewallAction=DROP", "IPPortFilterType=WAN_TO_WAN", "IPPortFilterRules=any/0,,0,0,any/0,,25,0,1,1,mail,,,,"}, .packet = "lan 192.168.1.20 198.51.100.1 tcp/25", .verdict = "forwarded to 198.51.100.1 by eth2.2"}}},
    {.keys = {"IPPortFilterType", "IPPortFilterRules"},
     .sentence = "With WAN_TO_WAN the records come behind the services: a port that httpMode and its like let in is not theirs any more.",
     .shown = {{.settings = {"firewallAction=DROP", "httpMode=2", "IPPortFilterType=WAN_TO_WAN", "IPPortFilterRules=any/0,,0,0,any/0,,80,0,1,1,pages,,,,"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/80", .verdict = "delivered to the router"}}},
    {.keys = {"IPPortFilterType", "SPIFWEnabled"},
     .sentence = "With WAN_TO_WAN a drop rule looks at every packet, answers too, whatever SPIFWEnabled is.",
     .shown = {{.settings = {"firewallAction=DROP", "SPIFWEnabled=1", "IPPortFilterType=WAN_TO_WAN", "IPPortFilterRules=any/0,,0,0,any/0,,25,0,1,1,mail,,,,"}, .call = {"iptablesIPPortFilterRun"},
                .seen = {"iptables -A macipport_input_filter -s any/0"}, .not_seen = {"NEW,INVALID"}}}},
    {.keys = {"firewallAction"},
     .sentence = "DROP forwards all that no record matches, also what the Internet's side sends to the hosts of the LAN by their own addresses, or through the router to others.",
     .shown = {{.settings = {"firewallAction=DROP", "DefaultFirewallPolicy=1", "SPIFWEnabled=1"}, .packet = "wan 198.51.100.9 192.168.1.20 tcp/445", .verdict = "forwarded to 192.168.1.20 by br0"},
               {.settings = {"firewallAction=DROP", "DefaultFirewallPolicy=1", "SPIFWEnabled=1"}, .packet = "wan 198.51.100.9 192.0.2.1 tcp/25", .verdict = "forwarded to 192.0.2.1 by eth2.2"}}},
    {.keys = {"DefaultFirewallPolicy"},
     .sentence = "0 lets the Internet reach every port of the router, but those that a service's mode closes.",
     .shown = {{.settings = {"DefaultFirewallPolicy=0"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/8080", .verdict = "delivered to the router"},
               {.settings = {"DefaultFirewallPolicy=1"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/8080", .verdict = "dropped"}}},
    {.keys = {"DefaultFirewallPolicy"},
     .sentence = "It is not looked at while IPPortFilterRules is missing; an empty list will do.",
     .shown = {{.settings = {"DefaultFirewallPolicy=0"}, .call = {"iptablesIPPortFilterRun"}, .not_seen = {"iptables"}}}},
    {.keys = {"DefaultFirewallPolicy", "SPIFWEnabled"},
     .sentence = "1 without SPIFWEnabled keeps out the answers to the router's own connections too.",
     .shown = {{.settings = {"OperationMode=1", "wanConnectionMode=DHCP", "DefaultFirewallPolicy=1", "SPIFWEnabled=0", "IPPortFilterRules="}, .call = {"firewall_init"}, .seen = {"INPUT ! -i br+ -j DROP"}, .not_seen = {"ESTABLISHED"}}}},
    {.keys = {"DefaultFirewallPolicy", "IPPortFilterRules", "aclMode"},
     .sentence = "TCP port 7547 of the router (TR-069) is open to everybody, in front of every filter.",
     .shown = {{.settings = {"DefaultFirewallPolicy=1", "aclMode=1", "aclRules=192.168.1.8"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/7547", .verdict = "delivered to the router"}}},
    {.keys = {"SIPALGEnable"},
     .sentence = "firewall_fini leaves the modules as they are.",
     .shown = {{.settings = {"SIPALGEnable=0"}, .call = {"firewall_fini"}, .seen = {"iptables -F INPUT"}, .not_seen = {"mod"}}}},
    {.keys = {"MacFilterAction", "MACFilterRules"},
     .sentence = "ACCEPT with no station in the list lets nobody on the LAN in.",
     .shown = {{.settings = {"MacFilterAction=ACCEPT", "MACFilterRules="}, .packet = "lan 192.168.1.20 192.168.1.1 tcp/80", .verdict = "dropped"}},
     .trouble = {{"MacFilterAction", Circumstance::kIs, "ACCEPT"}, {"MACFilterRules", Circumstance::kEmpty}},
     .reason = "accepts the stations of MACFilterRules alone, which has none", .effect = "locks everybody on the LAN out"},
    {.keys = {"MacFilterAction", "pppoeREnabled"},
     .sentence = "ACCEPT is for every port of the bridge: where a WAN is one, as in bridge mode and with PPPoE passed through, the provider's servers are to be listed too.",
     .shown = {{.settings = {"OperationMode=0", "httpMode=2", "MacFilterAction=ACCEPT", "MACFilterRules=00:0C:43:28:60:2B"}, .packet = "wan 198.51.100.9 router tcp/80", .verdict = "dropped"},
               {.settings = {"OperationMode=0", "httpMode=2", "MacFilterAction=DROP", "MACFilterRules=00:0C:43:28:60:2B"}, .packet = "wan 198.51.100.9 router tcp/80", .verdict = "delivered to the router"}}},
    {.keys = {"MacFilterAction"},
     .sentence = "firewall_fini empties the list and leaves the policy: behind an ACCEPT nobody on the LAN gets in until the firewall is made again.",
     .shown = {{.settings = {"MacFilterAction=ACCEPT"}, .call = {"firewall_fini"}, .seen = {"ebtables -t nat -F MAC_Filter"}, .not_seen = {"-P MAC_Filter"}}}},
    {.keys = {"MacFilterAction"},
     .sentence = "The first policy command of the MAC filter names no chain (MAC_FILTER), and fails; the policy is set when the list is.",
     .shown = {{.settings = {"OperationMode=1", "MacFilterAction=DROP", "MACFilterRules="}, .call = {"firewall_init"}, .seen = {"ebtables -t nat -N MAC_Filter", "ebtables -t nat -P MAC_FILTER RETURN", "ebtables -t nat -P MAC_Filter RETURN"}}}},

    // Web filter
    {.keys = {"websFilterProxy", "websFilterJava", "websFilterActivex", "websFilterCookies"},
     .sentence = "Contents are looked for on the TCP ports 80, 3128 and 8080 alone.",
     .shown = {{.settings = {"websFilterProxy=1", "websFilterJava=1", "websFilterActivex=0", "websFilterCookies=0", "websFilterTrustIP=0.0.0.0", "websURLFilters=", "websHostFiltersEnable=0", "websHostFilters="}, .call = {"iptablesWebsFilterRun"},
                .seen = {"--dport 80 ", "--dport 3128 ", "--dport 8080 "}, .not_seen = {"--dport 443", "--dport 8081"}}}},

    // Attack protection
    {.keys = {"WANPingFilter", "LANPingFilter"},
     .sentence = "icmpMode has decided about every ping to the router before: these two make no difference.",
     .shown = {{.settings = {"icmpMode=2", "WANPingFilter=1", "LANPingFilter=1", "BlockPortScan=0", "BlockSynFlood=0"}, .packet = "wan 198.51.100.9 203.0.113.2 icmp", .verdict = "delivered to the router"},
               {.settings = {"icmpMode=2", "WANPingFilter=1", "LANPingFilter=1", "BlockPortScan=0", "BlockSynFlood=0"}, .packet = "lan 192.168.1.20 192.168.1.1 icmp", .verdict = "delivered to the router"},
               {.settings = {"icmpMode=0", "WANPingFilter=0", "LANPingFilter=0", "BlockPortScan=0", "BlockSynFlood=0"}, .packet = "wan 198.51.100.9 203.0.113.2 icmp", .verdict = "dropped"}}},
    {.keys = {"BlockPingofDeath"},
     .sentence = "It is for pings that are forwarded: about those to the router is decided before. The one a second is for all hosts together, those of the LAN too.",
     .shown = {{.settings = {"icmpMode=2", "WANPingFilter=0", "BlockPortScan=0", "BlockSynFlood=0", "BlockPingofDeath=1"}, .packet = "wan 198.51.100.9 203.0.113.2 icmp", .verdict = "delivered to the router"},
               {.settings = {"icmpMode=2", "WANPingFilter=0", "BlockPortScan=0", "BlockSynFlood=0", "BlockPingofDeath=1"}, .packet = "lan 192.168.1.20 198.51.100.1 icmp", .verdict = "dropped, or not: --limit 1/s"}}},
    {.keys = {"BlockSynFlood"},
     .sentence = "It makes no rule: SYN cookies guard the servers of the router itself, not the hosts behind it.",
     .shown = {{.settings = {"WANPingFilter=0", "BlockPortScan=0", "BlockSynFlood=1"}, .call = {"iptablesMaliciousFilterRun"}, .seen = {"echo 1 > /proc/sys/net/ipv4/tcp_syncookies"}, .not_seen = {"synflood", "-p tcp"}}}},
    {.keys = {"BlockSynFlood"},
     .sentence = "0 leaves the cookies on that 1 has switched on, until iptablesMaliciousFilterFlush is called.",
     .shown = {{.settings = {"OperationMode=1", "WANPingFilter=0", "BlockPortScan=0", "BlockSynFlood=0"}, .call = {"firewall_init"}, .not_seen = {"tcp_syncookies"}}}},
    {.keys = {"BlockLAND"},
     .sentence = "The kernel's routing refuses packets from the router's own address by itself, and none gets as far as this rule.",
     .shown = {{.settings = {"WANPingFilter=0", "BlockPortScan=0", "BlockSynFlood=0", "BlockLAND=0"}, .packet = "wan 203.0.113.2 203.0.113.2 tcp/80", .verdict = "refused by routing: no host has such an address"}}},

    // Management services
    {.keys = {"httpMode", "ftpMode", "telnetMode", "snmpMode", "RMWWWServerPort", "RMFTPServerPort", "RMTELNETServerPort", "snmp_serverPort"},
     .sentence = "A mode guards the usual port of its service (80, 21, 23, 161), not the one that the server is told to use.",
     .shown = {{.settings = {"httpMode=3", "RMWWWServerPort=8080"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/8080", .verdict = "delivered to the router"},
               {.settings = {"telnetMode=3", "RMTELNETServerPort=2323"}, .packet = "lan 192.168.1.20 192.168.1.1 tcp/2323", .verdict = "delivered to the router"}}},
    {.keys = {"RMHTTPSServerPort"},
     .sentence = "No mode guards it: what keeps the Internet from it is DefaultFirewallPolicy 1.",
     .shown = {{.settings = {"httpMode=3", "RMHTTPSServerPort=443"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/443", .verdict = "delivered to the router"},
               {.settings = {"httpMode=3", "RMHTTPSServerPort=443", "DefaultFirewallPolicy=1"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/443", .verdict = "dropped"}}},
    {.keys = {"aclMode", "tftpMode"},
     .sentence = "The list of trusted addresses does not keep others from TFTP where tftpMode lets them in.",
     .shown = {{.settings = {"aclMode=1", "aclRules=192.168.1.8", "tftpMode=0", "DefaultFirewallPolicy=1"}, .packet = "lan 192.168.1.99 192.168.1.1 udp/69", .verdict = "delivered to the router"}},
     .trouble = {{"aclMode", Circumstance::kIs, "1"}, {"tftpMode", Circumstance::kIsNot, "3"}},
     .reason = "keeps the services to the addresses of aclRules, but not TFTP, which tftpMode has on", .effect = "leaves TFTP to everybody on its side"},
    {.keys = {"aclRules", "aclMode"},
     .sentence = "A trusted address reaches every port of the router, not the services alone, and from whichever side: also a neighbour on the WAN's wire who takes it.",
     .shown = {{.settings = {"aclMode=1", "aclRules=192.168.1.8", "DefaultFirewallPolicy=1"}, .packet = "wan 192.168.1.8 203.0.113.2 tcp/9999", .verdict = "delivered to the router"},
               {.settings = {"aclMode=1", "aclRules=198.51.100.10", "DefaultFirewallPolicy=1"}, .packet = "wan 198.51.100.10 203.0.113.2 tcp/9999", .verdict = "delivered to the router"},
               {.settings = {"aclMode=1", "aclRules=198.51.100.10", "DefaultFirewallPolicy=1"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/9999", .verdict = "dropped"}}},
    {.keys = {"RemoteManagement"},
     .sentence = "With DefaultFirewallPolicy 1 and SPIFWEnabled another rule lets the answers in, with DefaultFirewallPolicy 0 everything: 1 then makes no difference.",
     .shown = {{.settings = {"OperationMode=1", "RemoteManagement=1", "SPIFWEnabled=1", "DefaultFirewallPolicy=1", "IPPortFilterRules="}, .call = {"firewall_init"},
                .seen = {"iptables -t filter -A macipport_input_filter -m state --state RELATED,ESTABLISHED -j ACCEPT"}, .not_seen = {"-A malicious_input_filter -i"}},
               {.settings = {"OperationMode=1", "RemoteManagement=1", "SPIFWEnabled=1", "DefaultFirewallPolicy=0", "IPPortFilterRules="}, .call = {"firewall_init"},
                .seen = {"iptables -t filter -A macipport_input_filter ! -i br+ -j ACCEPT"}, .not_seen = {"ESTABLISHED"}}}},
    {.keys = {"RMWWWServerPort", "RMHTTPSServerPort"},
     .sentence = "serviceCtl_restart starts a server on ports that stay the same too, which the one that has them does not let it have; only other ports end the old one.",
     .shown = {{.settings = {"RMWWWServerPort=80", "RMWWWOldServerPort=80", "RMHTTPSServerPort=443", "RMHTTPSOldServerPort=443"}, .call = {"serviceCtl_restart", "0"}, .seen = {"mini_httpd -p 80 -SP 443"}, .not_seen = {"kill"}}}},
    {.keys = {"RemoteLogActive", "RemoteLogIP"},
     .sentence = "management_init starts the logger without the remote host: it takes startlog_init to send the log there.",
     .shown = {{.settings = {"OperationMode=1", "RemoteLogActive=1", "RemoteLogIP=192.168.1.3"}, .call = {"management_init"}, .seen = {"syslogd -C8"}, .not_seen = {"-R"}},
               {.settings = {"RemoteLogActive=1", "RemoteLogIP=192.168.1.3"}, .call = {"startlog_init"}, .seen = {"-R 192.168.1.3"}}}},

    // Forwarded ports and DMZ
    {.keys = {"PortForwardEnable", "PortForwardRules"},
     .sentence = "0 does not switch the forwarded ports off: PortForwardRules has to be empty for that.",
     .shown = {{.settings = {"PortForwardEnable=0", "PortForwardRules=192.168.1.10,443,0,TCP"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/443", .verdict = "forwarded to 192.168.1.10 by br0"}},
     .trouble = {{"PortForwardEnable", Circumstance::kIs, "0"}, {"PortForwardRules", Circumstance::kGiven}},
     .reason = "does not switch the records of PortForwardRules off", .effect = "leaves their ports forwarded"},
    {.keys = {"PortForwardRules"},
     .sentence = "A protocol in small letters is such another text: it repeats the protocol of the record before.",
     .shown = {{.settings = {"OperationMode=1", "defaultRouteNum=1", "PortForwardRules=192.168.1.10,443,0,UDP;192.168.1.11,444,0,tcp"}, .call = {"iptablesPortForwardRun"}, .seen = {"-d 192.168.1.11 -p udp --dport 444 "}, .not_seen = {"-p tcp"}}}},
    {.keys = {"SinglePortForwardEnable", "SinglePortForwardRules"},
     .sentence = "Without the DMZ program (DMZEnable 2) nobody is told of them, and nothing is forwarded.",
     .shown = {{.settings = {"SinglePortForwardEnable=1", "SinglePortForwardRules=web,8090,0,1"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/8090", .verdict = "delivered to the router"}},
     .trouble = {{"SinglePortForwardEnable", Circumstance::kOn}, {"SinglePortForwardRules", Circumstance::kGiven}, {"DMZEnable", Circumstance::kIsNot, "2"}},
     .reason = "is for the DMZ program, which DMZEnable does not start", .effect = "forwards nothing"},
    {.keys = {"DMZAvoidTCPPort80", "RMWWWServerPort", "DMZEnable"},
     .sentence = "By rules DMZAvoidTCPPort80 spares nothing: the last rule never matches, since the one before it sends everything to the DMZ host.",
     .shown = {{.settings = {"DMZEnable=1", "DMZAddress=192.168.1.50", "DMZAvoidTCPPort80=1", "RMWWWServerPort=8080"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/8080", .verdict = "forwarded to 192.168.1.50 by br0"}},
     .trouble = {{"DMZAvoidTCPPort80", Circumstance::kOn}, {"DMZEnable", Circumstance::kIs, "1"}, {"DMZAddress", Circumstance::kGiven}},
     .reason = "spares no port where the DMZ is made by rules (DMZEnable 1)", .effect = "leaves the port of RMWWWServerPort to the DMZ host"},
    {.keys = {"DMZEnable", "snmpMode"},
     .sentence = "By rules the router keeps the TCP ports 7547 and 161 from the DMZ host. SNMP is UDP, and goes there.",
     .shown = {{.settings = {"DMZEnable=1", "DMZAddress=192.168.1.50", "DMZAvoidTCPPort80=0", "snmpMode=2"}, .packet = "wan 198.51.100.9 203.0.113.2 udp/161", .verdict = "forwarded to 192.168.1.50 by br0"},
               {.settings = {"DMZEnable=1", "DMZAddress=192.168.1.50", "DMZAvoidTCPPort80=0", "snmpMode=2"}, .packet = "wan 198.51.100.9 203.0.113.2 tcp/161", .verdict = "delivered to the router"}}},

    // Radio
    {.keys = {"OperatingBandRepeater"},
     .sentence = "With 1 the first network stays in br0; the others and the client link make a bridge of their own, br1, which stays when the mode changes.",
     .shown = {{.settings = {"WirelessOPMode=3", "OperatingBandRepeater=1"}, .call = {"wlanModeChange2_4_init"}, .seen = {"brctl addif br0 ra0", "brctl addif br1 ra1", "brctl addif br1 apcli0"}},
               {.settings = {"WirelessOPMode=1", "OperatingBandAP=3"}, .call = {"wlanModeChange2_4_init"}, .not_seen = {"delbr"}}}},
    {.keys = {"WirelessOPMode"},
     .sentence = "management_init ends with the radio's networks out of the LAN's bridge; wlanModeChange2_4_init puts them in.",
     .shown = {{.settings = {"OperationMode=1", "WirelessOPMode=1"}, .call = {"management_init"}, .seen = {"brctl delif br0 ra0"}, .not_seen = {"addif"}}}},
    {.keys = {"CountryRegion"},
     .sentence = "5 offers channel 14 to 802.11b and not to 802.11g.",
     .shown = {{.settings = {"CountryRegion=5"}, .call = {"getWlan11bChannels"}, .seen = {"Channel 14<"}},
               {.settings = {"CountryRegion=5"}, .call = {"getWlan11gChannels"}, .seen = {"Channel 13<"}, .not_seen = {"Channel 14<"}}}},
    {.keys = {"AuthMode", "EncrypType"},
     .sentence = "When a run of WPS hands over WPA-PSK with TKIP, the access point becomes one of both: WPAPSKWPA2PSK and TKIPAES.",
     .shown = {{.settings = {"AuthMode=OPEN", "EncrypType=NONE", "IEEE8021X=0"}, .call = {"WPSAPTimerHandler", "14"}, .seen = {"set 1 AuthMode=WPAPSKWPA2PSK", "set 1 EncrypType=TKIPAES"},
                .device = "wps ra0 34\nwps-state 2\nwps-credential \"home\" 2 4 \"pass phrase\""}}},
    {.keys = {"WlanEnabledBAK"},
     .sentence = "A recovered backup leaves WlanEnabled as the wizard left it.",
     .shown = {{.settings = {"WlanEnabled=1", "SSID1=Home"}, .call = {"backupRecoverSettings", "2"}, .seen = {"set 1 SSID1BAK=Home"}, .not_seen = {"WlanEnabledBAK"}}}},

    // Radio schedule
    {.keys = {"wlanSchedule%d"},
     .sentence = "Hours across midnight switch the radio at both times; but when the schedule is applied in between, as at a start, the radio counts as outside of them.",
     .shown = {{.call = {"setWlanSchedulingCfg", "1 1 22 0 6 0", "0"}, .seen = {"\"0 22 * * * nvram_set RadioOff 0\"", "\"0 6 * * * nvram_set RadioOff 1\""}},
               {.call = {"checkWlanSchedulingCfg", "Mon 23:00", "1 1 22 0 6 0", "0"}, .seen = {"0\n"}}}},
    {.keys = {"wlanSchedule%d"},
     .sentence = "A mode that is written 01 counts as 0 at the hours of the schedule and as 1 when it is applied.",
     .shown = {{.call = {"setWlanSchedulingCfg", "1 01 8 0 18 0", "0"}, .seen = {"\"0 8 * * * nvram_set RadioOff 1\""}},
               {.call = {"checkWlanSchedulingCfg", "Mon 12:00", "1 01 8 0 18 0", "0"}, .seen = {"1\n"}}}},
    {.keys = {"wlanSchedule%d"},
     .sentence = "wlan_schedule_cfg, which nothing here calls, takes in the end hour: the radio is switched on every minute of it, and off in its second.",
     .shown = {{.call = {"wlan_schedule_cfg", "1 1 8 0 18 0", "1"}, .seen = {"\"* 8-18 * * 1 nvram_set RadioOff 0\"", "\"1 18 * * 1 nvram_set RadioOff 1\""}}}},
    {.keys = {"wlanScheduleEnab"},
     .sentence = "Whether on or off, every call of wlan_schedule_init leaves a line that drops the kernel's page cache each minute.",
     .shown = {{.settings = {"wlanScheduleEnab=0"}, .call = {"wlan_schedule_init"}, .seen = {"* * */1 * * echo 3 > /proc/sys/vm/drop_caches"}}}},
};
// clang-format on

size_t recordsOf(const std::string &list) {
  return list.empty() ? 0 : 1 + static_cast<size_t>(std::count(list.begin(), list.end(), ';'));
}

bool holds(const Circumstance &circumstance, const std::optional<std::string> &value) {
  switch (circumstance.kind) {
    case Circumstance::kIs:
      return value == circumstance.than;
    case Circumstance::kIsNot:
      return value != circumstance.than;
    case Circumstance::kOn:
      return value && atoi(value->c_str()) != 0;
    case Circumstance::kEmpty:
      return value && value->empty();
    case Circumstance::kGiven:
      return value && !value->empty();
    case Circumstance::kMoreRecords:
      break;
  }
  return value && recordsOf(*value) > std::stoul(circumstance.than);
}

}  // namespace

const std::vector<Peculiarity> &peculiarities() {
  return kPeculiarities;
}

std::vector<std::string> peculiaritiesOf(const SettingDescription &setting) {
  std::vector<std::string> sentences;
  for (const Peculiarity &each : kPeculiarities) {
    const bool its = std::find(each.keys.begin(), each.keys.end(), setting.key) != each.keys.end();
    if (setting.space == 1 && its) sentences.push_back(each.sentence);
  }
  return sentences;
}

bool inTrouble(const Peculiarity &peculiarity, const ValueOf &value) {
  const std::vector<Circumstance> &trouble = peculiarity.trouble;
  return !trouble.empty() &&
         std::all_of(trouble.begin(), trouble.end(),
                     [&](const Circumstance &each) { return holds(each, value(each.key)); });
}

}  // namespace orba::tool
