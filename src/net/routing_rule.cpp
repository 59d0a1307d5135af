#include "net/routing_rule.h"

#include "net/record_cut.h"
#include "orba_util.h"

namespace orba {

RoutingRule::RoutingRule(const Record &record)
    : destination(record, 0),
      netmask(record, 1),
      gateway(record, 2),
      side(record, 3),
      ifname(record, 4),
      kind(record, 5),
      comment(record, 6),
      cut(cutOf(record, {&destination, &netmask, &gateway, &side, &ifname, &kind, &comment})) {}

// A record too short to be installed can still name a route.
bool RoutingRule::isFor(const char *dest, const char *mask, const char *interface_name) const {
  return !ifname.missing() && destination.is(dest) && netmask.is(mask) && ifname.is(interface_name);
}

RecordFault RoutingRule::fault(bool gateway_mode) const {
  if (!complete()) return {-1, "has fewer than 7 fields"};
  if (side.is("WAN") && !gateway_mode) return {3, "is the WAN, but the device is no gateway"};
  return kNoFault;
}

bool findRoutingRule(const char *dest, const char *mask, const char *ifname, Record &found) {
  for (Record record : routingRules()) {
    if (!RoutingRule(record).isFor(dest, mask, ifname)) continue;
    found = record;
    return true;
  }
  return false;
}

}  // namespace orba

int getIndexOfRoutingRule(char *dest, char *netmask, char *ifname) {
  orba::Record found({nullptr, 0}, -1);
  orba::findRoutingRule(dest, netmask, ifname, found);
  return found.index();
}
