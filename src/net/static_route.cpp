// The static routes of the routing page, from RoutingRules.
#include <cstdlib>

#include "core/command.h"
#include "core/shell_word.h"
#include "net/route_file.h"
#include "net/routing_rule.h"

namespace orba {

namespace {

using Command = Text<kCommandSize>;

void deleteRoute(const char *destination, const char *netmask, const char *ifname) {
  ShellWord device(ifname);
  if (isHostMask(netmask)) {
    doSystem("route del -host %s  dev %s ", destination, device.text());
  } else {
    doSystem("route del -net %s  netmask %s dev %s ", destination, netmask, device.text());
  }
}

void writeAddCommand(const RoutingRule &rule, Command &command) {
  ShellWord destination(rule.destination.text());
  ShellWord netmask(rule.netmask.text());
  ShellWord gateway(rule.gateway.text());
  ShellWord device(rule.ifname.text());
  bool host = isHostMask(rule.netmask.text());
  if (host && rule.hasGateway()) {
    command.format("route add -host %s  gw %s dev %s 2>&1 ", destination.text(), gateway.text(),
                   device.text());
  } else if (host) {
    command.format("route add -host %s  dev %s 2>&1 ", destination.text(), device.text());
  } else if (rule.hasGateway()) {
    command.format("route add -net %s  netmask %s gw %s dev %s 2>&1 ", destination.text(),
                   netmask.text(), gateway.text(), device.text());
  } else {
    command.format("route add -net %s  netmask %s dev %s 2>&1 ", destination.text(), netmask.text(),
                   device.text());
  }
}

// The routes that the rules name, read once for all routes of the kernel.
class NamedRoutes {
 public:
  explicit NamedRoutes(const RuleList &rules) {
    for (Record rule : rules) count_ = rule.index() + 1;
    routes_ = static_cast<Named *>(calloc(static_cast<size_t>(count_), sizeof(Named)));
    if (routes_ == nullptr) return;
    for (Record rule : rules) {
      constexpr int kFields[] = {0, 1, 4};
      for (int i = 0; i < 3; i++) readField(rule, kFields[i], routes_[rule.index()].parts[i]);
    }
  }
  NamedRoutes(const NamedRoutes &) = delete;
  NamedRoutes &operator=(const NamedRoutes &) = delete;
  ~NamedRoutes() { free(routes_); }

  bool have(const char *destination, const char *netmask, const char *ifname) const {
    Record unused({nullptr, 0}, -1);
    if (routes_ == nullptr) return findRoutingRule(destination, netmask, ifname, unused);
    for (int i = 0; i < count_; i++) {
      const Slice *parts = routes_[i].parts;
      if (parts[0].is(destination) && parts[1].is(netmask) && parts[2].is(ifname)) return true;
    }
    return false;
  }

 private:
  // Destination, netmask and interface. No route of the kernel has one that is empty.
  struct Named {
    Slice parts[3];
  };

  static void readField(const Record &rule, int field, Slice &part) {
    rule.field(field, part);
    if (part.length > RoutingRule::kLongestField) part.length = RoutingRule::kLongestField;
  }

  int count_ = 0;
  Named *routes_;
};

// Takes the configured routes out of the kernel, so that adding them again
// leaves each of them once. False when the kernel's table cannot be read.
bool deleteConfiguredRoutes() {
  RouteFile routes;
  if (!routes) return false;
  NamedRoutes named(routingRules());
  Route route;
  while (routes.next(route)) {
    DottedAddress destination(route.destination);
    DottedAddress netmask(route.mask);
    if (named.have(destination.text(), netmask.text(), route.ifname)) {
      deleteRoute(destination.text(), netmask.text(), route.ifname);
    }
  }
  if (routes.malformed()) printf("format error\n");
  return !routes.malformed();
}

void addConfiguredRoutes(bool gateway_mode) {
  for (Record record : routingRules()) {
    RoutingRule rule(record);
    if (!rule.complete()) continue;
    Command command;
    writeAddCommand(rule, command);
    if (faulty(rule.fault(gateway_mode))) {
      printf("Skip WAN routing rule in the non-Gateway mode: %s\n", command.text());
    } else {
      doSystem("%s", command.text());
    }
  }
}

}  // namespace

}  // namespace orba

int staticRoutingInit(void) {
  bool gateway_mode = orba::setting("OperationMode").is("1");
  if (orba::deleteConfiguredRoutes()) orba::addConfiguredRoutes(gateway_mode);
  return 0;
}

int RoutingInit(void) {
  return staticRoutingInit();
}
