// Every entry point that the tool can call, a line each. The words of a command
// line are read as the function's type asks for; ">" marks an output buffer and
// "=" a text that is changed in place.
#include <array>
#include <cstdio>
#include <cstring>

#include <algorithm>
#include <cstring>

#include "orba_util.h"
#include "tools/catalog/entry_point.h"

namespace orba::tool {

namespace {

// A number of the driver, as text. The simulated driver answers on
// any descriptor.
int queryNumber(int (*query)(int, int, const char *, void *, int), int oid, const char *ifname,
                char *out) {
  uint32_t number = 0;
  int result = query(oid, 0, ifname, &number, sizeof number);
  sprintf(out, "%u", number);
  return result;
}

// A current WPS profile with these bits in both of its fields.
std::array<unsigned char, 105> profileWithBits(int bits) {
  std::array<unsigned char, 105> record{};
  record[35] = record[37] = static_cast<unsigned char>(bits);
  return record;
}

int currentSecurity(const char *ifname, char *out) {
  std::array<unsigned char, 105> record{};
  int result = getCurrentWscProfile(ifname, record.data(), static_cast<int>(record.size()));
  getWPSAuthMode(record.data(), out);
  strcat(out, " ");
  getWPSEncrypType(record.data(), out);
  return result;
}

}  // namespace

namespace {

const unsigned char *bytes(const char *text) {
  return reinterpret_cast<const unsigned char *>(text);
}

int length(const char *text) {
  return static_cast<int>(strlen(text));
}

// Bytes for people. The answer stands until the next call.
template <typename T, size_t N>
const char *hex(const T (&values)[N], size_t count = N) {
  static std::string text;
  text.clear();
  for (size_t i = 0; i < count; i++) {
    char digits[2 * sizeof(T) + 1];
    snprintf(digits, sizeof digits, "%0*x", static_cast<int>(2 * sizeof(T)),
             static_cast<unsigned int>(values[i]));
    text += digits;
  }
  return text.c_str();
}

const char *digestOf(const char *text) {
  A_SHA_CTX ctx;
  unsigned char digest[20];
  A_SHAInit(&ctx);
  A_SHAUpdate(&ctx, bytes(text), length(text));
  A_SHAFinal(&ctx, digest);
  return hex(digest);
}

const char *hmacOf(const char *text, const char *key) {
  std::string copy = key;  // a long key is changed
  unsigned char digest[20];
  hmac_sha1(bytes(text), length(text), reinterpret_cast<unsigned char *>(copy.data()), length(key),
            digest);
  return hex(digest);
}

const char *blockOf(const char *passphrase, const char *ssid, int iterations, int block) {
  unsigned char out[20];
  F(passphrase, bytes(ssid), length(ssid), iterations, block, out);
  return hex(out);
}

const char *keyOf(const char *passphrase, const char *ssid) {
  unsigned char out[40];
  if (PasswordHash(passphrase, bytes(ssid), length(ssid), out) == 0) {
    throw BadArgument("a pass phrase has at most 63 characters, a network's name 32 bytes");
  }
  return hex(out, 32);
}

const char *bytesOf(const char *text) {
  static unsigned char out[256];
  int count = std::min(length(text) / 2, static_cast<int>(sizeof out));
  AtoH(text, out, count);
  return hex(out, static_cast<size_t>(count));
}

}  // namespace

const std::vector<EntryPoint> &entryPoints() {
  // clang-format off
  static const std::vector<EntryPoint> table = {
      // ---- core ----
      entry("core", "doSystem", +[](const char *command) { return doSystem("%s", command); }, "command", "run a command, output thrown away"),
      entry("core", "doSystemBackGround", +[](const char *command) { return doSystemBackGround("%s", command); }, "command", "run a command in the background"),
      entry("core", "doSystemWithoutConsole", +[](const char *command) { return doSystemWithoutConsole("%s", command); }, "command", "run a command, output thrown away"),
      entry("core", "debug", +[](const char *text) { return debug("%s", text); }, "text", "write a trace to the console"),
      entry("core", "racat", racat, "prefix n", "join a key's prefix and number"),
      entry("core", "readHttpdPid", readHttpdPid, "", "process id of the web server"),
      entry("core", "getRefreshInfo", getRefreshInfo, ">refresh", "refresh period of the web pages"),
      entry("core", "getOnePortOnly", getOnePortOnly, "", "whether remote management is held to one port"),
      entry("core", "getNums", +[](const char *value, const char *separator) { return getNums(value, *separator); }, "value separator", "count the pieces of a text"),
      entry("core", "getRuleNums", getRuleNums, "value", "count the records of a rule list"),
      entry("core", "getValueCount2", getValueCount2, "value", "count the records, 0 for an empty list"),
      entry("core", "setNthValue", setNthValue, "index value record", "replace a record of a rule list"),
      entry("core", "STF", STF, "index key record", "replace a record of a setting"),
      entry("core", "STFs", STFs, "space index key record", "replace a record of a setting in a space"),
      entry("core", "deleteNthValueMulti", +[](int index, char *value) { return deleteNthValueMulti(&index, 1, value, ';'); }, "index =value", "delete a record of a rule list"),
      entry("core", "getIPPortRuleNums", getIPPortRuleNums, ">count", "number of filter rules"),
      entry("core", "getHostKeywordNums", getHostKeywordNums, ">count", "number of host filters"),
      entry("core", "getPortForwardRuleNums", getPortForwardRuleNums, ">count", "number of port forwards"),
      entry("core", "getAclRuleNums", getAclRuleNums, "", "number of trusted addresses"),
      entry("core", "trim", trim, "=text", "strip blanks at both ends"),
      entry("core", "getField", getField, "text delimiters n", "a numeric column of a text"),
      entry("core", "setTimer", setTimer, "microseconds *handler", "arm the interval timer"),
      entry("core", "setTimerOnce", setTimerOnce, "seconds *handler", "arm the interval timer once"),
      entry("core", "setFullTimer", setFullTimer, "seconds microseconds *handler", "arm the interval timer"),
      entry("core", "stopTimer", stopTimer, "", "disarm the interval timer"),
      // ---- net ----
      entry("net", "getLanIfName", getLanIfName, "", "the LAN interface"),
      entry("net", "getWanIfName", getWanIfName, ">name", "WAN 1's Ethernet-side device"),
      entry("net", "getWan2IfName", getWan2IfName, ">name n", "WAN 2 to 4's VLAN device"),
      entry("net", "getWanIfNamePPP", getWanIfNamePPP, ">name", "WAN 1's interface"),
      entry("net", "getWan2IfNamePPP", getWan2IfNamePPP, ">name n", "WAN 2 to 4's interface"),
      entry("net", "getDefaultWanIfName", getDefaultWanIfName, ">name", "the default WAN's interface"),
      entry("net", "getDefaultWanConnectionMode", getDefaultWanConnectionMode, ">mode", "the default WAN's connection mode"),
      entry("net", "getDefaultWanAddressType", getDefaultWanAddressType, ">type", "the default WAN's address type"),
      entry("net", "getLanWanNamebyIf", getLanWanNamebyIf, "ifname", "label of an interface in the routing table"),
      entry("net", "getIfIp", getIfIp, "ifname >address", "an interface's IPv4 address"),
      entry("net", "getIfNetmask", getIfNetmask, "ifname >netmask", "an interface's netmask"),
      entry("net", "getIfMac", getIfMac, "ifname >mac", "an interface's MAC address"),
      entry("net", "getLanMac", getLanMac, ">mac", "the LAN's MAC address"),
      entry("net", "getDefaultWanMac", getDefaultWanMac, ">mac", "the default WAN's MAC address"),
      entry("net", "getDefaultWanIp", getDefaultWanIp, ">address", "the default WAN's IPv4 address"),
      entry("net", "getDefaultWanNetmask", getDefaultWanNetmask, ">netmask", "the default WAN's netmask"),
      entry("net", "getGatewayByInterface", getGatewayByInterface, "ifname >gateway", "the gateway of a WAN's interface"),
      entry("net", "getGateway", getGateway, "ifname >gateway", "the gateway of an interface"),
      entry("net", "getWanGateway", getWanGateway, ">gateway", "the kernel's default gateway"),
      entry("net", "getWanDefaultGateway", getWanDefaultGateway, ">gateway", "the gateway of the last route up to the default one"),
      entry("net", "getWANLinkStatus", getWANLinkStatus, "", "whether the WAN port has link"),
      entry("net", "arplookup", arplookup, "ip >mac", "the MAC address of an IPv4 address"),
      entry("net", "wanarplookup", wanarplookup, "", "whether the gateway was resolved; resolves it again"),
      entry("net", "updateFlash8021x", updateFlash8021x, "space", "store the 802.1X authenticator's address"),
      entry("net", "orba_pppoeRelay", orba_pppoeRelay, "", "switch PPPoE pass-through on or off"),
      entry("net", "RoutingInit", RoutingInit, "", "install the routing page's static routes"),
      entry("net", "staticRoutingInit", staticRoutingInit, "", "the same"),
      entry("net", "getIndexOfRoutingRule", getIndexOfRoutingRule, "dest netmask ifname", "the record of a route"),
      entry("net", "executeStaticRoute", executeStaticRoute, "", "install the static routes of the WANs"),
      entry("net", "doAddStaticRoute", doAddStaticRoute, "dest netmask gateway ifname add", "add (1) or delete (0) a route"),
      entry("net", "executePolicyRoute", executePolicyRoute, "", "install the policy routes"),
      entry("net", "doPolicyRoutingAction", doPolicyRoutingAction, "ip mask port mac proto side ifname name n action", "add (1), replace (2) or remove (0) a policy route"),
      entry("net", "doPolicyRoutingRemove", doPolicyRoutingRemove, "table name", "take a table's name out of rt_tables"),
      entry("net", "wanSrvName", wanSrvName, ">names", "the WANs' service names"),
      entry("net", "getRoutingTable", getRoutingTable, ">rows", "the routing page's rows"),
      // ---- firewall ----
      entry("firewall", "firewall_init", firewall_init, "", "build the whole firewall"),
      entry("firewall", "firewall_fini", firewall_fini, "", "take the firewall down"),
      entry("firewall", "iptablesIPPortFilterRun", iptablesIPPortFilterRun, "", "add the filter rules"),
      entry("firewall", "iptablesIPPortFilterFlush", iptablesIPPortFilterFlush, "", "empty the filter rules' chains"),
      entry("firewall", "makeIPPortFilterRule", +[](char *output, const char *src_mac, const char *src_mac_end, const char *dst_mac, const char *dst_mac_end, const char *src_ip, const char *src_mask, int src_port, int src_port_end, const char *dst_ip, const char *dst_mask, int dst_port, int dst_port_end, int protocol, int action) { makeIPPortFilterRule(output, 1024, src_mac, src_mac_end, dst_mac, dst_mac_end, src_ip, src_mask, src_port, src_port_end, dst_ip, dst_mask, dst_port, dst_port_end, protocol, action); }, ">rule src_mac src_mac_end dst_mac dst_mac_end src_ip src_mask src_port src_port_end dst_ip dst_mask dst_port dst_port_end protocol action", "write the command of one filter rule"),
      entry("firewall", "isMacValid", isMacValid, "mac", "whether a text is a MAC address"),
      entry("firewall", "isIpNetmaskValid", isIpNetmaskValid, "address", "whether a text is an IPv4 address or any"),
      entry("firewall", "iptablesMaliciousFilterRun", iptablesMaliciousFilterRun, "", "add the attack protection"),
      entry("firewall", "iptablesMaliciousFilterFlush", iptablesMaliciousFilterFlush, "", "empty the attack protection's chains"),
      entry("firewall", "iptablesPathMTU", iptablesPathMTU, "", "fit TCP segment sizes to PPP links"),
      entry("firewall", "iptablesDHCPRelayChainRun", iptablesDHCPRelayChainRun, "", "let DHCP servers answer the relay"),
      entry("firewall", "iptablesDHCPRelayChainFlush", iptablesDHCPRelayChainFlush, "", "empty the DHCP relay's chain"),
      entry("firewall", "iptablesDMZFlush", iptablesDMZFlush, "", "empty the DMZ's chains"),
      entry("firewall", "iptablesPortForwardFlush", iptablesPortForwardFlush, "", "empty the forwarded ports' chains"),
      entry("firewall", "MACFilterFlush", MACFilterFlush, "", "empty the MAC filter's chain"),
      entry("firewall", "iptablesPortForwardRun", iptablesPortForwardRun, "", "build the rules of forwarded ports"),
      entry("firewall", "iptablesDMZRun", iptablesDMZRun, "", "give the rest to the DMZ host"),
      entry("firewall", "iptablesDMZInit", iptablesDMZInit, "", "make and hook the chains of the simple DMZ"),
      entry("firewall", "RT_iptablesDMZRun", RT_iptablesDMZRun, "", "build the simple DMZ"),
      entry("firewall", "RT_makeDMZRule", +[](const char *wan, const char *host) { char unused[1] = ""; RT_makeDMZRule(unused, 1, wan, "", host, 0); }, "wan host", "make the simple DMZ's rules"),
      entry("firewall", "showPortForwardRedirectedWarning", showPortForwardRedirectedWarning, ">notes", "services that a forwarded port takes away"),
      entry("firewall", "iptablesMclRun", iptablesMclRun, "", "open the management services to their sides"),
      entry("firewall", "setServiceControl", setServiceControl, "mode protocol port", "open one service to a side"),
      entry("firewall", "iptablesAclRun", iptablesAclRun, "", "build the list of trusted addresses"),
      entry("firewall", "iptablesRemoteManagementRun", iptablesRemoteManagementRun, "", "let answers to the router's connections in"),
      entry("firewall", "MACFilterRun", MACFilterRun, "", "filter stations by MAC address"),
      entry("firewall", "iptablesWebsFilterRun", iptablesWebsFilterRun, "", "block web content, URLs and hosts"),
      entry("firewall", "websHostFilter", websHostFilter, "host", "block a host"),
      entry("firewall", "websHostFilterDelete", websHostFilterDelete, "index", "unblock a host"),
      entry("firewall", "LoadLayer7FilterName", LoadLayer7FilterName, "", "gather the layer-7 protocol names"),
      entry("firewall", "getNameIntroFromPat", getNameIntroFromPat, "file", "name and description of a layer-7 pattern"),
      entry("firewall", "getLayer7Filters", getLayer7Filters, ">filters", "the layer-7 protocols"),
      // ---- wireless ----
      entry("wireless", "getWlan11aChannels", getWlan11aChannels, ">options", "5 GHz channels of the region"),
      entry("wireless", "getWlan11bChannels", getWlan11bChannels, ">options", "2.4 GHz channels of the region, 802.11b"),
      entry("wireless", "getWlan11gChannels", getWlan11gChannels, ">options", "2.4 GHz channels of the region"),
      entry("wireless", "getWlanChannel", getWlanChannel, ">channel", "the channel to show"),
      entry("wireless", "getWlanApcliBuilt", getWlanApcliBuilt, ">built", "whether the repeater page is built in"),
      entry("wireless", "getMeshBuilt", getMeshBuilt, ">built", "whether the mesh page is built in"),
      entry("wireless", "is3t3r", is3t3r, ">built", "whether there are three antennas"),
      entry("wireless", "getMaxBssidNum", getMaxBssidNum, ">count", "number of networks the radio can announce"),
      entry("wireless", "getMBSSIDBuilt", getMBSSIDBuilt, ">built", "whether it can announce several networks"),
      entry("wireless", "get16MBSSIDBuilt", get16MBSSIDBuilt, ">built", "whether it can announce sixteen"),
      entry("wireless", "OidQueryInformation", +[](int oid, const char *ifname, char *out) { return queryNumber(OidQueryInformation, oid, ifname, out); }, "oid ifname >value", "query a number of the 2.4 GHz driver"),
      entry("wireless", "OidSetInformation", +[](int oid, const char *ifname, int value) { return OidSetInformation(oid, 0, ifname, &value, sizeof value); }, "oid ifname value", "set a number of the 2.4 GHz driver"),
      entry("wireless", "ApOidQueryInformation", +[](int oid, const char *ifname, char *out) { return queryNumber(ApOidQueryInformation, oid, ifname, out); }, "oid ifname >value", "query a number of the 2.4 GHz driver"),
      entry("wireless", "getOperatingChannel", getOperatingChannel, "", "the channel that the radio is on"),
      entry("wireless", "getWlanOperatingChannel", getWlanOperatingChannel, ">channel", "the channel that the radio is on"),
      entry("wireless", "getWlanCurrentMac", getWlanCurrentMac, ">mac", "the radio's MAC address"),
      entry("wireless", "getWlanMac", getWlanMac, ">mac n", "MAC address of ra and a number"),
      entry("wireless", "getWiFiMac", getWiFiMac, ">mac ifname", "MAC address of a radio interface"),
      entry("wireless", "ConvertRssiToSignalQuality", ConvertRssiToSignalQuality, "rssi", "signal quality in percent from dBm"),
      entry("wireless", "ConverterStringToDisplay", ConverterStringToDisplay, "=text", "escape a text for a page"),
      entry("wireless", "printStaBssidList", printStaBssidList, "", "survey the site"),
      entry("wireless", "wlanModeChange2_4_init", wlanModeChange2_4_init, "", "join the 2.4 GHz interfaces to their bridges"),
      entry("wireless", "WlanRestart", WlanRestart, "", "restart the radio after a change"),
      entry("wireless", "wlan_init", wlan_init, "", "start WPS at boot"),
      entry("wireless", "restart8021XDaemon", restart8021XDaemon, "space", "restart the 802.1X authenticator"),
      entry("wireless", "InitWireless_ra0", InitWireless_ra0, "", "bring ra0 up or down"),
      entry("wireless", "setVarWscConfigured", setVarWscConfigured, "configured", "set WPS's configured flag"),
      entry("wireless", "setVarIsEnrollee", setVarIsEnrollee, "enrollee", "set WPS's enrollee flag"),
      entry("wireless", "resetTimerAll", resetTimerAll, "", "stop the access point's WPS monitor"),
      entry("wireless", "resetTimerAllApCli", resetTimerAllApCli, "", "stop the client's WPS monitor"),
      entry("wireless", "getAPPIN", getAPPIN, "ifname", "the access point's PIN"),
      entry("wireless", "getWscStatus", getWscStatus, "ifname", "the driver's WPS status"),
      entry("wireless", "getCurrentWscProfile", currentSecurity, "ifname >security", "security of the WPS configuration in use"),
      entry("wireless", "getWscProfile", +[](const char *ifname) { char record[936]; return getWscProfile(ifname, record); }, "ifname", "query the credentials received by WPS"),
      entry("wireless", "getWPSAuthMode", +[](int bits, char *names) { return getWPSAuthMode(profileWithBits(bits).data(), names); }, "bits *names", "names of authentication bits"),
      entry("wireless", "getWPSEncrypType", +[](int bits, char *names) { return getWPSEncrypType(profileWithBits(bits).data(), names); }, "bits *names", "names of encryption bits"),
      entry("wireless", "WPSRestart", WPSRestart, "", "restart WPS on the access point"),
      entry("wireless", "WPSAPPBCStartAll", WPSAPPBCStartAll, "", "press the access point's WPS button"),
      entry("wireless", "WPSAPCliPBCStart", WPSAPCliPBCStart, "", "press the client's WPS button"),
      entry("wireless", "WPSAPStart", WPSAPStart, "", "monitor a WPS run begun elsewhere"),
      entry("wireless", "WPSAPTimerHandler", WPSAPTimerHandler, "signal", "one tick of the access point's WPS monitor"),
      entry("wireless", "WPSAPCliTimerHandler", WPSAPCliTimerHandler, "signal", "one tick of the client's WPS monitor"),
      entry("wireless", "WPSSingleTriggerHandler", WPSSingleTriggerHandler, "signal", "start an enrollee run"),
      entry("wireless", "setWscResult", setWscResult, "result", "store the result of a WPS run"),
      entry("wireless", "getWscResult", getWscResult, "", "the result of the last WPS run"),
      entry("wireless", "getWscResultOrba", getWscResultOrba, "", "the WPS state"),
      entry("wireless", "getWscResultGUIOrba", getWscResultGUIOrba, "", "the 5 GHz WPS state"),
      entry("wireless", "updateWpsStatusFlag", updateWpsStatusFlag, "", "set the WPS states at a run's end"),
      entry("wireless", "wlan_schedule_init", wlan_schedule_init, "", "apply the radio's timetable"),
      entry("wireless", "setWlanSchedulingCfg", setWlanSchedulingCfg, "record day", "cron lines of one record"),
      entry("wireless", "checkWlanSchedulingCfg", checkWlanSchedulingCfg, "now record day", "whether a record wants the radio on"),
      entry("wireless", "setWlanSchedulingCurrentState", setWlanSchedulingCurrentState, "", "bring the radio to the state wanted now"),
      entry("wireless", "wlan_schedule_cfg", wlan_schedule_cfg, "=record day", "cron lines of one record, the older way"),
      // ---- session ----
      entry("session", "init_SharedMemory", init_SharedMemory, "", "make or reset the shared login record"),
      entry("session", "init_SharedMemoryVar", +[] { init_SharedMemoryVar(&global_shared_stuff); }, "", "reset this process's login record"),
      entry("session", "sync_globalVar_and_sharedMem", sync_globalVar_and_sharedMem, "direction", "publish (1) or fetch (0) the login record"),
      entry("session", "writeSessionFile", writeSessionFile, "text", "begin a session"),
      entry("session", "tuLogout", +[] { tuLogout(); }, "", "end the session"),
      entry("session", "getLoginUser", getLoginUser, ">user", "who is logged in"),
      entry("session", "isProtectedUrl", isProtectedUrl, "url level", "whether a page is for privileged users"),
      // ---- status ----
      entry("status", "getCurrentPacketStatistic", getCurrentPacketStatistic, ">groups", "traffic of all interfaces"),
      entry("status", "reedSwitchReg", reedSwitchReg, "register", "a switch register through the switch tool"),
      entry("status", "getSwitchPacket", getSwitchPacket, "unicast multicast broadcast", "sum of three switch registers"),
      entry("status", "getSwitchRxError", getSwitchRxError, "alignment crc undersize fragments oversize jabbers", "sum of six switch registers"),
      entry("status", "getSwitchBytes", getSwitchBytes, "low high", "an octet counter of the switch"),
      entry("status", "getLANTxPacketASP", getLANTxPacketASP, ">count", "packets sent of the LAN"),
      entry("status", "getLANRxPacketASP", getLANRxPacketASP, ">count", "packets received of the LAN"),
      entry("status", "getLANTxByteASP", getLANTxByteASP, ">count", "bytes sent of the LAN"),
      entry("status", "getLANRxByteASP", getLANRxByteASP, ">count", "bytes received of the LAN"),
      entry("status", "getWLANTxPacketASP", getWLANTxPacketASP, ">count", "packets sent of ra0"),
      entry("status", "getWLANRxPacketASP", getWLANRxPacketASP, ">count", "packets received of ra0"),
      entry("status", "getWLANTxByteASP", getWLANTxByteASP, ">count", "bytes sent of ra0"),
      entry("status", "getWLANRxByteASP", getWLANRxByteASP, ">count", "bytes received of ra0"),
      entry("status", "getWANTxPacketASP", getWANTxPacketASP, ">count wan", "packets sent of a WAN"),
      entry("status", "getWANRxPacketASP", getWANRxPacketASP, ">count wan", "packets received of a WAN"),
      entry("status", "getWANTxByteASP", getWANTxByteASP, ">count wan", "bytes sent of a WAN"),
      entry("status", "getWANRxByteASP", getWANRxByteASP, ">count wan", "bytes received of a WAN"),
      entry("status", "getRaTxPacketASP", getRaTxPacketASP, ">count", "packets sent of ra0, or of the interface that is named"),
      entry("status", "getRaRxPacketASP", getRaRxPacketASP, ">count", "packets received of ra0, or of the interface that is named"),
      entry("status", "getRaTxByteASP", getRaTxByteASP, ">count", "bytes sent of ra0, or of the interface that is named"),
      entry("status", "getRaRxByteASP", getRaRxByteASP, ">count", "bytes received of ra0, or of the interface that is named"),
      entry("status", "getTuStatusFrameRefreshTimeout", getTuStatusFrameRefreshTimeout, ">seconds", "refresh period of the status frame"),
      entry("status", "getSysUptime", getSysUptime, ">uptime", "time since the start"),
      entry("status", "getMemUsgInfo", getMemUsgInfo, ">percent", "memory in use"),
      entry("status", "getCpuLoad", getCpuLoad, ">percent", "CPU in use"),
      entry("status", "getSysCurrentTime", getSysCurrentTime, ">time", "local time"),
      entry("status", "getPortStatus", getPortStatus, ">ports", "links of the switch ports"),
      entry("status", "getModelName", getModelName, ">name", "the model"),
      entry("status", "getHostName", getHostName, ">name", "the host name"),
      // ---- switch ----
      entry("switch", "switch_init", switch_init, "", "open the access to the switch"),
      entry("switch", "switch_fini", switch_fini, "", "close the access to the switch"),
      entry("switch", "reg_read", +[](int number) { uint32_t value = 0; switch_init(); reg_read(number, &value); switch_fini(); return value; }, "register", "a switch register through the driver"),
      entry("switch", "reg_write", +[](int number, int value) { switch_init(); reg_write(number, static_cast<uint32_t>(value)); return switch_fini(); }, "register value", "set a switch register through the driver"),
      entry("switch", "igmpsnoopingenable", +[] { switch_init(); int port = igmpsnoopingenable(); switch_fini(); return port; }, "", "turn IGMP snooping on for the WAN port"),
      entry("switch", "igmpsnooping_init", igmpsnooping_init, "", "the same at the start"),
      entry("switch", "igmpHWSnoopingRule", igmpHWSnoopingRule, "", "the same at the start of a 5 GHz uplink"),
      entry("switch", "checkWanPortNumber", +[] { switch_init(); int port = checkWanPortNumber(); switch_fini(); return port; }, "", "the switch port of the WAN"),
      entry("switch", "resetEthernetSwitchPort", resetEthernetSwitchPort, "wan_port", "restart all LAN ports but the WAN port"),
      entry("switch", "ethernetPortEventHandler", ethernetPortEventHandler, "event", "react to a port event"),
      // ---- qos ----
      entry("qos", "orbaQoSInit", orbaQoSInit, "", "start QoS when it is wanted"),
      entry("qos", "orbaQoSRestart", orbaQoSRestart, "", "start the QoS program"),
      entry("qos", "isAnyVLANRuleExist", isAnyVLANRuleExist, "", "whether a VLAN class is enabled"),
      entry("qos", "isSameClassRule", isSameClassRule, "a b", "whether two class records are the same rule"),
      entry("qos", "isSameQueueName", isSameQueueName, "a b", "whether two queue records have one name"),
      entry("qos", "isSameClassName", isSameClassName, "a b", "whether two class records have one name"),
      entry("qos", "isQueueBeReference", isQueueBeReference, "queue", "whether a class uses a queue"),
      entry("qos", "orbaQoSSSID", orbaQoSSSID, ">names", "the networks' names"),
      entry("qos", "orbaQoSLANIntf", orbaQoSLANIntf, ">name", "the LAN interface's name for the QoS page"),
      // ---- mgmt ----
      entry("mgmt", "initInternet", initInternet, "", "bring the Internet connection and all servers up"),
      entry("mgmt", "management_init", management_init, "", "start the management servers"),
      entry("mgmt", "serviceCtl_restart", serviceCtl_restart, "which", "restart the web (0) or Telnet (2) server"),
      entry("mgmt", "startlog_init", startlog_init, "", "restart the logger"),
      entry("mgmt", "clearlog", clearlog, "", "empty the log"),
      entry("mgmt", "restartnmbd", restartnmbd, "", "restart the NetBIOS responder"),
      entry("mgmt", "restartAvahid", restartAvahid, "", "restart the mDNS responder"),
      entry("mgmt", "setReduceBootTimeFlag", setReduceBootTimeFlag, "flag", "store the start-up programs' flag"),
      entry("mgmt", "TZsync2nvram", TZsync2nvram, "", "store the daylight-saving rule of /etc/TZ"),
      entry("mgmt", "backupRecoverSettings", backupRecoverSettings, "mode", "back up (2), recover (1) or forget (0) the wireless settings"),
      entry("mgmt", "gpioLedSet", gpioLedSet, "gpio on off blinks rests repeats", "blink an LED"),
      entry("mgmt", "ledAlways", ledAlways, "gpio on", "turn an LED on or off"),
      entry("mgmt", "ledWps", ledWps, "gpio state", "show a WPS state on an LED"),
      entry("mgmt", "setLedOff", setLedOff, "", "turn the WPS LEDs off"),
      // ---- crypto ----
      entry("crypto", "A_SHAInit", +[] { return digestOf(""); }, "", "SHA-1 of nothing"),
      entry("crypto", "A_SHAUpdate", digestOf, "text", "SHA-1 of a text"),
      entry("crypto", "A_SHAFinal", digestOf, "text", "SHA-1 of a text"),
      entry("crypto", "shaHashBlock", +[] { A_SHA_CTX ctx; A_SHAInit(&ctx); shaHashBlock(&ctx); return hex(ctx.state); }, "", "SHA-1's state after a block of zeros"),
      entry("crypto", "hmac_sha1", hmacOf, "text key", "HMAC-SHA1 of a text"),
      entry("crypto", "F", blockOf, "passphrase ssid iterations block", "a block of PBKDF2"),
      entry("crypto", "PasswordHash", keyOf, "passphrase ssid", "the WPA key of a pass phrase (better: orba psk)"),
      entry("crypto", "BtoH", +[](const char *digit) { return static_cast<int>(BtoH(*digit)); }, "digit", "value of a hexadecimal digit"),
      entry("crypto", "AtoH", bytesOf, "hex", "the bytes of hexadecimal digits, written again"),
  };
  // clang-format on
  return table;
}

}  // namespace orba::tool
