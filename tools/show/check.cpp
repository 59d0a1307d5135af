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
#include "tools/catalog/peculiarities.h"
#include "tools/catalog/settings.h"
#include "tools/show/doubts.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

const Form kRange = {.kind = Form::kAddressRange, .use = Use::kWord};
const Form kNoOption = {.kind = Form::kNoOption, .use = Use::kWord};

bool isNetwork(const std::string &text) {
  return Form{.kind = Form::kNetwork}.matches(text);
}

// Zeros in front, numbers left out or in base 16: iptables, route and what sends on read each in
// its own way, and none of them looks up a name.
bool isOddAddress(const std::string &text) {
  in_addr address;
  return text.find(' ') == std::string::npos &&
         inet_aton(text.substr(0, text.find('/')).c_str(), &address) != 0;
}

// What comes of a text that is not of its form.
const char *effectOf(const std::string &text, Use use) {
  if (use == Use::kInterface && text.back() == '+') return "stands for every name that begins so";
  if (use != Use::kHost && use != Use::kWord) return "is read as it stands";
  if (text[0] == '-') return "keeps its command from being run";
  if (use == Use::kWord) return "is read as it stands";
  if (isNetwork(text)) return "stands for a whole network";
  if (isOddAddress(text)) return "is taken for another address, or for none";
  return text.find(',') != std::string::npos ? "stands for each address that it lists"
                                             : "is looked up as a host name";
}

const Form &formOf(const char *key) {
  return descriptionOf(key, kMainSpace)->form;
}

// In place of a field's number, which is from 0 in the library.
constexpr int kWhole = -1;

class Checker {
 public:
  std::vector<Finding> findings;

  // A finding about each field that is not of its form. Of records that are one
  // value the finding is about the record.
  void expectFields(const char *key, const Record &record) {
    const Form &list = formOf(key);
    if (list.field_separator == '\0') return expect(key, record, kWhole, list.fields.front().form);
    for (int field = 0; const Field *known = list.field(field + 1); field++) {
      expect(key, record, field, known->form);
    }
  }

  // A finding about a field, from 0, or about the record, unless it is empty or of its form.
  void expect(const char *key, const Record &record, int field, const Form &form) {
    const std::string text = textOf(record, field);
    if (text.empty() || form.matches(text)) return;
    add(key, record, field, "is not " + form.inWords(), effectOf(text, form.use));
  }

  // A finding about a record of `key`, unless there is no fault.
  void note(const char *key, const Record &record, const RecordFault &fault, const char *effect) {
    if (faulty(fault)) add(key, record, fault.field, fault.reason, effect);
  }

 private:
  static std::string textOf(const Record &record, int field) {
    Slice slice = record.slice();
    if (field != kWhole && !record.field(field, slice)) return "";
    return std::string(slice.begin, slice.length);
  }

  void add(const char *key, const Record &record, int field, const std::string &reason,
           const char *effect) {
    findings.push_back(
        {key, kMainSpace, record.index() + 1, field + 1, textOf(record, field), reason, effect});
  }
};

constexpr char kSkipped[] = "is passed over";
constexpr char kCut[] = "is used without its end";
constexpr char kNotSpared[] = "is not told to the DMZ program";

constexpr RecordFault kTooLong = {kWhole, "is too long and loses its end"};

void checkFilters(Checker &checker) {
  const char *key = "IPPortFilterRules";
  for (Record record : RuleList(setting(key).text())) {
    IpPortFilter filter;
    RecordFault fault = readIpPortFilter(record, filter);
    checker.note(key, record, fault, kSkipped);
    checker.note(key, record, filter.cut, kCut);
    if (faulty(fault)) continue;
    checker.expectFields(key, record);
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
      checker.expectFields(key, record);
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
      checker.expectFields(single, record);
    }
  }
}

void checkTrustedSources(Checker &checker) {
  const char *key = "aclRules";
  for (Record source : trustedSources(setting(key).text())) {
    if (isRange(source)) {
      checker.expect(key, source, kWhole, kRange);
    } else {
      checker.expectFields(key, source);
    }
    if (source.cut()) checker.note(key, source, kTooLong, kCut);
  }
}

void checkMacs(Checker &checker) {
  const char *key = "MACFilterRules";
  bool ended = false;
  for (Record mac : filteredMacs(setting(key).text())) {
    RecordFault end = endOfMacs(mac);
    if (ended) checker.note(key, mac, {kWhole, "stands behind an empty record"}, kSkipped);
    if (!ended) {
      checker.note(key, mac, end, kSkipped);
      checker.expectFields(key, mac);
    }
    if (mac.cut()) checker.note(key, mac, kTooLong, kCut);
    ended = ended || faulty(end);
  }
}

void checkWebFilters(Checker &checker) {
  for (const char *key : {"websURLFilters", "websHostFilters"}) {
    for (Record record : RuleList(setting(key).text())) {
      checker.note(key, record, webFilterFault(record), kSkipped);
      checker.expectFields(key, record);
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
    checker.expectFields("RoutingRules", record);
  }
  const char *static_routes = "StaticRoutingRules";
  for (Record record : RuleList(setting(static_routes).text(), WanStaticRoute::kRecordSize)) {
    WanStaticRoute route(record);
    if (route.enabled.is("0")) continue;  // switched off, and meant so
    checker.note(static_routes, record, route.fault(), kSkipped);
    checker.note(static_routes, record, route.cut, kCut);
    if (faulty(route.fault())) continue;
    checker.expectFields(static_routes, record);
  }
  const char *policy_routes = "PolicyRoutingRules";
  for (Record record : RuleList(setting(policy_routes).text(), PolicyRule::kRecordSize)) {
    PolicyRule rule(record);
    checker.note(policy_routes, record, rule.fault(), kSkipped);
    checker.note(policy_routes, record, rule.cut, kCut);
    if (faulty(rule.fault())) continue;
    checker.expectFields(policy_routes, record);
  }
}

void checkForms(const sim::Device &device, Checker &checker) {
  for (const SettingDescription &description : settingDescriptions()) {
    const Form &form = description.form;
    for (const auto &[key, example] : description.keysWithExamples()) {
      std::optional<std::string> value = device.setting(key, description.space);
      if (!value || value->empty() || form.matches(*value)) continue;
      checker.findings.push_back({key, description.space, 0, 0, *value, "is not " + form.inWords(),
                                  effectOf(*value, form.use)});
    }
  }
}

void checkPeculiarities(const sim::Device &device, Checker &checker) {
  const ValueOf value = [&](const std::string &key) { return device.setting(key); };
  for (const Peculiarity &each : peculiarities()) {
    if (!inTrouble(each, value)) continue;
    const std::string &key = each.keys[0];
    checker.findings.push_back({key, kMainSpace, 0, 0, *value(key), each.reason, each.effect});
  }
}

}  // namespace

std::vector<Finding> checkSettings(sim::Device &device) {
  Checker checker;
  checkFilters(checker);
  checkPortForwards(checker);
  checkTrustedSources(checker);
  checkMacs(checker);
  checkWebFilters(checker);
  checkRoutes(checker);
  checkForms(device, checker);
  checkPeculiarities(device, checker);
  for (Finding &doubt : doubtsAboutRecords()) checker.findings.push_back(std::move(doubt));
  return checker.findings;
}

}  // namespace orba::tool
