#include "tools/show/check.h"

#include <arpa/inet.h>

#include "core/setting.h"
#include "firewall/access_list.h"
#include "firewall/ip_port_filter.h"
#include "firewall/mac_filter.h"
#include "firewall/port_forward_list.h"
#include "firewall/web_filter.h"
#include "net/policy_rule.h"
#include "net/routing_rule.h"
#include "net/wan_static_route.h"
#include "orba_util.h"
#include "tools/catalog/settings.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// How the programs that get a text take it.
enum class Use { kText, kWord, kHost, kInterface };

// What a field is to hold.
struct Form {
  const char *words;  // behind "is not"
  bool (*holds)(const std::string &text);
  Use use = Use::kWord;
};

bool isAddress(const std::string &text) {
  in_addr address;
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool isPrefixLength(const std::string &text) {
  bool number = text.size() <= 2 && text.find_first_not_of("0123456789") == std::string::npos;
  return number && !text.empty() && std::stoi(text) <= 32;
}

bool isNetmask(const std::string &text) {
  return isAddress(text) || isPrefixLength(text);
}

// Without its "/0" even "any" is a name.
bool isNetwork(const std::string &text) {
  size_t slash = text.find('/');
  if (slash == std::string::npos) return isAddress(text);
  return text == "any/0" || (isAddress(text.substr(0, slash)) && isNetmask(text.substr(slash + 1)));
}

bool isRangeOfAddresses(const std::string &text) {
  size_t dash = text.find('-');
  return dash != std::string::npos && isAddress(text.substr(0, dash)) &&
         isAddress(text.substr(dash + 1));
}

bool isMac(const std::string &text) {
  return isMacValid(text.c_str()) != 0;
}

bool isNoOption(const std::string &text) {
  return text[0] != '-';
}

bool isInterface(const std::string &text) {
  return isNoOption(text) && text.find_first_of("!+ /") == std::string::npos;
}

constexpr Form kAddress = {"an IPv4 address", isAddress, Use::kHost};
constexpr Form kAddressOfFrames = {kAddress.words, isAddress};  // ebtables knows no names
constexpr Form kNetwork = {"an IPv4 address or network", isNetwork, Use::kHost};
constexpr Form kRange = {"a range of two IPv4 addresses", isRangeOfAddresses};
constexpr Form kNetmask = {"a netmask", isNetmask, Use::kText};
constexpr Form kMac = {"a MAC address", isMac};
constexpr Form kInterface = {"the name of one interface", isInterface};
constexpr Form kNoOption = {"free of a \"-\" in front", isNoOption};

// What comes of a text that is not of its form.
const char *effectOf(const std::string &text, Use use) {
  if (use == Use::kInterface && text.back() == '+') return "stands for every name that begins so";
  if (use != Use::kHost && use != Use::kWord) return "is read as it stands";
  if (text[0] == '-') return "keeps its command from being run";
  if (use == Use::kWord) return "is read as it stands";
  if (isNetwork(text)) return "stands for a whole network";
  return text.find(',') != std::string::npos ? "stands for each address that it lists"
                                             : "is looked up as a host name";
}

// The same of a setting, by the words for its form.
Use useOf(const std::string &words) {
  if (words == kAddress.words) return Use::kHost;
  if (words.rfind("a port ", 0) == 0) return Use::kWord;
  return words.rfind("a VLAN id ", 0) == 0 ? Use::kInterface : Use::kText;
}

class Checker {
 public:
  std::vector<Finding> findings;

  // A finding about a field, or about the record (-1), unless it is empty or of its form.
  void expect(const char *key, const Record &record, int field, const Form &form) {
    Slice slice = record.slice();
    if (field >= 0 && !record.field(field, slice)) return;
    const std::string text(slice.begin, slice.length);
    if (text.empty() || form.holds(text)) return;
    findings.push_back({key, kMainSpace, record.index(), field, text,
                        "is not " + std::string(form.words), effectOf(text, form.use)});
  }

  // A finding about a record of `key`, unless there is no fault.
  void note(const char *key, const Record &record, const RecordFault &fault, const char *effect) {
    if (!faulty(fault)) return;
    Slice slice = record.slice();
    if (fault.field >= 0 && !record.field(fault.field, slice)) slice = {"", 0};
    findings.push_back({key, kMainSpace, record.index(), fault.field,
                        std::string(slice.begin, slice.length), fault.reason, effect});
  }
};

constexpr char kSkipped[] = "is passed over";
constexpr char kCut[] = "is used without its end";
constexpr char kNotSpared[] = "is not told to the DMZ program";

constexpr RecordFault kTooLong = {-1, "is too long and loses its end"};

void checkFilters(Checker &checker) {
  const char *key = "IPPortFilterRules";
  for (Record record : RuleList(setting(key).text())) {
    IpPortFilter filter;
    RecordFault fault = readIpPortFilter(record, filter);
    checker.note(key, record, fault, kSkipped);
    checker.note(key, record, filter.cut, kCut);
    if (faulty(fault)) continue;
    for (int side : {0, 4}) {
      checker.expect(key, record, side, kNetwork);
      checker.expect(key, record, side + 1, kNetmask);
    }
  }
}

// Each reader of the list is checked when it is the one that reads it now.
void checkPortForwards(Checker &checker) {
  const char *key = "PortForwardRules";
  int protocols = 0;
  for (Record record : RuleList(setting(key).text())) {
    PortForward forward(record, protocols);
    checker.note(key, record, forward.fault(), kSkipped);
    if (!faulty(forward.fault())) {
      protocols = forward.protocols;
      checker.expect(key, record, PortForward::kAddress, kAddress);
    }
    if (record.cut()) checker.note(key, record, kTooLong, kCut);
  }
  if (!setting("DMZEnable").is("2")) return;
  if (setting("PortForwardEnable").on()) {
    for (Record record : RuleList(setting(key).text())) {
      checker.note(key, record, SuperDmzForward(record).fault(), kNotSpared);
      checker.expect(key, record, 1, kNoOption);
    }
  }
  if (setting("SinglePortForwardEnable").on()) {
    const char *single = "SinglePortForwardRules";
    for (Record record : RuleList(setting(single).text())) {
      checker.note(single, record, SuperDmzSinglePort(record).fault(), kNotSpared);
      checker.expect(single, record, 1, kNoOption);
    }
  }
}

void checkTrustedSources(Checker &checker) {
  const char *key = "aclRules";
  for (Record source : trustedSources(setting(key).text())) {
    checker.expect(key, source, -1, isRange(source) ? kRange : kNetwork);
    if (source.cut()) checker.note(key, source, kTooLong, kCut);
  }
}

void checkMacs(Checker &checker) {
  const char *key = "MACFilterRules";
  bool ended = false;
  for (Record mac : filteredMacs(setting(key).text())) {
    RecordFault end = endOfMacs(mac);
    if (ended) checker.note(key, mac, {-1, "stands behind an empty record"}, kSkipped);
    if (!ended) {
      checker.note(key, mac, end, kSkipped);
      checker.expect(key, mac, -1, kMac);
    }
    if (mac.cut()) checker.note(key, mac, kTooLong, kCut);
    ended = ended || faulty(end);
  }
}

void checkWebFilters(Checker &checker) {
  for (const char *key : {"websURLFilters", "websHostFilters"}) {
    for (Record record : RuleList(setting(key).text())) {
      checker.note(key, record, webFilterFault(record), kSkipped);
      checker.expect(key, record, -1, kNoOption);
      if (record.cut()) checker.note(key, record, kTooLong, kCut);
    }
  }
}

void checkRoutes(Checker &checker) {
  bool gateway_mode = setting("OperationMode").is("1");
  for (Record record : routingRules()) {
    RoutingRule rule(record);
    checker.note("RoutingRules", record, rule.fault(gateway_mode), kSkipped);
    checker.note("RoutingRules", record, rule.cut, kCut);
    if (faulty(rule.fault(gateway_mode))) continue;
    for (int field : {0, 1, 2}) checker.expect("RoutingRules", record, field, kAddress);
    checker.expect("RoutingRules", record, 4, kInterface);
  }
  const char *static_routes = "StaticRoutingRules";
  for (Record record : RuleList(setting(static_routes).text(), WanStaticRoute::kRecordSize)) {
    WanStaticRoute route(record);
    checker.note(static_routes, record, route.fault(), kSkipped);
    checker.note(static_routes, record, route.cut, kCut);
    if (faulty(route.fault())) continue;
    for (int field : {2, 3, 4}) checker.expect(static_routes, record, field, kAddress);
  }
  const char *policy_routes = "PolicyRoutingRules";
  for (Record record : RuleList(setting(policy_routes).text(), PolicyRule::kRecordSize)) {
    PolicyRule rule(record);
    checker.note(policy_routes, record, rule.fault(), kSkipped);
    checker.note(policy_routes, record, rule.cut, kCut);
    if (faulty(rule.fault())) continue;
    const std::pair<int, Form> fields[] = {
        {0, kNetmask}, {1, kAddressOfFrames}, {3, kMac}, {6, kInterface}};
    for (const auto &[field, form] : fields) checker.expect(policy_routes, record, field, form);
  }
}

void checkForms(const sim::Device &device, Checker &checker) {
  for (const SettingForm &form : settingForms()) {
    std::optional<std::string> value = device.setting(form.key, form.space);
    if (!value || value->empty() || form.matches(*value)) continue;
    checker.findings.push_back({form.key, form.space, -1, -1, *value,
                                "is not " + std::string(form.words),
                                effectOf(*value, useOf(form.words))});
  }
}

}  // namespace

std::string Finding::line() const {
  std::string text = key;
  if (space != kMainSpace) text += " in space " + std::to_string(space);
  if (record >= 0) text += ", record " + std::to_string(record + 1);
  if (field >= 0) text += ", field " + std::to_string(field + 1);
  return text + ": \"" + visible(value) + "\" " + reason + "; it " + effect;
}

std::vector<Finding> checkSettings(sim::Device &device) {
  Checker checker;
  checkFilters(checker);
  checkPortForwards(checker);
  checkTrustedSources(checker);
  checkMacs(checker);
  checkWebFilters(checker);
  checkRoutes(checker);
  checkForms(device, checker);
  return checker.findings;
}

}  // namespace orba::tool
