// The static routes of the routing page, from RoutingRules.
#include <cstdlib>
#include <new>

#include "core/command.h"
#include "core/shell_word.h"
#include "net/route_file.h"
#include "net/routing_rule.h"
#include "orba_util.h"

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

// The rules, taken apart once for all routes of the kernel.
class ReadRules {
 public:
  explicit ReadRules(const char *list)
      : rules_(static_cast<RoutingRule *>(
            malloc(static_cast<size_t>(getNums(list, ';')) * sizeof(RoutingRule)))) {
    if (rules_ == nullptr) return;
    for (Record record : RuleList(list)) new (rules_ + count_++) RoutingRule(record);
  }
  ReadRules(const ReadRules &) = delete;
  ReadRules &operator=(const ReadRules &) = delete;
  ~ReadRules() { free(rules_); }

  bool haveOneFor(const char *destination, const char *netmask, const char *ifname) const {
    Record unused({nullptr, 0}, -1);
    if (rules_ == nullptr) return findRoutingRule(destination, netmask, ifname, unused);
    const RoutingRule *rule = rules_;
    while (rule != rules_ + count_ && !rule->isFor(destination, netmask, ifname)) rule++;
    return rule != rules_ + count_;
  }

 private:
  RoutingRule *rules_;
  int count_ = 0;
};

// Takes the configured routes out of the kernel, so that adding them again
// leaves each of them once. False when the kernel's table cannot be read.
bool deleteConfiguredRoutes() {
  RouteFile routes;
  if (!routes) return false;
  ReadRules rules(setting("RoutingRules").text());
  Route route;
  while (routes.next(route)) {
    DottedAddress destination(route.destination);
    DottedAddress netmask(route.mask);
    if (rules.haveOneFor(destination.text(), netmask.text(), route.ifname)) {
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
