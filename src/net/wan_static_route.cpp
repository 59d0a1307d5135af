#include "net/wan_static_route.h"

#include "core/shell_word.h"
#include "net/interface_name.h"
#include "net/record_cut.h"
#include "orba_util.h"

namespace orba {

namespace {

void install(const WanStaticRoute &route) {
  InterfaceName ifname;
  Text<32> gateway(route.gateway.text());
  if (route.side.is("br0")) {
    ifname.append("br0");
    if (gateway.empty()) gateway.append("0.0.0.0");
  } else {
    int wan = route.side.number();
    wanInterface(wan < 2 ? 1 : wan, ifname);
    if (gateway.empty()) {
      gateway.fill([&](char *space, size_t) { return getGateway(ifname.text(), space); });
    }
  }
  doAddStaticRoute(route.destination.text(), route.netmask.text(), gateway.text(), ifname.text(),
                   1);
}

}  // namespace

WanStaticRoute::WanStaticRoute(const Record &record)
    : enabled(record, 0),
      name(record, 1),
      destination(record, 2),
      netmask(record, 3),
      gateway(record, 4),
      side(record, 5),
      cut(cutOf(record, {&enabled, &name, &destination, &netmask, &gateway, &side})) {}

RecordFault WanStaticRoute::fault() const {
  if (enabled.number() == 0) return {0, "does not switch the route on"};
  if (side.missing()) return {-1, "has fewer than 6 fields"};
  return kNoFault;
}

}  // namespace orba

int executeStaticRoute(void) {
  orba::Setting rules = orba::setting("StaticRoutingRules");
  if (rules.empty()) return 0;
  for (orba::Record record : orba::RuleList(rules.text(), orba::WanStaticRoute::kRecordSize)) {
    orba::WanStaticRoute route(record);
    if (!orba::faulty(route.fault())) orba::install(route);
  }
  return 2;
}

// A full mask makes no host route here, and an empty gateway stays in the line
// for `route` to reject.
int doAddStaticRoute(const char *dest, const char *netmask, const char *gateway, const char *ifname,
                     int add) {
  const char *verb = add != 0 ? "add" : "del";
  orba::ShellWord destination(dest);
  orba::ShellWord mask(*netmask != '\0' ? netmask : "255.255.255.255");
  orba::ShellWord router(gateway);
  orba::ShellWord device(ifname);
  if (orba::same(gateway, "0.0.0.0")) {
    doSystem("route %s -net %s  netmask %s dev %s", verb, destination.text(), mask.text(),
             device.text());
  } else {
    doSystem("route %s -net %s  netmask %s gw %s dev %s", verb, destination.text(), mask.text(),
             router.text(), device.text());
  }
  return 0;
}
