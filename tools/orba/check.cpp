#include "tools/orba/check.h"

#include "core/setting.h"
#include "firewall/access_list.h"
#include "firewall/ip_port_filter.h"
#include "firewall/mac_filter.h"
#include "firewall/port_forward_list.h"
#include "firewall/web_filter.h"
#include "net/policy_rule.h"
#include "net/routing_rule.h"
#include "net/wan_static_route.h"
#include "tools/orba/report.h"
#include "tools/orba/settings.h"

namespace orba::tool {

namespace {

class Checker {
 public:
  std::vector<Finding> findings;

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
    checker.note(key, record, readIpPortFilter(record, filter), kSkipped);
    checker.note(key, record, filter.cut, kCut);
  }
}

// Each reader of the list is checked when it is the one that reads it now.
void checkPortForwards(Checker &checker) {
  const char *key = "PortForwardRules";
  int protocols = 0;
  for (Record record : RuleList(setting(key).text())) {
    PortForward forward(record, protocols);
    if (!faulty(forward.fault())) protocols = forward.protocols;
    checker.note(key, record, forward.fault(), kSkipped);
    if (record.cut()) checker.note(key, record, kTooLong, kCut);
  }
  if (!setting("DMZEnable").is("2")) return;
  if (setting("PortForwardEnable").on()) {
    for (Record record : RuleList(setting(key).text())) {
      checker.note(key, record, SuperDmzForward(record).fault(), kNotSpared);
    }
  }
  if (setting("SinglePortForwardEnable").on()) {
    const char *single = "SinglePortForwardRules";
    for (Record record : RuleList(setting(single).text())) {
      checker.note(single, record, SuperDmzSinglePort(record).fault(), kNotSpared);
    }
  }
}

void checkTrustedSources(Checker &checker) {
  const char *key = "aclRules";
  for (Record source : trustedSources(setting(key).text())) {
    if (source.cut()) checker.note(key, source, kTooLong, kCut);
  }
}

void checkMacs(Checker &checker) {
  const char *key = "MACFilterRules";
  bool ended = false;
  for (Record mac : filteredMacs(setting(key).text())) {
    RecordFault end = endOfMacs(mac);
    if (ended) checker.note(key, mac, {-1, "stands behind an empty record"}, kSkipped);
    if (!ended) checker.note(key, mac, end, kSkipped);
    if (mac.cut()) checker.note(key, mac, kTooLong, kCut);
    ended = ended || faulty(end);
  }
}

void checkWebFilters(Checker &checker) {
  for (const char *key : {"websURLFilters", "websHostFilters"}) {
    for (Record record : RuleList(setting(key).text())) {
      checker.note(key, record, webFilterFault(record), kSkipped);
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
  }
  const char *static_routes = "StaticRoutingRules";
  for (Record record : RuleList(setting(static_routes).text(), WanStaticRoute::kRecordSize)) {
    WanStaticRoute route(record);
    checker.note(static_routes, record, route.fault(), kSkipped);
    checker.note(static_routes, record, route.cut, kCut);
  }
  const char *policy_routes = "PolicyRoutingRules";
  for (Record record : RuleList(setting(policy_routes).text(), PolicyRule::kRecordSize)) {
    PolicyRule rule(record);
    checker.note(policy_routes, record, rule.fault(), kSkipped);
    checker.note(policy_routes, record, rule.cut, kCut);
  }
}

void checkForms(const sim::Device &device, Checker &checker) {
  for (const SettingForm &form : settingForms()) {
    std::optional<std::string> value = device.setting(form.key, form.space);
    if (!value || value->empty() || form.matches(*value)) continue;
    checker.findings.push_back({form.key, form.space, -1, -1, *value,
                                "is not " + std::string(form.words), "is read as it stands"});
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
