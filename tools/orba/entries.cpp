// Every entry point that the tool can call, a line each. The words of a command
// line are read as the function's type asks for; ">" marks an output buffer and
// "=" a text that is changed in place.
#include "orba_util.h"
#include "tools/orba/entry.h"

namespace orba::tool {

const std::vector<Entry> &entries() {
  // clang-format off
  static const std::vector<Entry> table = {
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
      // ---- firewall ----
      // ---- wireless ----
      // ---- session ----
      // ---- status ----
      // ---- switch ----
      // ---- qos ----
      // ---- mgmt ----
      // ---- crypto ----
  };
  // clang-format on
  return table;
}

}  // namespace orba::tool
