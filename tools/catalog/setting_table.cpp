// Every setting that the library reads or writes, by the part of the router that
// it belongs to. docs/settings.md, 'orba explain' and 'orba check' are made from
// this table; a setting that the library uses and that is not here fails a test.
#include "orba_util.h"
#include "tools/catalog/settings.h"

namespace orba::tool {

namespace {

// Form and words together: the three that a row goes on with behind its space.
#define FLAG "[01]", "0 or 1"
#define ADDRESS                                                                     \
  "(25[0-5]|2[0-4][0-9]|1?[0-9]?[0-9])(\\.(25[0-5]|2[0-4][0-9]|1?[0-9]?[0-9])){3}", \
      "an IPv4 address"
#define PORT                                                                              \
  "[1-9][0-9]{0,3}|[1-5][0-9]{4}|6[0-4][0-9]{3}|65[0-4][0-9]{2}|655[0-2][0-9]|6553[0-5]", \
      "a port from 1 to 65535"
#define VLAN_ID "[1-9][0-9]{0,2}|[1-3][0-9]{3}|40[0-8][0-9]|409[0-4]", "a VLAN id from 1 to 4094"
#define CONNECTION "[A-Z0-9]+", "a connection type in capitals, such as PPPOE or STATIC"
#define WAN_NUMBER "[1-4]", "the number of a WAN, 1 to 4"
#define SIDES "[0-3]", "0 (LAN), 1 (WAN), 2 (both) or 3 (nowhere)"
#define HOUR "(0?[0-9]|1[0-9]|2[0-3])"
#define SCHEDULE \
  "[01] [01] " HOUR " [01] " HOUR " [01]", "six fields: on flag, mode, hour, half, hour, half"
#define AUTH "(OPEN|SHARED|WEPAUTO|WPA|WPAPSK|WPANONE|WPA2|WPA2PSK|WPA1WPA2|WPAPSKWPA2PSK|Disable)"
#define ENCRYPTION "(NONE|WEP|TKIP|AES|TKIPAES)"
#define EACH(one) one "(;" one ")*"
#define TEXT "", "a text"
#define NUMBER "", "a number"
#define LIST "", "a list of records, \";\" between them and \",\" between their fields"

const char kOffWithout[] = "off";
const char kEmptyWithout[] = "read as the empty text";
const char kNotRead[] = "makes no difference here";

struct Group {
  const char *name;
  std::vector<SettingDescription> settings;
};

// Key, space, form (two words), example, what happens without it, meaning, and
// the numbers of a family.
// clang-format off
const std::vector<Group> kGroups = {
    {"The device", {
      {"OperationMode", 1, "[0-3]", "0 (bridge), 1 (gateway), 2 (Ethernet converter) or 3 (wireless client)", "1", "WAN 1 has no interface, the LAN keeps the one it had (br0 at first), WPS stays stopped", "What the device is to its network, and so which interfaces are LAN and WAN 1: br0 and br0, br0 and eth2.N, eth2 and ra0, br0 and apcli0. Routes of the WAN side and remote management are for mode 1 alone, WPS for 0 and 1."},
      {"ModelName", 1, TEXT, "HomeGateway", kEmptyWithout, "The product's name, for the status page and the notes about taken ports."},
      {"HostName", 1, TEXT, "homegateway", kEmptyWithout, "The device's own name, for the status page."},
    }},
    {"WANs", {
      {"wanConnectionMode", 1, CONNECTION, "DHCP", "no PPP link: WAN 1 sends through its Ethernet-side device", "How WAN 1 connects. PPPOE, L2TP and PPTP make ppp0 its interface; PPPOE alone is clamped to its MTU and can be passed through; STATIC takes the gateway from wan_gateway; BRIDGE keeps the device in the bridge when pass-through ends."},
      {"wanConnectionMode%d", 1, CONNECTION, "DHCP", "no PPP link: the WAN sends through its VLAN device", "How WAN 2 to 4 connect, as wanConnectionMode says it of WAN 1. Their PPP links are ppp1 to ppp3.", 2, 4},
      {"wanAddressType", 1, TEXT, "DHCP", kEmptyWithout, "How WAN 1 gets its address, for the web pages: it is handed on as stored."},
      {"wanAddressType%d", 1, TEXT, "STATIC", kEmptyWithout, "How WAN 2 to 4 get their addresses.", 2, 4},
      {"wan_gateway", 1, ADDRESS, "198.51.100.1", kEmptyWithout, "The gateway of WAN 1 when its connection is STATIC; any other connection has it from /var/wan1.info."},
      {"wan_gateway%d", 1, ADDRESS, "10.%d0.0.1", kEmptyWithout, "The gateway of WAN 2 to 4 when the connection is STATIC.", 2, 4},
      {"srvName", 1, TEXT, "internet", kEmptyWithout, "The name of WAN 1's service on the web pages."},
      {"srvName%d", 1, TEXT, "service%d", kEmptyWithout, "The names of the services of WAN 2 to 4.", 2, 4},
      {"vlanEnabled", 1, FLAG, "0", "WAN 1 is eth2.2", "1 puts WAN 1 of a gateway on the VLAN that wan1Vid names, eth2.N. Otherwise it is eth2.2."},
      {"wan%dVid", 1, VLAN_ID, "%d0", "a WAN 2 to 4 without it has no device", "The VLAN of a WAN on the port eth2. That of WAN 1 counts only with vlanEnabled 1.", 1, 4},
      {"wan%dEnable", 1, FLAG, "1", "no PPPoE pass-through over this WAN", "1 lets PPPoE be passed through this WAN. A WAN that is not enabled keeps its names and routes.", 1, 4},
      {"default_wan", 1, WAN_NUMBER, "1", "no name and no address; mode and address type are WAN 1's", "The WAN that the web pages show and that getDefaultWan... answer for."},
      {"defaultRouteNum", 1, WAN_NUMBER, "1", "WAN 2", "The WAN that forwarded ports and the DMZ host are reached through: WAN 1 for 1, WAN 2 for anything else."},
      {"natEnabled", 1, FLAG, "1", "no simple DMZ", "1 lets RT_iptablesDMZRun make the simple DMZ."},
      {"wan_MTU_manaul", 1, FLAG, "1", "an MTU of 1492", "1 takes the MTU of a PPPOE connection from wan_MTU. It is spelled so on every device."},
      {"wan_MTU", 1, "[0-9]{2,4}", "an MTU in bytes", "1480", "0, which makes a rule that makes no sense", "The MTU set by hand; TCP segments through PPPoE get 40 bytes less. Any number is taken."},
      {"pppoeREnabled", 1, "[0-4]", "0 or the number of a WAN", "1", "no pass-through", "The WAN that hosts on the LAN may open PPPoE sessions of their own through: its device joins the bridge br0. 0: none."},
    }},
    {"LAN", {
      {"dhcpEnabled", 1, "[0-2]", "0 (off), 1 (server) or 2 (relay)", "2", "no relay rule", "What the router does about DHCP on the LAN; 2 lets answers of servers on the WAN side in."},
    }},
    {"Routes", {
      {"RoutingRules", 1, LIST, "192.168.5.0,255.255.255.0,192.168.1.254,LAN,br0,,", "no routes", "The routing page's static routes. Fields from 0: destination, netmask (255.255.255.255: a host), gateway (empty or 0.0.0.0: none), side (WAN: for gateway mode alone), interface, kind and comment, which only the page uses. A record of fewer fields is passed over."},
      {"StaticRoutingRules", 1, LIST, "1,office,10.8.0.0,255.255.0.0,192.168.1.253,br0;1,iptv,10.20.0.0,255.255.0.0,,2", "no routes", "Static routes that name a WAN. Fields from 0: on (a number other than 0), name, destination, netmask (empty: a host), gateway (empty: the interface's own), br0 or the number of a WAN."},
      {"PolicyRoutingRules", 1, LIST, "255.255.255.255,192.168.1.30,0,,-1,WAN2,eth2.20,settop", "no policies", "Which traffic of the LAN goes out where. Fields from 0: source netmask, source address (empty: any), source port (0: any), source MAC, protocol number (-1: any), side (WAN, WAN2 to WAN4, otherwise the LAN), the interface it was installed with, name. Six records have marks of their own."},
    }},
    {"Filter rules", {
      {"IPPortFilterRules", 1, LIST, "192.168.1.64,255.255.255.192,1024,65535,any/0,,27000,27050,2,1,no games,,,,;any/0,,0,0,any/0,,0,0,5,1,tablet,00:0C:43:28:60:2A,,,", "no rules, and a warning is printed", "The user's packet filter. Fields from 0: source address (any, or with / and a prefix), its mask, first and last source port (0: any), the same four of the destination, protocol (1 TCP, 2 UDP, 4 ICMP, 5 any), two of the web page, first and last source MAC, first and last destination MAC. A record that fails a check is passed over."},
      {"firewallAction", 1, "ACCEPT|DROP", "ACCEPT or DROP", "DROP", "rules drop; FORWARD keeps its policy", "What a filter rule does with what it matches. FORWARD's policy is the opposite."},
      {"DefaultFirewallPolicy", 1, FLAG, "1", "0", "What becomes of traffic that no filter rule matched: 0 lets what comes from the WAN side on, be it forwarded or for the router; 1 only the router's own loopback and, with SPIFWEnabled, answers."},
      {"IPPortFilterType", 1, "", "WAN_TO_WAN, or any other text", "LAN_TO_WAN", "filters what is forwarded", "WAN_TO_WAN makes the filter rules for what is sent to the router itself, anything else for what it forwards."},
      {"SPIFWEnabled", 1, FLAG, "1", kOffWithout, "Stateful filtering: drop rules look at new and invalid connections only, and answers to the router's own connections are let in."},
      {"SIPALGEnable", 1, FLAG, "1", "the modules stay as they are, and a warning is printed", "1 loads the kernel modules that help SIP telephones through address translation, 0 unloads them."},
      {"MACFilterRules", 1, "", "a list of MAC addresses, \";\" between them", "00:0C:43:66:66:66;02:1A:11:F0:0D:5E", "no rule is added, the chain keeps its policy", "The stations of the MAC filter. An empty record ends the list."},
      {"MacFilterAction", 1, "ACCEPT|DROP", "ACCEPT or DROP", "DROP", "no rule is added, the chain keeps its policy", "DROP blocks the listed stations, ACCEPT all others."},
    }},
    {"Web filter", {
      {"websFilterProxy", 1, FLAG, "1", "no web filter at all", "1 blocks the use of proxies."},
      {"websFilterJava", 1, FLAG, "1", "no web filter at all", "1 blocks Java."},
      {"websFilterActivex", 1, FLAG, "1", "no web filter at all", "1 blocks ActiveX."},
      {"websFilterCookies", 1, FLAG, "0", "no web filter at all", "1 blocks cookies."},
      {"websFilterTrustIP", 1, ADDRESS, "192.168.1.2", "no web filter at all", "The host that content classes and blocked hosts are not for; 0.0.0.0: none."},
      {"websURLFilters", 1, "", "a list of URLs, \";\" between them", "ads.example.com/banner", "no web filter at all", "Blocked URLs, for the trusted host too. An \"http://\" in front is left out."},
      {"websHostFiltersEnable", 1, FLAG, "1", "no web filter at all", "1 puts the list of blocked hosts in force."},
      {"websHostFilters", 1, "", "a list of host names, \";\" between them", "casino.example.com;games.example.org", "no web filter at all; a first host begins the list", "Blocked hosts."},
    }},
    {"Attack protection", {
      {"WANPingFilter", 1, FLAG, "1", "no attack protection at all", "Drops pings from the WAN side; they are answered when it is off."},
      {"LANPingFilter", 1, FLAG, "0", kOffWithout, "Drops pings from the LAN; they are answered when it is off."},
      {"BlockPortScan", 1, FLAG, "1", "no attack protection at all", "Drops TCP packets with the flags of port scanners."},
      {"BlockSynFlood", 1, FLAG, "1", "no attack protection at all", "Switches SYN cookies on. They stay on until iptablesMaliciousFilterFlush."},
      {"BlockPingofDeath", 1, FLAG, "1", kOffWithout, "Drops pings of more than 1536 bytes, and lets one a second through."},
      {"BlockLAND", 1, FLAG, "1", kOffWithout, "Drops packets that claim to come from the WAN's own address, when the WAN is up as the rules are made."},
    }},
    {"Management services", {
      {"httpMode", 1, SIDES, "0", "0 (LAN)", "Who may reach the web pages, port 80."},
      {"ftpMode", 1, SIDES, "3", "0 (LAN)", "Who may reach FTP, port 21."},
      {"telnetMode", 1, SIDES, "3", "0 (LAN)", "Who may reach Telnet, port 23."},
      {"snmpMode", 1, SIDES, "1", "0 (LAN)", "Who may reach SNMP, port 161."},
      {"icmpMode", 1, SIDES, "2", "0 (LAN)", "Who may ping the router."},
      {"sshMode", 1, SIDES, "0", "0 (LAN)", "Who may reach SSH, port 22."},
      {"tftpMode", 1, SIDES, "3", "0 (LAN)", "Who may reach TFTP, port 69."},
      {"aclMode", 1, FLAG, "1", kOffWithout, "1 keeps the management services to the addresses of aclRules, TFTP excepted."},
      {"aclRules", 1, "", "a list of IPv4 addresses and ranges \"a-b\", \";\" between them", "192.168.1.8;192.168.1.32-192.168.1.63", "nobody is trusted", "The addresses that may reach the management services."},
      {"RemoteManagement", 1, FLAG, "0", "0", "1 lets no answers in for the router's own connections."},
      {"RMWWWServerPort", 1, PORT, "8088", "0, and an empty word in the server's command", "The web server's HTTP port, and the one that the DMZ spares with DMZAvoidTCPPort80."},
      {"RMWWWOldServerPort", 1, PORT, "8081", "0: the old server counts as one on other ports", "The HTTP port of the web server that is running."},
      {"RMHTTPSServerPort", 1, PORT, "8443", "0, and an empty word in the server's command", "The web server's HTTPS port."},
      {"RMHTTPSOldServerPort", 1, PORT, "8444", "0: the old server counts as one on other ports", "The HTTPS port of the web server that is running."},
      {"RMTELNETServerPort", 1, PORT, "2323", "an empty word in the server's command", "The Telnet server's port."},
      {"RMFTPServerPort", 1, PORT, "2121", "no note about it", "The FTP server's port, for the notes about taken ports."},
      {"snmp_serverPort", 1, PORT, "1161", "no note about it", "The SNMP server's port, for the notes about taken ports."},
      {"RMSNMPServerPort", 1, PORT, "161", kNotRead, "The SNMP server's port for other programs of the device."},
      {"RemoteLogActive", 1, FLAG, "1", "logs locally alone", "1 sends the log to RemoteLogIP too."},
      {"RemoteLogIP", 1, ADDRESS, "192.168.1.3", "logs locally alone", "The host that the log is sent to; 0.0.0.0: none."},
    }},
    {"Forwarded ports and DMZ", {
      {"PortForwardRules", 1, LIST, "192.168.1.12,6881,6889,TCP&UDP", "no forwarded ports, and a warning on the console", "Ports that are forwarded to hosts of the LAN. Fields from 0: LAN address, first port, last port (0: one port), TCP, UDP or TCP&UDP (another text: as the record before). Two other layouts are read from the same list: by the DMZ program, ports in fields 1 and 2 and a protocol code (1 TCP, 2 UDP, 3 both) in field 3; by the notes about taken ports, ports in fields 3 and 4 and the code in field 5."},
      {"PortForwardEnable", 1, FLAG, "1", kOffWithout, "Tells the DMZ program of the forwarded ports. The rules themselves are made in any case."},
      {"SinglePortForwardRules", 1, LIST, "web,8090,0,1", "none", "Single forwarded ports, which only the DMZ program is told of. Fields from 0: unused, port, unused, protocol code (1 TCP, 2 UDP, 3 both)."},
      {"SinglePortForwardEnable", 1, FLAG, "1", kOffWithout, "Tells the DMZ program of the single forwarded ports."},
      {"DMZEnable", 1, "[0-2]", "0 (off), 1 (rules) or 2 (DMZ program)", "1", "no DMZ, and a warning is printed", "Whether a host gets everything from the WAN that nobody else takes, and how."},
      {"DMZAddress", 1, ADDRESS, "192.168.1.50", "no DMZ by rules, and a warning is printed", "The DMZ host."},
      {"DMZAvoidTCPPort80", 1, FLAG, "1", "no DMZ by rules, and a warning is printed; to the DMZ program off", "Spares a port: by rules RMWWWServerPort, by the DMZ program port 80."},
    }},
    {"2.4 GHz radio", {
      {"WirelessOPMode", 1, "[123]", "1 (access point), 2 (client) or 3 (repeater)", "1", "no interface joins a bridge; counts as no mode", "What the 2.4 GHz radio is. igmpsnooping_init makes a repeater with a wired gateway an access point again."},
      {"OperatingBandAP", 1, "[123]", "1, 2 or 3", "3", "no interface joins a bridge", "The bands of an access point: 1 is 2.4 GHz, 2 is 5 GHz, 3 both."},
      {"OperatingBandCli", 1, "[12]", "1 or 2", "1", "no interface joins a bridge", "The band of a client's link."},
      {"OperatingBandRepeater", 1, "[123]", "1, 2 or 3", "3", "WPS is opened, and that is all; statistics ask wifi1", "The band of a repeater's link."},
      {"WirelessMode", 1, "[0-9]{1,2}", "a number", "9", "0", "The 802.11 modes in the driver's numbers. 2, 8 and 11 have a second interface, rai0, that the WPS button counts for too."},
      {"CountryRegion", 1, "[0-7]", "a 2.4 GHz region code from 0 to 7", "1", "5, also when empty", "Which 2.4 GHz channels the web pages offer."},
      {"CountryRegionABand", 1, "[0-9]|1[01]", "a 5 GHz region code from 0 to 11", "1", "7, also when empty", "Which 5 GHz channels the web pages offer."},
      {"Channel", 1, "[0-9]{1,3}", "a channel number", "6", "no channel is marked; getWlanChannel answers 9", "The channel that was chosen."},
      {"AutoChannelSelect", 1, "[0-2]", "0, 1 (automatic) or 2", "0", "getWlanChannel answers 9", "1 leaves the channel to the driver; getWlanChannel then answers 0."},
      {"WlanEnabled", 1, EACH("[01]"), "0 or 1 for each network, separated by semicolons", "1;1", "the radio is on", "Whether the networks are on. The first record alone decides about ra0; the statistics ask the driver unless it is 0."},
      {"BssidNum", 1, "[1-8]", "a number of networks from 1 to 8", "2", "the authenticator stays as it is; one name for the QoS page", "How many networks the radio announces: so many records of AuthMode and IEEE8021X count."},
      {"SSID%d", 1, TEXT, "Home %d", kEmptyWithout, "The names of the networks, SSID1 first.", 1, 8},
      {"AuthMode", 1, EACH(AUTH), "an authentication mode for each network, such as WPA2PSK", "WPA2;WPA2PSK", "no authenticator; the security LED is lit", "How stations prove themselves, a record a network. WPA, WPA2 and WPA1WPA2 need the 802.1X authenticator; Disable or OPEN alone keeps the security LED dark."},
      {"EncrypType", 1, EACH(ENCRYPTION), "an encryption for each network, such as AES", "AES;AES", kEmptyWithout, "How the networks are encrypted, a record a network. WPS stores here what it received."},
      {"IEEE8021X", 1, EACH("[01]"), "0 or 1 for each network, separated by semicolons", "0;0", kOffWithout, "1 needs the 802.1X authenticator, whatever AuthMode says."},
      {"WPAPSK%d", 1, TEXT, "pass phrase %d", kNotRead, "The networks' pass phrases. WPS stores the received one as WPAPSK1, a repeater its uplink's as all four.", 1, 4},
      {"DefaultKeyID", 1, "", "a number from 1 to 4 for each network, separated by semicolons", "1", kEmptyWithout, "Which WEP key is used. WPS stores the received key's number for the first network."},
      {"Key%dType", 1, "", "0 (hexadecimal) or 1 (text) for each network, separated by semicolons", "0", kEmptyWithout, "How a WEP key is written. WPS stores it for the first network.", 1, 4},
      {"Key%dStr1", 1, TEXT, "012345678%d", kEmptyWithout, "The WEP keys of the first network. WPS stores the received one.", 1, 4},
      {"AccessPolicy0", 1, "[0-2]", "0, 1 or 2", "1", "the driver's list is not stored", "What the first network's list of stations is for. With 1 the driver's list is stored after a WPS run."},
      {"AccessControlList0", 1, "", "a list of MAC addresses, \";\" between them", "00:0C:43:28:60:2F", "begins with what the driver has", "The first network's list of stations. After a WPS run the driver's entries replace as many records from the front."},
    }},
    {"802.1X authenticator", {
      {"RADIUS_Server", 1, "", "a list of addresses", "192.168.1.4", "the authenticator's address is not stored", "The RADIUS servers. Only whether there is one matters here."},
      {"own_ip_addr", 1, ADDRESS, "192.168.1.1", kNotRead, "The LAN address, for the authenticator."},
      {"EAPifname", 1, "", "an interface", "br0", kNotRead, "The LAN interface, for the authenticator."},
      {"PreAuthifname", 1, "", "an interface", "br0", kNotRead, "The LAN interface, for the authenticator's pre-authentication."},
      {"RADIUS_Server", 2, "", "a list of addresses", "192.168.1.4", "the module's address is not stored", "The 5 GHz module's RADIUS servers. Only whether there is one matters here."},
      {"own_ip_addr", 2, ADDRESS, "192.168.1.1", kNotRead, "The LAN address, for the module's authenticator."},
      {"BssidNum", 2, "[1-8]", "a number of networks from 1 to 8", "1", "makes no difference", "Looked up when the authenticator of the module is asked for, which there is none of."},
    }},
    {"Client link", {
      {"ApCliSsid", 1, TEXT, "Uplink", kEmptyWithout, "The network that the 2.4 GHz client link joins. WPS stores it, the backup keeps it."},
      {"ApCliAuthMode", 1, TEXT, "WPA2PSK", kEmptyWithout, "How the client link proves itself."},
      {"ApCliEncrypType", 1, TEXT, "AES", kEmptyWithout, "How the client link is encrypted."},
      {"ApCliWPAPSK", 1, TEXT, "battery staple", kEmptyWithout, "The client link's pass phrase."},
      {"ApCliWepDefaultkey", 1, TEXT, "1", kEmptyWithout, "Which WEP key the client link uses."},
      {"velaSetup", 1, FLAG, "1", kNotRead, "1 once WPS has set up the client link: the easy set-up is done."},
    }},
    {"Wi-Fi Protected Setup", {
      {"WscModeOption", 1, "[0-7]", "a WPS mode from 0 to 7", "7", "the daemon stays stopped, the push button works", "0 switches WPS off. The daemon is started for any text above \"0\", such as 7: everything."},
      {"WscModeOption", 2, "[0-7]", "a WPS mode from 0 to 7", "7", "WPS of the access point is not opened again", "The 5 GHz module's: 7 opens WPS of the 2.4 GHz access point again after a client's run."},
      {"WscConfigured", 1, FLAG, "0", "0, but the driver is not told", "Whether the access point has its configuration. One that has takes no other from WPS, but in an enrollee run."},
      {"WscSSID", 1, TEXT, "Home", kNotRead, "The network's name as WPS received it."},
    }},
    {"Radio schedule", {
      {"wlanScheduleEnab", 1, FLAG, "1", "on", "0 switches the timetable off: the radio stays as it is."},
      {"wlanSchedule%d", 1, SCHEDULE, "1 0 22 1 6 0", "the record is off", "The timetable: 1 counts every day, 2 to 8 on Monday to Sunday. Fields, a blank between them: on flag; mode, 1 for on inside the hours and off outside, another for the other way round; hour and half hour of the start, of the end.", 1, 8},
      {"RadioOff", 1, FLAG, "0", "0", "1 while the timetable has the radio off. Read by wlan.sh, and WPS does not start while it is 1."},
    }},
    {"5 GHz module", {
      {"OperationMode", 2, "[0-3]", "a mode from 0 to 3", "3", "the module is no uplink", "3 while the module is the uplink, which ends when a gateway is found on a wired port."},
      {"WlanEnabled", 2, "[01](;[01])*", "0 or 1 for each network, separated by semicolons", "1;0", "its traffic reads 0", "Which of the module's networks are on, for the statistics."},
      {"SSID1", 2, TEXT, "Home 5G", kEmptyWithout, "The module's network."},
      {"AuthMode", 2, TEXT, "WPA2PSK", kEmptyWithout, "How the stations of the module's network prove themselves."},
      {"EncrypType", 2, TEXT, "AES", kNotRead, "How the module's network is encrypted. Listed for the backup, never copied."},
      {"WPAPSK1", 2, TEXT, "correct horse", kEmptyWithout, "The pass phrase of the module's network."},
      {"SSIDSTA", 2, TEXT, "Uplink 5G", kEmptyWithout, "The network that the module joins as a station."},
      {"AuthModeSTA", 2, TEXT, "WPA2PSK", kEmptyWithout, "How the module proves itself as a station."},
      {"AuthSTA", 2, TEXT, "WPA2PSK", kEmptyWithout, "How the module proves itself as a station, in the module's own words."},
      {"PSKSTA", 2, TEXT, "horse battery", kEmptyWithout, "The pass phrase of the network that the module joins."},
    }},
    {"QoS", {
      {"TuQoSEnable", 1, FLAG, "1", kOffWithout, "Starts the QoS program."},
      {"TuQoSClass", 1, LIST, "1,web,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,2", "no class uses a queue", "The classes of traffic, 42 fields and more. Here fields 2 to 32 make two classes the same, field 1 is the name and field 41 the queue."},
      {"TuVLANClass", 1, LIST, "1,iptv;0,voip", "none is enabled", "Classes by VLAN. A field 0 other than 0 enables one, which starts the QoS program too."},
    }},
    {"Clock", {
      {"DSTEnabled", 1, FLAG, "1", kOffWithout, "1 keeps daylight-saving time: its rule is copied from /etc/TZ, once."},
      {"isDSTsynced", 1, FLAG, "0", "0", "1 once the daylight-saving rule is copied."},
      {"DSTSM", 1, NUMBER, "3", kNotRead, "The month in which daylight-saving time begins."},
      {"DSTSWM", 1, NUMBER, "5", kNotRead, "The week of the month in which daylight-saving time begins; 5 is the last."},
      {"DSTSDW", 1, NUMBER, "0", kNotRead, "The day of the week on which daylight-saving time begins; 0 is Sunday."},
      {"DSTSH", 1, NUMBER, "2", kNotRead, "The hour at which daylight-saving time begins."},
      {"DSTEM", 1, NUMBER, "10", kNotRead, "The month in which daylight-saving time ends."},
      {"DSTEWM", 1, NUMBER, "5", kNotRead, "The week of the month in which daylight-saving time ends."},
      {"DSTEDW", 1, NUMBER, "0", kNotRead, "The day of the week on which daylight-saving time ends."},
      {"DSTEH", 1, NUMBER, "3", kNotRead, "The hour at which daylight-saving time ends."},
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
          {pairs[0][1], space, TEXT, "kept",
           listed_only ? kNotRead : copied + " keeps its value when the backup is recovered",
           "The copy of " + copied +
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
