// Every setting that the library reads or writes, by the part of the router that
// it belongs to. docs/settings.md, 'orba explain', 'orba check' and the page are
// made from this table; a setting that the library uses and that is not here
// fails a test.
#include "orba_util.h"
#include "tools/catalog/settings.h"

namespace orba::tool {

namespace {

// ---- forms ----

Form oneOf(std::vector<Choice> choices) {
  return {.kind = Form::kChoice, .choices = std::move(choices)};
}

Form number(const char *words, int from, int to, Use use = Use::kText) {
  return {.kind = Form::kNumber, .words = words, .use = use, .from = from, .to = to};
}

// So many digits, zeros in front included.
Form digits(const char *words, int least, int most) {
  std::string nines(static_cast<size_t>(most), '9');
  return {.kind = Form::kNumber,
          .words = words,
          .to = std::stoi(nines),
          .least_digits = least,
          .leading_zeros = true};
}

Form perNetwork(const Form &one, const char *words = "") {
  return {.kind = Form::kPerNetwork,
          .words = words,
          .fields = {{.form = one}},
          .record_separator = ';'};
}

Form listOf(const char *words, const Form &one) {
  return {
      .kind = Form::kRecords, .words = words, .fields = {{.form = one}}, .record_separator = ';'};
}

Form records(std::vector<Field> fields) {
  return {.kind = Form::kRecords,
          .fields = std::move(fields),
          .field_separator = ',',
          .record_separator = ';'};
}

const Form kText = {.words = "a text"};
const Form kNumber = {.words = "a number"};
const Form kFlag = oneOf({{"0"}, {"1"}});
const Form kVerdict = oneOf({{"ACCEPT"}, {"DROP"}});
const Form kSides = oneOf({{"0", "LAN"}, {"1", "WAN"}, {"2", "both"}, {"3", "nowhere"}});
const Form kBands = oneOf({{"1"}, {"2"}, {"3"}});
const Form kConnection = {.kind = Form::kCapitals,
                          .words = "a connection type in capitals, such as PPPOE or STATIC"};

const Form kPort = number("a port from %d to %d", 1, 65535, Use::kWord);
const Form kVlanId = number("a VLAN id from %d to %d", 1, 4094, Use::kInterface);
const Form kWanNumber = number("the number of a WAN, %d to %d", 1, 4);
const Form kNetworks = number("a number of networks from %d to %d", 1, 8);
const Form kWpsMode = number("a WPS mode from %d to %d", 0, 7);

const Form kAddress = {.kind = Form::kAddress, .use = Use::kHost};
const Form kAddressInFrames = {.kind = Form::kAddress,
                               .use = Use::kWord};  // ebtables knows no names
const Form kNetwork = {.kind = Form::kNetwork, .use = Use::kHost};
const Form kNetmask = {.kind = Form::kNetmask};
const Form kMac = {.kind = Form::kMac, .use = Use::kWord};
const Form kInterface = {.kind = Form::kInterface, .use = Use::kWord};
const Form kNoOption = {.kind = Form::kNoOption, .use = Use::kWord};

const Form kMacs = listOf("MAC addresses", kMac);
const Form kSwitches = perNetwork(kFlag);
const Form kAuthModes = perNetwork(oneOf({{"OPEN"},
                                          {"SHARED"},
                                          {"WEPAUTO"},
                                          {"WPA"},
                                          {"WPAPSK"},
                                          {"WPANONE"},
                                          {"WPA2"},
                                          {"WPA2PSK"},
                                          {"WPA1WPA2"},
                                          {"WPAPSKWPA2PSK"},
                                          {"Disable"}}),
                                   "an authentication mode for each network, such as WPA2PSK");
const Form kEncryptions = perNetwork(oneOf({{"NONE"}, {"WEP"}, {"TKIP"}, {"AES"}, {"TKIPAES"}}),
                                     "an encryption for each network, such as AES");

const Form kHour = {.kind = Form::kNumber, .words = "an hour", .to = 23, .leading_zeros = true};
const Form kHalfHour = oneOf({{"0"}, {"1", "half past"}});
const Form kSchedule = {.kind = Form::kRecord,
                        .words = "six fields",
                        .fields = {{"on flag", kFlag},
                                   {"mode", oneOf({{"0", "off inside the hours, on outside"},
                                                   {"1", "on inside, off outside"}})},
                                   {"start hour", kHour},
                                   {"start half", kHalfHour},
                                   {"end hour", kHour},
                                   {"end half", kHalfHour}},
                        .field_separator = ' '};

// ---- settings ----

const char kOffWithout[] = "off";
const char kEmptyWithout[] = "read as the empty text";
const char kNotRead[] = "makes no difference here";

struct Group {
  const char *name;
  std::vector<SettingDescription> settings;
};

// clang-format off
const std::vector<Group> kGroups = {
    {"The device", {
      {.key = "OperationMode", .form = oneOf({{"0", "bridge"}, {"1", "gateway"}, {"2", "Ethernet converter"}, {"3", "wireless client"}}), .example = "1",
       .without = "WAN 1 has no interface, the LAN keeps the one it had (br0 at first), WPS stays stopped",
       .meaning = "What the device is to its network, and so which interfaces are LAN and WAN 1: br0 and br0, br0 and eth2.N, eth2 and ra0, br0 and apcli0. Routes of the WAN side and remote management are for mode 1 alone, WPS for 0 and 1."},
      {.key = "ModelName", .form = kText, .example = "HomeGateway", .without = kEmptyWithout,
       .meaning = "The product's name, for the status page and the notes about taken ports."},
      {.key = "HostName", .form = kText, .example = "homegateway", .without = kEmptyWithout,
       .meaning = "The device's own name, for the status page."},
    }},
    {"WANs", {
      {.key = "wanConnectionMode", .form = kConnection, .example = "DHCP",
       .without = "no PPP link: WAN 1 sends through its Ethernet-side device",
       .meaning = "How WAN 1 connects. PPPOE, L2TP and PPTP make ppp0 its interface; PPPOE alone is clamped to its MTU and can be passed through; STATIC takes the gateway from wan_gateway; BRIDGE keeps the device in the bridge when pass-through ends."},
      {.key = "wanConnectionMode%d", .first = 2, .last = 4, .form = kConnection, .example = "DHCP",
       .without = "no PPP link: the WAN sends through its VLAN device",
       .meaning = "How WAN 2 to 4 connect, as wanConnectionMode says it of WAN 1. Their PPP links are ppp1 to ppp3."},
      {.key = "wanAddressType", .form = kText, .example = "DHCP", .without = kEmptyWithout,
       .meaning = "How WAN 1 gets its address, for the web pages: it is handed on as stored."},
      {.key = "wanAddressType%d", .first = 2, .last = 4, .form = kText, .example = "STATIC", .without = kEmptyWithout,
       .meaning = "How WAN 2 to 4 get their addresses."},
      {.key = "wan_gateway", .form = kAddress, .example = "198.51.100.1", .without = kEmptyWithout,
       .meaning = "The gateway of WAN 1 when its connection is STATIC; any other connection has it from /var/wan1.info."},
      {.key = "wan_gateway%d", .first = 2, .last = 4, .form = kAddress, .example = "10.%d0.0.1",
       .without = kEmptyWithout,
       .meaning = "The gateway of WAN 2 to 4 when the connection is STATIC."},
      {.key = "srvName", .form = kText, .example = "internet", .without = kEmptyWithout,
       .meaning = "The name of WAN 1's service on the web pages."},
      {.key = "srvName%d", .first = 2, .last = 4, .form = kText, .example = "service%d", .without = kEmptyWithout,
       .meaning = "The names of the services of WAN 2 to 4."},
      {.key = "vlanEnabled", .form = kFlag, .example = "0", .without = "WAN 1 is eth2.2",
       .meaning = "1 puts WAN 1 of a gateway on the VLAN that wan1Vid names, eth2.N. Otherwise it is eth2.2."},
      {.key = "wan%dVid", .first = 1, .last = 4, .form = kVlanId, .example = "%d0",
       .without = "a WAN 2 to 4 without it has no device",
       .meaning = "The VLAN of a WAN on the port eth2. That of WAN 1 counts only with vlanEnabled 1."},
      {.key = "wan%dEnable", .first = 1, .last = 4, .form = kFlag, .example = "1",
       .without = "no PPPoE pass-through over this WAN",
       .meaning = "1 lets PPPoE be passed through this WAN. A WAN that is not enabled keeps its names and routes."},
      {.key = "default_wan", .form = kWanNumber, .example = "1",
       .without = "no name and no address; mode and address type are WAN 1's",
       .meaning = "The WAN that the web pages show and that getDefaultWan... answer for."},
      {.key = "defaultRouteNum", .form = kWanNumber, .example = "1", .without = "WAN 2",
       .meaning = "The WAN that forwarded ports and the DMZ host are reached through: WAN 1 for 1, WAN 2 for anything else."},
      {.key = "natEnabled", .form = kFlag, .example = "1", .without = "no simple DMZ",
       .meaning = "1 lets RT_iptablesDMZRun make the simple DMZ."},
      {.key = "wan_MTU_manaul", .form = kFlag, .example = "1", .without = "an MTU of 1492",
       .meaning = "1 takes the MTU of a PPPOE connection from wan_MTU. It is spelled so on every device."},
      {.key = "wan_MTU", .form = digits("an MTU in bytes", 2, 4), .example = "1480",
       .without = "0, which makes a rule that makes no sense",
       .meaning = "The MTU set by hand; TCP segments through PPPoE get 40 bytes less. Any number is taken."},
      {.key = "pppoeREnabled", .form = number("0 or the number of a WAN", 0, 4), .example = "1",
       .without = "no pass-through",
       .meaning = "The WAN that hosts on the LAN may open PPPoE sessions of their own through: its device joins the bridge br0. 0: none."},
    }},
    {"LAN", {
      {.key = "dhcpEnabled", .form = oneOf({{"0", "off"}, {"1", "server"}, {"2", "relay"}}), .example = "2",
       .without = "no relay rule",
       .meaning = "What the router does about DHCP on the LAN; 2 lets answers of servers on the WAN side in."},
    }},
    {"Routes", {
      {.key = "RoutingRules", .form = records({
           {"destination", kAddress},
           {"netmask", kAddress, "255.255.255.255: a host"},
           {"gateway", kAddress, "empty or 0.0.0.0: none"},
           {.name = "side", .meaning = "WAN: for gateway mode alone"},
           {"interface", kInterface},
           {.name = "kind", .meaning = "only the page uses it"},
           {.name = "comment", .meaning = "only the page uses it"}}),
       .example = "192.168.5.0,255.255.255.0,192.168.1.254,LAN,br0,,", .without = "no routes",
       .meaning = "The routing page's static routes. A record of fewer fields is passed over."},
      {.key = "StaticRoutingRules", .form = records({
           {"on", {.words = "a number"}, "0: off"},
           {"name"},
           {"destination", kAddress},
           {"netmask", kAddress, "empty: a host"},
           {"gateway", kAddress, "empty: the interface's own"},
           {"side", {.words = "br0 or the number of a WAN"}}}),
       .example = "1,office,10.8.0.0,255.255.0.0,192.168.1.253,br0;1,iptv,10.20.0.0,255.255.0.0,,2",
       .without = "no routes",
       .meaning = "Static routes that name a WAN."},
      {.key = "PolicyRoutingRules", .form = records({
           {"source netmask", kNetmask},
           {"source address", kAddressInFrames, "empty: any"},
           {"source port", {.words = "a port"}, "0: any"},
           {"source MAC", kMac},
           {"protocol", {.words = "a protocol number"}, "-1: any"},
           {.name = "side", .meaning = "WAN, WAN2 to WAN4, otherwise the LAN"},
           {"interface", kInterface, "that it was installed with"},
           {"name"}}),
       .example = "255.255.255.255,192.168.1.30,0,,-1,WAN2,eth2.20,settop", .without = "no policies",
       .meaning = "Which traffic of the LAN goes out where. Six records have marks of their own."},
    }},
    {"Filter rules", {
      {.key = "IPPortFilterRules", .form = records({
           {"source address", kNetwork, "or any"},
           {"source mask", kNetmask},
           {"first source port", {.words = "a port"}, "0: any"},
           {"last source port", {.words = "a port"}, "0: the first alone"},
           {"destination address", kNetwork, "or any"},
           {"destination mask", kNetmask},
           {"first destination port", {.words = "a port"}, "0: any"},
           {"last destination port", {.words = "a port"}, "0: the first alone"},
           {"protocol", {.words = "1 (TCP), 2 (UDP), 4 (ICMP) or 5 (any)"}},
           {.name = "of the web page", .meaning = "not read here", .count = 2},
           {"first source MAC", {.words = "a MAC address"}},
           {"last source MAC", {.words = "a MAC address"}},
           {"first destination MAC", {.words = "a MAC address"}},
           {"last destination MAC", {.words = "a MAC address"}}}),
       .example = "192.168.1.64,255.255.255.192,1024,65535,any/0,,27000,27050,2,1,no games,,,,;any/0,,0,0,any/0,,0,0,5,1,tablet,00:0C:43:28:60:2A,,,",
       .without = "no rules, and a warning is printed",
       .meaning = "The user's packet filter. A record that fails a check is passed over."},
      {.key = "firewallAction", .form = kVerdict, .example = "DROP", .without = "rules drop; FORWARD keeps its policy",
       .meaning = "What a filter rule does with what it matches. FORWARD's policy is the opposite."},
      {.key = "DefaultFirewallPolicy", .form = kFlag, .example = "1", .without = "0",
       .meaning = "What becomes of traffic that no filter rule matched: 0 lets what comes from the WAN side on, be it forwarded or for the router; 1 only the router's own loopback and, with SPIFWEnabled, answers."},
      {.key = "IPPortFilterType", .form = {.words = "WAN_TO_WAN, or any other text"}, .example = "LAN_TO_WAN",
       .without = "filters what is forwarded",
       .meaning = "WAN_TO_WAN makes the filter rules for what is sent to the router itself, anything else for what it forwards."},
      {.key = "SPIFWEnabled", .form = kFlag, .example = "1", .without = kOffWithout,
       .meaning = "Stateful filtering: drop rules look at new and invalid connections only, and answers to the router's own connections are let in."},
      {.key = "SIPALGEnable", .form = kFlag, .example = "1",
       .without = "the modules stay as they are, and a warning is printed",
       .meaning = "1 loads the kernel modules that help SIP telephones through address translation, 0 unloads them."},
      {.key = "MACFilterRules", .form = kMacs, .example = "00:0C:43:66:66:66;02:1A:11:F0:0D:5E",
       .without = "no rule is added, the chain keeps its policy",
       .meaning = "The stations of the MAC filter. An empty record ends the list."},
      {.key = "MacFilterAction", .form = kVerdict, .example = "DROP",
       .without = "no rule is added, the chain keeps its policy",
       .meaning = "DROP blocks the listed stations, ACCEPT all others."},
    }},
    {"Web filter", {
      {.key = "websFilterProxy", .form = kFlag, .example = "1", .without = "no web filter at all",
       .meaning = "1 blocks the use of proxies."},
      {.key = "websFilterJava", .form = kFlag, .example = "1", .without = "no web filter at all",
       .meaning = "1 blocks Java."},
      {.key = "websFilterActivex", .form = kFlag, .example = "1", .without = "no web filter at all",
       .meaning = "1 blocks ActiveX."},
      {.key = "websFilterCookies", .form = kFlag, .example = "0", .without = "no web filter at all",
       .meaning = "1 blocks cookies."},
      {.key = "websFilterTrustIP", .form = kAddress, .example = "192.168.1.2", .without = "no web filter at all",
       .meaning = "The host that content classes and blocked hosts are not for; 0.0.0.0: none."},
      {.key = "websURLFilters", .form = listOf("URLs", kNoOption), .example = "ads.example.com/banner",
       .without = "no web filter at all",
       .meaning = "Blocked URLs, for the trusted host too. An \"http://\" in front is left out."},
      {.key = "websHostFiltersEnable", .form = kFlag, .example = "1", .without = "no web filter at all",
       .meaning = "1 puts the list of blocked hosts in force."},
      {.key = "websHostFilters", .form = listOf("host names", kNoOption), .example = "casino.example.com;games.example.org",
       .without = "no web filter at all; a first host begins the list",
       .meaning = "Blocked hosts."},
    }},
    {"Attack protection", {
      {.key = "WANPingFilter", .form = kFlag, .example = "1", .without = "no attack protection at all",
       .meaning = "Drops pings from the WAN side to the router, or accepts them when it is off; icmpMode decides before."},
      {.key = "LANPingFilter", .form = kFlag, .example = "0", .without = kOffWithout,
       .meaning = "Drops pings from the LAN to the router, or accepts them when it is off; icmpMode decides before."},
      {.key = "BlockPortScan", .form = kFlag, .example = "1", .without = "no attack protection at all",
       .meaning = "Drops TCP packets with the flags of port scanners."},
      {.key = "BlockSynFlood", .form = kFlag, .example = "1", .without = "no attack protection at all",
       .meaning = "Switches SYN cookies on. They stay on until iptablesMaliciousFilterFlush."},
      {.key = "BlockPingofDeath", .form = kFlag, .example = "1", .without = kOffWithout,
       .meaning = "Drops pings of more than 1536 bytes, and lets one a second through."},
      {.key = "BlockLAND", .form = kFlag, .example = "1", .without = kOffWithout,
       .meaning = "Drops packets that claim to come from the WAN's own address, when the WAN is up as the rules are made."},
    }},
    {"Management services", {
      {.key = "httpMode", .form = kSides, .example = "0", .without = "0 (LAN)",
       .meaning = "Who may reach the web pages, port 80."},
      {.key = "ftpMode", .form = kSides, .example = "3", .without = "0 (LAN)",
       .meaning = "Who may reach FTP, port 21."},
      {.key = "telnetMode", .form = kSides, .example = "3", .without = "0 (LAN)",
       .meaning = "Who may reach Telnet, port 23."},
      {.key = "snmpMode", .form = kSides, .example = "1", .without = "0 (LAN)",
       .meaning = "Who may reach SNMP, port 161."},
      {.key = "icmpMode", .form = kSides, .example = "2", .without = "0 (LAN)",
       .meaning = "Who may ping the router."},
      {.key = "sshMode", .form = kSides, .example = "0", .without = "0 (LAN)",
       .meaning = "Who may reach SSH, port 22."},
      {.key = "tftpMode", .form = kSides, .example = "3", .without = "0 (LAN)",
       .meaning = "Who may reach TFTP, port 69."},
      {.key = "aclMode", .form = kFlag, .example = "1", .without = kOffWithout,
       .meaning = "1 keeps the management services to the addresses of aclRules, TFTP excepted."},
      {.key = "aclRules", .form = listOf("IPv4 addresses and ranges \"a-b\"", kNetwork), .example = "192.168.1.8;192.168.1.32-192.168.1.63",
       .without = "nobody is trusted",
       .meaning = "The addresses that may reach the management services."},
      {.key = "RemoteManagement", .form = kFlag, .example = "0", .without = "0",
       .meaning = "1 lets no answers in for the router's own connections."},
      {.key = "RMWWWServerPort", .form = kPort, .example = "8088",
       .without = "0, and an empty word in the server's command",
       .meaning = "The web server's HTTP port."},
      {.key = "RMWWWOldServerPort", .form = kPort, .example = "8081",
       .without = "0: the old server counts as one on other ports",
       .meaning = "The HTTP port of the web server that is running."},
      {.key = "RMHTTPSServerPort", .form = kPort, .example = "8443",
       .without = "0, and an empty word in the server's command",
       .meaning = "The web server's HTTPS port."},
      {.key = "RMHTTPSOldServerPort", .form = kPort, .example = "8444",
       .without = "0: the old server counts as one on other ports",
       .meaning = "The HTTPS port of the web server that is running."},
      {.key = "RMTELNETServerPort", .form = kPort, .example = "2323",
       .without = "an empty word in the server's command",
       .meaning = "The Telnet server's port."},
      {.key = "RMFTPServerPort", .form = kPort, .example = "2121", .without = "no note about it",
       .meaning = "The FTP server's port, for the notes about taken ports."},
      {.key = "snmp_serverPort", .form = kPort, .example = "1161", .without = "no note about it",
       .meaning = "The SNMP server's port, for the notes about taken ports."},
      {.key = "RMSNMPServerPort", .form = kPort, .example = "161", .without = kNotRead,
       .meaning = "The SNMP server's port for other programs of the device."},
      {.key = "RemoteLogActive", .form = kFlag, .example = "1", .without = "logs locally alone",
       .meaning = "1 sends the log to RemoteLogIP too."},
      {.key = "RemoteLogIP", .form = kAddress, .example = "192.168.1.3", .without = "logs locally alone",
       .meaning = "The host that the log is sent to; 0.0.0.0: none."},
    }},
    {"Forwarded ports and DMZ", {
      {.key = "PortForwardRules", .form = records({
           {"LAN address", kAddress},
           {"first port", {.words = "a port"}},
           {"last port", {.words = "a port"}, "0: the first alone"},
           {"protocol", {.words = "TCP, UDP or TCP&UDP"}, "another text: as the record before"}}),
       .example = "192.168.1.12,6881,6889,TCP&UDP", .without = "no forwarded ports, and a warning on the console",
       .meaning = "Ports that are forwarded to hosts of the LAN. Two other layouts are read from the same list: by the DMZ program, ports in fields 2 and 3 and a protocol code (1 TCP, 2 UDP, 3 both) in field 4; by the notes about taken ports, ports in fields 4 and 5 and the code in field 6."},
      {.key = "PortForwardEnable", .form = kFlag, .example = "1", .without = kOffWithout,
       .meaning = "Tells the DMZ program of the forwarded ports. The rules themselves are made in any case."},
      {.key = "SinglePortForwardRules", .form = records({
           {.name = "name", .meaning = "not read"},
           {"port", kNoOption},
           {.name = "last port", .meaning = "not read"},
           {"protocol", {.words = "1 (TCP), 2 (UDP) or 3 (both)"}}}),
       .example = "web,8090,0,1", .without = "none",
       .meaning = "Single forwarded ports, which only the DMZ program is told of."},
      {.key = "SinglePortForwardEnable", .form = kFlag, .example = "1", .without = kOffWithout,
       .meaning = "Tells the DMZ program of the single forwarded ports."},
      {.key = "DMZEnable", .form = oneOf({{"0", "off"}, {"1", "rules"}, {"2", "DMZ program"}}), .example = "1",
       .without = "no DMZ, and a warning is printed",
       .meaning = "Whether a host gets everything from the WAN that nobody else takes, and how."},
      {.key = "DMZAddress", .form = kAddress, .example = "192.168.1.50",
       .without = "no DMZ by rules, and a warning is printed",
       .meaning = "The DMZ host."},
      {.key = "DMZAvoidTCPPort80", .form = kFlag, .example = "1",
       .without = "no DMZ by rules, and a warning is printed; to the DMZ program off",
       .meaning = "Is to keep a port from the DMZ host: TCP port 80, which the DMZ program is told; by rules RMWWWServerPort, which comes to nothing."},
    }},
    {"2.4 GHz radio", {
      {.key = "WirelessOPMode", .form = oneOf({{"1", "access point"}, {"2", "client"}, {"3", "repeater"}}), .example = "1",
       .without = "no interface joins a bridge; counts as no mode",
       .meaning = "What the 2.4 GHz radio is. igmpsnooping_init makes a repeater with a wired gateway an access point again."},
      {.key = "OperatingBandAP", .form = kBands, .example = "3", .without = "no interface joins a bridge",
       .meaning = "The bands of an access point: 1 is 2.4 GHz, 2 is 5 GHz, 3 both."},
      {.key = "OperatingBandCli", .form = oneOf({{"1"}, {"2"}}), .example = "1",
       .without = "no interface joins a bridge",
       .meaning = "The band of a client's link."},
      {.key = "OperatingBandRepeater", .form = kBands, .example = "3",
       .without = "WPS is opened, and that is all; statistics ask wifi1",
       .meaning = "The band of a repeater's link."},
      {.key = "WirelessMode", .form = digits("a number", 1, 2), .example = "9", .without = "0",
       .meaning = "The 802.11 modes in the driver's numbers. 2, 8 and 11 have a second interface, rai0, that the WPS button counts for too."},
      {.key = "CountryRegion", .form = number("a 2.4 GHz region code from %d to %d", 0, 7), .example = "1",
       .without = "5, also when empty",
       .meaning = "Which 2.4 GHz channels the web pages offer."},
      {.key = "CountryRegionABand", .form = number("a 5 GHz region code from %d to %d", 0, 11), .example = "1",
       .without = "7, also when empty",
       .meaning = "Which 5 GHz channels the web pages offer."},
      {.key = "Channel", .form = digits("a channel number", 1, 3), .example = "6",
       .without = "no channel is marked; getWlanChannel answers 9",
       .meaning = "The channel that was chosen."},
      {.key = "AutoChannelSelect", .form = oneOf({{"0"}, {"1", "automatic"}, {"2"}}), .example = "0",
       .without = "getWlanChannel answers 9",
       .meaning = "1 leaves the channel to the driver; getWlanChannel then answers 0."},
      {.key = "WlanEnabled", .form = kSwitches, .example = "1;1", .without = "the radio is on",
       .meaning = "Whether the networks are on. The first record alone decides about ra0; the statistics ask the driver unless it is 0."},
      {.key = "BssidNum", .form = kNetworks, .example = "2",
       .without = "the authenticator stays as it is; one name for the QoS page",
       .meaning = "How many networks the radio announces: so many records of AuthMode and IEEE8021X count."},
      {.key = "SSID%d", .first = 1, .last = 8, .form = kText, .example = "Home %d", .without = kEmptyWithout,
       .meaning = "The names of the networks, SSID1 first."},
      {.key = "AuthMode", .form = kAuthModes, .example = "WPA2;WPA2PSK",
       .without = "no authenticator; the security LED is lit",
       .meaning = "How stations prove themselves, a record a network. WPA, WPA2 and WPA1WPA2 need the 802.1X authenticator; Disable or OPEN alone keeps the security LED dark."},
      {.key = "EncrypType", .form = kEncryptions, .example = "AES;AES", .without = kEmptyWithout,
       .meaning = "How the networks are encrypted, a record a network. WPS stores here what it received."},
      {.key = "IEEE8021X", .form = kSwitches, .example = "0;0", .without = kOffWithout,
       .meaning = "1 needs the 802.1X authenticator, whatever AuthMode says."},
      {.key = "WPAPSK%d", .first = 1, .last = 4, .form = kText, .example = "pass phrase %d", .without = kNotRead,
       .meaning = "The networks' pass phrases. WPS stores the received one as WPAPSK1, a repeater its uplink's as all four."},
      {.key = "DefaultKeyID", .form = {.words = "a number from 1 to 4 for each network, separated by semicolons"}, .example = "1",
       .without = kEmptyWithout,
       .meaning = "Which WEP key is used. WPS stores the received key's number for the first network."},
      {.key = "Key%dType", .first = 1, .last = 4, .form = {.words = "0 (hexadecimal) or 1 (text) for each network, separated by semicolons"}, .example = "0",
       .without = kEmptyWithout,
       .meaning = "How a WEP key is written. WPS stores it for the first network."},
      {.key = "Key%dStr1", .first = 1, .last = 4, .form = kText, .example = "012345678%d", .without = kEmptyWithout,
       .meaning = "The WEP keys of the first network. WPS stores the received one."},
      {.key = "AccessPolicy0", .form = oneOf({{"0"}, {"1"}, {"2"}}), .example = "1",
       .without = "the driver's list is not stored",
       .meaning = "What the first network's list of stations is for. With 1 the driver's list is stored after a WPS run."},
      {.key = "AccessControlList0", .form = kMacs, .example = "00:0C:43:28:60:2F",
       .without = "begins with what the driver has",
       .meaning = "The first network's list of stations. After a WPS run the driver's entries replace as many records from the front."},
    }},
    {"802.1X authenticator", {
      {.key = "RADIUS_Server", .form = {.words = "a list of addresses"}, .example = "192.168.1.4",
       .without = "the authenticator's address is not stored",
       .meaning = "The RADIUS servers. Only whether there is one matters here."},
      {.key = "own_ip_addr", .form = kAddress, .example = "192.168.1.1", .without = kNotRead,
       .meaning = "The LAN address, for the authenticator."},
      {.key = "EAPifname", .form = {.words = "an interface"}, .example = "br0", .without = kNotRead,
       .meaning = "The LAN interface, for the authenticator."},
      {.key = "PreAuthifname", .form = {.words = "an interface"}, .example = "br0", .without = kNotRead,
       .meaning = "The LAN interface, for the authenticator's pre-authentication."},
      {.key = "RADIUS_Server", .space = 2, .form = {.words = "a list of addresses"}, .example = "192.168.1.4",
       .without = "the module's address is not stored",
       .meaning = "The 5 GHz module's RADIUS servers. Only whether there is one matters here."},
      {.key = "own_ip_addr", .space = 2, .form = kAddress, .example = "192.168.1.1", .without = kNotRead,
       .meaning = "The LAN address, for the module's authenticator."},
      {.key = "BssidNum", .space = 2, .form = kNetworks, .example = "1", .without = "makes no difference",
       .meaning = "Looked up when the authenticator of the module is asked for, which there is none of."},
    }},
    {"Client link", {
      {.key = "ApCliSsid", .form = kText, .example = "Uplink", .without = kEmptyWithout,
       .meaning = "The network that the 2.4 GHz client link joins. WPS stores it, the backup keeps it."},
      {.key = "ApCliAuthMode", .form = kText, .example = "WPA2PSK", .without = kEmptyWithout,
       .meaning = "How the client link proves itself."},
      {.key = "ApCliEncrypType", .form = kText, .example = "AES", .without = kEmptyWithout,
       .meaning = "How the client link is encrypted."},
      {.key = "ApCliWPAPSK", .form = kText, .example = "battery staple", .without = kEmptyWithout,
       .meaning = "The client link's pass phrase."},
      {.key = "ApCliWepDefaultkey", .form = kText, .example = "1", .without = kEmptyWithout,
       .meaning = "Which WEP key the client link uses."},
      {.key = "velaSetup", .form = kFlag, .example = "1", .without = kNotRead,
       .meaning = "1 once WPS has set up the client link: the easy set-up is done."},
    }},
    {"Wi-Fi Protected Setup", {
      {.key = "WscModeOption", .form = kWpsMode, .example = "7",
       .without = "the daemon stays stopped, the push button works",
       .meaning = "0 switches WPS off. The daemon is started for any text above \"0\", such as 7: everything."},
      {.key = "WscModeOption", .space = 2, .form = kWpsMode, .example = "7",
       .without = "WPS of the access point is not opened again",
       .meaning = "The 5 GHz module's: 7 opens WPS of the 2.4 GHz access point again after a client's run."},
      {.key = "WscConfigured", .form = kFlag, .example = "0", .without = "0, but the driver is not told",
       .meaning = "Whether the access point has its configuration. One that has takes no other from WPS, but in an enrollee run."},
      {.key = "WscSSID", .form = kText, .example = "Home", .without = kNotRead,
       .meaning = "The network's name as WPS received it."},
    }},
    {"Radio schedule", {
      {.key = "wlanScheduleEnab", .form = kFlag, .example = "1", .without = "on",
       .meaning = "0 switches the timetable off: the radio stays as it is."},
      {.key = "wlanSchedule%d", .first = 1, .last = 8, .form = kSchedule, .example = "1 0 22 1 6 0",
       .without = "the record is off",
       .meaning = "The timetable: 1 counts every day, 2 to 8 on Monday to Sunday."},
      {.key = "RadioOff", .form = kFlag, .example = "0", .without = "0",
       .meaning = "1 while the timetable has the radio off. Read by wlan.sh, and WPS does not start while it is 1."},
    }},
    {"5 GHz module", {
      {.key = "OperationMode", .space = 2, .form = number("a mode from %d to %d", 0, 3), .example = "3",
       .without = "the module is no uplink",
       .meaning = "3 while the module is the uplink, which ends when a gateway is found on a wired port."},
      {.key = "WlanEnabled", .space = 2, .form = kSwitches, .example = "1;0", .without = "its traffic reads 0",
       .meaning = "Which of the module's networks are on, for the statistics."},
      {.key = "SSID1", .space = 2, .form = kText, .example = "Home 5G", .without = kEmptyWithout,
       .meaning = "The module's network."},
      {.key = "AuthMode", .space = 2, .form = kText, .example = "WPA2PSK", .without = kEmptyWithout,
       .meaning = "How the stations of the module's network prove themselves."},
      {.key = "EncrypType", .space = 2, .form = kText, .example = "AES", .without = kNotRead,
       .meaning = "How the module's network is encrypted. Listed for the backup, never copied."},
      {.key = "WPAPSK1", .space = 2, .form = kText, .example = "correct horse", .without = kEmptyWithout,
       .meaning = "The pass phrase of the module's network."},
      {.key = "SSIDSTA", .space = 2, .form = kText, .example = "Uplink 5G", .without = kEmptyWithout,
       .meaning = "The network that the module joins as a station."},
      {.key = "AuthModeSTA", .space = 2, .form = kText, .example = "WPA2PSK", .without = kEmptyWithout,
       .meaning = "How the module proves itself as a station."},
      {.key = "AuthSTA", .space = 2, .form = kText, .example = "WPA2PSK", .without = kEmptyWithout,
       .meaning = "How the module proves itself as a station, in the module's own words."},
      {.key = "PSKSTA", .space = 2, .form = kText, .example = "horse battery", .without = kEmptyWithout,
       .meaning = "The pass phrase of the network that the module joins."},
    }},
    {"QoS", {
      {.key = "TuQoSEnable", .form = kFlag, .example = "1", .without = kOffWithout,
       .meaning = "Starts the QoS program."},
      {.key = "TuQoSClass", .form = records({
           {.name = "own", .meaning = "for the QoS program"},
           {"name"},
           {.name = "match", .meaning = "classes with the same are the same class", .count = 31},
           {.name = "own", .meaning = "for the QoS program", .count = 8},
           {"queue", {.words = "a number"}}}),
       .example = "1,web,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,2", .without = "no class uses a queue",
       .meaning = "The classes of traffic, 42 fields and more."},
      {.key = "TuVLANClass", .form = records({
           {"on", {.words = "a number"}, "0: off"}}),
       .example = "1,iptv;0,voip", .without = "none is enabled",
       .meaning = "Classes by VLAN. One that is on starts the QoS program too."},
    }},
    {"Clock", {
      {.key = "DSTEnabled", .form = kFlag, .example = "1", .without = kOffWithout,
       .meaning = "1 keeps daylight-saving time: its rule is copied from /etc/TZ, once."},
      {.key = "isDSTsynced", .form = kFlag, .example = "0", .without = "0",
       .meaning = "1 once the daylight-saving rule is copied."},
      {.key = "DSTSM", .form = kNumber, .example = "3", .without = kNotRead,
       .meaning = "The month in which daylight-saving time begins."},
      {.key = "DSTSWM", .form = kNumber, .example = "5", .without = kNotRead,
       .meaning = "The week of the month in which daylight-saving time begins; 5 is the last."},
      {.key = "DSTSDW", .form = kNumber, .example = "0", .without = kNotRead,
       .meaning = "The day of the week on which daylight-saving time begins; 0 is Sunday."},
      {.key = "DSTSH", .form = kNumber, .example = "2", .without = kNotRead,
       .meaning = "The hour at which daylight-saving time begins."},
      {.key = "DSTEM", .form = kNumber, .example = "10", .without = kNotRead,
       .meaning = "The month in which daylight-saving time ends."},
      {.key = "DSTEWM", .form = kNumber, .example = "5", .without = kNotRead,
       .meaning = "The week of the month in which daylight-saving time ends."},
      {.key = "DSTEDW", .form = kNumber, .example = "0", .without = kNotRead,
       .meaning = "The day of the week on which daylight-saving time ends."},
      {.key = "DSTEH", .form = kNumber, .example = "3", .without = kNotRead,
       .meaning = "The hour at which daylight-saving time ends."},
    }},
};
// clang-format on

// The backup's keys come from the tables that the library backs up by.
Group backups() {
  Group group = {"Backup", {}};
  for (int space : {1, 2}) {
    const char *const(*pairs)[2] = space == 1 ? paramlist2860 : paramlistRtdev;
    for (; *pairs[0][0] != '\0'; pairs++) {
      bool listed_only = *pairs[1][0] == '\0';
      std::string copied = pairs[0][0];
      group.settings.push_back(
          {.key = pairs[0][1],
           .space = space,
           .form = kText,
           .example = "kept",
           .without =
               listed_only ? kNotRead : copied + " keeps its value when the backup is recovered",
           .meaning = "The copy of " + copied +
                      (listed_only ? ": listed, never made." : " while a wizard tries another.")});
    }
  }
  return group;
}

std::vector<SettingDescription> inOneList() {
  std::vector<Group> groups = kGroups;
  groups.push_back(backups());
  std::vector<SettingDescription> all;
  for (const Group &group : groups) {
    for (SettingDescription description : group.settings) {
      description.group = group.name;
      all.push_back(description);
    }
  }
  return all;
}

}  // namespace

const std::vector<SettingDescription> &settingDescriptions() {
  static const std::vector<SettingDescription> table = inOneList();
  return table;
}

}  // namespace orba::tool
