#include "tools/show/doubts.h"

#include <arpa/inet.h>

#include <algorithm>
#include <optional>

#include "core/setting.h"
#include "firewall/ip_port_filter.h"
#include "firewall/ip_port_rule.h"
#include "firewall/port_forward_list.h"
#include "net/interface_name.h"
#include "net/policy_rule.h"
#include "net/routing_rule.h"
#include "net/wan_static_route.h"
#include "orba_util.h"
#include "tools/catalog/settings.h"
#include "tools/text/near_names.h"

namespace orba::tool {

namespace {

std::string textOf(const Record &record, int field) {
  Slice slice = {"", 0};
  record.field(field, slice);
  return std::string(slice.begin, slice.length);
}

// ---- names ----

}  // namespace

std::vector<Finding> misspeltSettings(const std::vector<nvram::Setting> &config) {
  std::vector<std::string> names;
  for (const SettingDescription &description : settingDescriptions()) {
    for (const auto &[key, example] : description.keysWithExamples()) names.push_back(key);
  }
  std::vector<Finding> findings;
  for (const auto &[space, key, value, line] : config) {
    // In another space than its own it may be the 5 GHz module's, which has the radio's names.
    if (std::find(names.begin(), names.end(), key) != names.end()) continue;
    const std::string meant = misspeltName(key, names);
    if (descriptionOf(key, space) != nullptr || meant.empty()) continue;
    findings.push_back({key, space, 0, 0, value, "is set, but the setting is called " + meant,
                        "is read by nobody"});
  }
  return findings;
}

namespace {

// ---- records ----

class Doubts {
 public:
  std::vector<Finding> findings;

  // About a field, from 0.
  void add(const char *key, const Record &record, int field, const std::string &reason,
           const std::string &effect) {
    findings.push_back(
        {key, kMainSpace, record.index() + 1, field + 1, textOf(record, field), reason, effect});
  }

  // Of a range whose first port is in `field`, from 0, and its last one behind it.
  void lookAtRange(const char *key, const Record &record, int field) {
    const int first = toNumber(textOf(record, field).c_str());
    const int last = toNumber(textOf(record, field + 1).c_str());
    if (first == 0 || last == 0 || first <= last) return;
    add(key, record, field + 1, "is below the first port, " + std::to_string(first),
        "makes a command that is refused");
  }
};

void lookAtFilters(Doubts &doubts) {
  const char *key = "IPPortFilterRules";
  constexpr int kSourcePort = 2, kDestinationPort = 6;
  for (Record record : RuleList(setting(key).text())) {
    IpPortFilter filter;
    if (faulty(readIpPortFilter(record, filter))) continue;
    const int protocol = toNumber(filter.protocol.text());
    if (protocol != kFilterTcp && protocol != kFilterUdp) continue;  // which have no ports here
    doubts.lookAtRange(key, record, kSourcePort);
    doubts.lookAtRange(key, record, kDestinationPort);
  }
}

const char *nameOf(int protocols) {
  static const char *const kNames[] = {"none", "TCP", "UDP", "TCP&UDP"};
  return kNames[protocols];
}

void lookAtForwards(Doubts &doubts) {
  const char *key = "PortForwardRules";
  int protocols = 0;
  for (Record record : RuleList(setting(key).text())) {
    const PortForward forward(record, protocols);
    if (faulty(forward.fault())) continue;
    protocols = forward.protocols;
    const std::string named = forward.ports.protocol.text();
    if (!named.empty() && named != "TCP" && named != "UDP" && named != "TCP&UDP") {
      doubts.add(key, record, 3, "is none of TCP, UDP and TCP&UDP",
                 std::string("stands for the protocol of the record before, ") + nameOf(protocols));
    }
    doubts.lookAtRange(key, record, 1);
  }
}

void lookAtPolicies(Doubts &doubts) {
  const char *key = "PolicyRoutingRules";
  constexpr int kProtocol = 4, kLargest = 255;
  for (Record record : RuleList(setting(key).text(), PolicyRule::kRecordSize)) {
    const PolicyRule rule(record);
    const std::string protocol = rule.protocol.text();
    if (faulty(rule.fault()) || protocol.empty() || protocol == "-1") continue;
    const bool is_number = protocol.find_first_not_of("0123456789") == std::string::npos;
    if (is_number && toNumber(protocol.c_str()) <= kLargest) continue;
    doubts.add(key, record, kProtocol, "is no protocol number from 0 to 255, and not -1",
               "counts as " + std::to_string(rule.protocol.number()));
  }
}

// ---- hosts ----

// The addresses behind a mask, in the host's byte order.
struct Network {
  uint32_t address = 0, mask = 0;

  // Nothing contains an address that is none.
  static std::optional<Network> of(const std::string &address, const std::string &mask) {
    in_addr its, its_mask;
    if (inet_aton(address.c_str(), &its) == 0) return std::nullopt;
    if (inet_aton(mask.empty() ? "255.255.255.255" : mask.c_str(), &its_mask) == 0)
      return std::nullopt;
    return Network{ntohl(its.s_addr) & ntohl(its_mask.s_addr), ntohl(its_mask.s_addr)};
  }
  bool contains(uint32_t host) const { return (host & mask) == address; }
  std::string text() const {
    char dotted[INET_ADDRSTRLEN];
    const in_addr its = {htonl(address)};
    return std::string(inet_ntop(AF_INET, &its, dotted, sizeof dotted)) + "/" +
           std::to_string(__builtin_popcount(mask));
  }
};

// What is reached without leaving by a WAN: the LAN first, and what a route of the LAN leads to.
std::vector<Network> insideNetworks() {
  std::vector<Network> inside;
  const std::string lan = getLanIfName();
  char address[16] = "", mask[16] = "";
  if (getIfIp(lan.c_str(), address) != 0 || getIfNetmask(lan.c_str(), mask) != 0) return inside;
  const auto add = [&](const std::string &its, const std::string &its_mask) {
    if (const std::optional<Network> network = Network::of(its, its_mask)) {
      inside.push_back(*network);
    }
  };
  add(address, mask);
  for (Record record : routingRules()) {
    const RoutingRule rule(record);
    if (rule.complete() && rule.ifname.is(lan.c_str())) {
      add(rule.destination.text(), rule.netmask.text());
    }
  }
  for (Record record :
       RuleList(setting("StaticRoutingRules").text(), WanStaticRoute::kRecordSize)) {
    const WanStaticRoute route(record);
    if (!faulty(route.fault()) && route.side.is("br0")) {
      add(route.destination.text(), route.netmask.text());
    }
  }
  return inside;
}

void lookAtHosts(Doubts &doubts) {
  const bool bridge = setting("OperationMode").is("0");
  const std::vector<Network> inside = insideNetworks();
  if (bridge || inside.empty()) return;
  const auto outside = [&](const std::string &host) {
    in_addr address;
    return inet_aton(host.c_str(), &address) != 0 &&
           std::none_of(inside.begin(), inside.end(),
                        [&](const Network &each) { return each.contains(ntohl(address.s_addr)); });
  };
  const std::string reason = "is not in the LAN, " + inside.front().text() + " here";
  constexpr char kSentOut[] = "is sent to where the default route leads";
  int protocols = 0;
  for (Record record : RuleList(setting("PortForwardRules").text())) {
    const PortForward forward(record, protocols);
    if (faulty(forward.fault())) continue;
    protocols = forward.protocols;
    if (outside(forward.lan_address.text())) {
      doubts.add("PortForwardRules", record, PortForward::kAddress, reason, kSentOut);
    }
  }
  if (setting("DMZEnable").number() != 1) return;
  const std::string host = setting("DMZAddress").text();
  const auto ofDmz = [&](const std::string &why, const char *effect) {
    doubts.findings.push_back({"DMZAddress", kMainSpace, 0, 0, host, why, effect});
  };
  char own[16] = "";
  getIfIp(getLanIfName(), own);
  if (host.empty()) ofDmz("is no host, and DMZEnable is 1", "leaves the DMZ without one");
  if (outside(host)) ofDmz(reason, kSentOut);
  if (host == own) ofDmz("is the router's own address", "gets the router what is for the DMZ host");
}

// ---- where routes lead ----

bool isWan(int wan) {
  InterfaceName name;
  wanInterface(wan, name);
  return !name.empty();
}

// Whether the settings give the router an interface of this name.
bool isInterface(const std::string &name) {
  bool known = name == getLanIfName();
  for (int wan = 1; wan <= kWans; wan++) {
    InterfaceName its, device;
    wanInterface(wan, its);
    wanDevice(wan, device);
    known = known || its.is(name.c_str()) || device.is(name.c_str());
  }
  return known;
}

constexpr char kRefused[] = "makes a command that is refused";

// A gateway of the LAN is one of its hosts. What WANs have for addresses only they know.
void lookAtGateway(Doubts &doubts, const char *key, const Record &record, int field,
                   const std::string &interface, const Network &lan) {
  const std::string gateway = textOf(record, field);
  in_addr address;
  const bool given = inet_aton(gateway.c_str(), &address) != 0 && address.s_addr != 0;
  if (interface != getLanIfName() || !given || lan.contains(ntohl(address.s_addr))) return;
  doubts.add(key, record, field, "is not in the LAN, " + lan.text() + " here", kRefused);
}

void lookAtRoutes(Doubts &doubts, const Network &lan) {
  constexpr int kGateway = 2, kInterface = 4;
  const bool gateway_mode = setting("OperationMode").is("1");
  for (Record record : routingRules()) {
    const RoutingRule rule(record);
    const std::string interface = rule.ifname.text();
    if (faulty(rule.fault(gateway_mode)) || interface.empty()) continue;
    lookAtGateway(doubts, "RoutingRules", record, kGateway, interface, lan);
    if (isInterface(interface)) continue;
    doubts.add("RoutingRules", record, kInterface,
               "is the interface neither of the LAN nor of a WAN",
               "makes a route only where the device has another of this name");
  }
  constexpr int kWanGateway = 4, kSide = 5;
  for (Record record :
       RuleList(setting("StaticRoutingRules").text(), WanStaticRoute::kRecordSize)) {
    const WanStaticRoute route(record);
    if (faulty(route.fault())) continue;
    const bool inward = route.side.is("br0");
    if (inward) lookAtGateway(doubts, "StaticRoutingRules", record, kWanGateway, "br0", lan);
    if (inward || isWan(std::max(1, route.side.number()))) continue;
    doubts.add("StaticRoutingRules", record, kSide, "is a WAN that has no interface", kRefused);
  }
}

// A policy that leads nowhere leaves its packets to the main table.
void lookAtSides(Doubts &doubts) {
  constexpr int kSide = 5;
  static const char *const kSides[] = {"WAN", "WAN2", "WAN3", "WAN4"};
  for (Record record : RuleList(setting("PolicyRoutingRules").text(), PolicyRule::kRecordSize)) {
    const PolicyRule rule(record);
    if (faulty(rule.fault())) continue;
    const auto *side = std::find_if(std::begin(kSides), std::end(kSides),
                                    [&](const char *each) { return rule.side.is(each); });
    if (side == std::end(kSides)) {
      doubts.add("PolicyRoutingRules", record, kSide, "is no WAN, and means the LAN",
                 "makes a route that is refused");
    } else if (!isWan(static_cast<int>(side - kSides) + 1)) {
      doubts.add("PolicyRoutingRules", record, kSide, "is a WAN that has no interface",
                 "makes a route that is refused");
    }
  }
}

}  // namespace

std::vector<Finding> doubtsAboutRecords() {
  Doubts doubts;
  lookAtFilters(doubts);
  lookAtForwards(doubts);
  lookAtPolicies(doubts);
  lookAtHosts(doubts);
  if (const std::vector<Network> inside = insideNetworks(); !inside.empty()) {
    lookAtRoutes(doubts, inside.front());
    lookAtSides(doubts);
  }
  return doubts.findings;
}

}  // namespace orba::tool
