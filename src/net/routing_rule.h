// The records of RoutingRules, the routing page's list of static routes.
#ifndef ORBA_NET_ROUTING_RULE_H
#define ORBA_NET_ROUTING_RULE_H

#include "core/record_fault.h"
#include "core/rule_list.h"
#include "core/setting.h"

namespace orba {

struct RoutingRule {
  static constexpr size_t kLongestField = 31;

  explicit RoutingRule(const Record &record);

  Field<kLongestField + 1> destination;
  Field<kLongestField + 1> netmask;
  Field<kLongestField + 1> gateway;
  Field<kLongestField + 1> side;
  Field<kLongestField + 1> ifname;
  // Kept for the web pages.
  Field<kLongestField + 1> kind;
  Field<kLongestField + 1> comment;
  RecordFault cut;

  bool complete() const { return !comment.missing(); }
  bool isFor(const char *dest, const char *mask, const char *interface_name) const;
  bool hasGateway() const { return !gateway.empty() && !gateway.is("0.0.0.0"); }
  // Why the route is not installed.
  RecordFault fault(bool gateway_mode) const;
};

inline bool isHostMask(const char *netmask) {
  return same(netmask, "255.255.255.255");
}

inline RuleList routingRules() {
  return RuleList(setting("RoutingRules").text());
}

// The rule of a kernel route; false when there is none.
bool findRoutingRule(const char *dest, const char *mask, const char *ifname, Record &found);

}  // namespace orba

#endif
