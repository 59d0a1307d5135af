// The records of RoutingRules, the routing page's list of static routes.
#ifndef ORBA_NET_ROUTING_RULE_H
#define ORBA_NET_ROUTING_RULE_H

#include "core/record_fault.h"
#include "core/rule_list.h"
#include "core/setting.h"

#pragma GCC visibility push(hidden)
namespace orba {

struct RoutingRule {
  explicit RoutingRule(const Record &record);
  // Into memory that is there. Its own: a debug build would export the general one.
  static void *operator new(size_t, void *place) { return place; }

  Field<32> destination;
  Field<32> netmask;
  Field<32> gateway;
  Field<32> side;
  Field<32> ifname;
  // Kept for the web pages.
  Field<32> kind;
  Field<32> comment;
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
#pragma GCC visibility pop

#endif
