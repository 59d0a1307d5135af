#include "packets/network.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "packets/packet.h"
#include "packets/values.h"

namespace packets {

namespace {

using Words = std::vector<std::string>;

// Longest prefix first; `newest` goes before those of its length that are there.
void insert(std::vector<Route> &table, const Route &route) {
  auto place = std::find_if(table.begin(), table.end(),
                            [&](const Route &each) { return each.prefix <= route.prefix; });
  table.insert(place, route);
}

// An address as route(8) reads it: "10.1" is 10.0.0.1, and a byte that begins with 0 is octal.
bool readShort(const std::string &text, uint64_t &address) {
  in_addr read;
  if (inet_aton(text.c_str(), &read) == 0) return false;
  address = ntohl(read.s_addr);
  return true;
}

// The number of a mask's ones when they stand in front, nothing otherwise.
std::optional<int> prefixOf(const std::string &text) {
  uint64_t mask;
  if (!readShort(text, mask)) return std::nullopt;
  const int ones = __builtin_popcountll(mask);
  if (mask != maskOf(ones)) return std::nullopt;
  return ones;
}

bool readUnsigned(const std::string &text, uint32_t &number) {
  char *end;
  number = static_cast<uint32_t>(strtoul(text.c_str(), &end, 0));
  return !text.empty() && *end == '\0';
}

}  // namespace

uint64_t maskOf(int prefix) {
  return prefix == 0 ? 0 : 0xffffffffull << (32 - prefix) & 0xffffffffull;
}

bool Route::contains(uint64_t address) const {
  return ((destination ^ address) & maskOf(prefix)) == 0;
}

Interface &Network::add(Interface interface) {
  interfaces.push_back(std::move(interface));
  return interfaces.back();
}

Interface *Network::find(const std::string &name) {
  return const_cast<Interface *>(std::as_const(*this).find(name));
}

const Interface *Network::find(const std::string &name) const {
  const uint64_t place = number(name);
  return place == kNoInterface ? nullptr : &interfaces[place];
}

uint64_t Network::number(const std::string &name) const {
  for (size_t i = 0; i < interfaces.size(); i++) {
    if (interfaces[i].name == name) return i;
  }
  return kNoInterface;
}

bool Network::isBridge(const std::string &name) const {
  return std::find(bridges.begin(), bridges.end(), name) != bridges.end();
}

// What addresses bring with them: themselves, the last one of their network for all of its
// hosts, and the network.
std::vector<Route> Network::ownRoutes() const {
  std::vector<Route> routes;
  for (const Interface &interface : interfaces) {
    for (const Address &address : interface.addresses) {
      const uint64_t network = address.address & maskOf(address.prefix);
      if (interface.name == "lo") {
        routes.push_back({Route::kLocal, network, address.prefix, {}, interface.name});
        continue;
      }
      routes.push_back({Route::kLocal, address.address, 32, {}, interface.name});
      if (address.prefix < 31 && interface.up) {
        const uint64_t last = network | (~maskOf(address.prefix) & 0xffffffffull);
        routes.push_back({Route::kBroadcast, last, 32, {}, interface.name});
      }
    }
  }
  return routes;
}

std::vector<Route> Network::routesFor(uint32_t mark) const {
  std::vector<Route> routes = ownRoutes();
  for (Route &own : routes) own.table = "local";
  auto append = [&](const std::string &name, const std::vector<Route> &table) {
    for (const Route &route : table) {
      const Interface *interface = find(route.device);
      if (interface == nullptr || !interface->up) continue;
      routes.push_back(route);
      routes.back().table = name;
    }
  };
  for (const RoutingRule &rule : rules) {
    auto table = tables.find(rule.table);
    if (((rule.mark ^ mark) & rule.mask) == 0 && table != tables.end())
      append(rule.table, table->second);
  }
  // The networks of the interfaces stand in the same table as the routes that were added, of one
  // length behind them; of two interfaces in one network the first is taken.
  std::vector<Route> main;
  for (auto interface = interfaces.rbegin(); interface != interfaces.rend(); ++interface) {
    if (interface->name == "lo") continue;
    for (const Address &address : interface->addresses) {
      if (address.prefix == 32) continue;
      insert(main, {Route::kUnicast,
                    address.address & maskOf(address.prefix),
                    address.prefix,
                    {},
                    interface->name});
    }
  }
  auto added = tables.find("main");
  if (added != tables.end()) {
    for (auto route = added->second.rbegin(); route != added->second.rend(); ++route) {
      insert(main, *route);
    }
  }
  append("main", main);
  return routes;
}

std::optional<Route> Network::route(uint64_t destination, uint32_t mark) const {
  for (const Route &route : routesFor(mark)) {
    if (route.contains(destination)) return route;
  }
  return std::nullopt;
}

Refused Network::run(const Words &words, size_t command) {
  const std::string &program = words[0];
  if (program == "brctl") return runBrctl(words);
  if (program == "route") return runRoute(words, command);
  if (program == "ip") return runIp(words, command);
  // ifconfig: only whether an interface is up matters here.
  if (words.size() != 3 || (words[2] != "up" && words[2] != "down")) {
    return "this form of ifconfig is not known";
  }
  Interface *interface = find(words[1]);
  if (interface == nullptr) return words[1] + ": no such interface";
  interface->up = words[2] == "up";
  if (!interface->up) {  // its routes do not come back with it
    for (auto &[name, table] : tables) {
      std::erase_if(table, [&](const Route &route) { return route.device == words[1]; });
    }
  }
  return std::nullopt;
}

Refused Network::runBrctl(const Words &words) {
  if (words.size() == 3 && words[1] == "addbr") {
    if (find(words[2]) != nullptr) return words[2] + " is there already";
    add({.name = words[2], .up = false});
    bridges.push_back(words[2]);
    return std::nullopt;
  }
  if (words.size() != 4) return "this form of brctl is not known";
  const std::string &bridge = words[2];
  Interface *port = find(words[3]);
  if (!isBridge(bridge)) return bridge + " is no bridge";
  if (port == nullptr) return words[3] + ": no such interface";
  if (words[1] == "addif") {
    if (!port->bridge.empty()) return words[3] + " is a port of " + port->bridge + " already";
    if (isBridge(words[3])) return "a bridge cannot be a port";
    port->bridge = bridge;
  } else if (words[1] == "delif") {
    if (port->bridge != bridge) return words[3] + " is no port of " + bridge;
    port->bridge.clear();
  } else {
    return "this form of brctl is not known";
  }
  return std::nullopt;
}

bool Network::onLink(uint64_t host, const std::string &device) const {
  const Interface *interface = find(device);
  return interface != nullptr &&
         std::any_of(interface->addresses.begin(), interface->addresses.end(),
                     [&](const Address &address) {
                       return ((address.address ^ host) & maskOf(address.prefix)) == 0;
                     });
}

Refused Network::fits(const Route &route) const {
  const Interface *interface = find(route.device);
  if (interface == nullptr) return route.device + ": no such interface";
  if (!interface->up) return route.device + " is down";
  if (route.gateway && !onLink(*route.gateway, route.device)) {
    return "the gateway " + addressText(*route.gateway) + " is not behind " + route.device;
  }
  return std::nullopt;
}

// route add|del|delete [-net|-host] DESTINATION [netmask MASK] [gw GATEWAY] [dev INTERFACE]
Refused Network::runRoute(const Words &words, size_t command) {
  Route route = {.prefix = 32, .command = command};
  if (words.size() < 3) return "this form of route is not known";
  const bool add = words[1] == "add";
  if (!add && words[1] != "del" && words[1] != "delete") return "this form of route is not known";
  size_t next = words[2] == "-net" || words[2] == "-host" ? 3 : 2;
  if (next >= words.size() || !readShort(words[next], route.destination)) {
    return (next < words.size() ? words[next] : "nothing") + " is no address";
  }
  for (next++; next < words.size(); next += 2) {
    if (next + 1 >= words.size()) return words[next] + " has no value";
    const std::string &value = words[next + 1];
    if (words[next] == "netmask") {
      std::optional<int> prefix = prefixOf(value);
      if (!prefix) return value + " is no netmask";
      route.prefix = *prefix;
    } else if (words[next] == "gw") {
      uint64_t gateway;
      if (!readShort(value, gateway)) return value + " is no address";
      route.gateway = gateway;
    } else if (words[next] == "dev") {
      route.device = value;
    } else {
      return words[next] + " is not known";
    }
  }
  if ((route.destination & ~maskOf(route.prefix)) != 0) {
    return addressText(route.destination) + " has bits behind its netmask";
  }
  std::vector<Route> &table = tables["main"];
  auto same = [&](const Route &each) {
    return each.destination == route.destination && each.prefix == route.prefix &&
           (route.device.empty() || each.device == route.device) &&
           (!route.gateway || each.gateway == route.gateway);
  };
  auto found = std::find_if(table.begin(), table.end(), same);
  if (!add) {
    if (found == table.end()) return "there is no such route";
    table.erase(found);
    return std::nullopt;
  }
  if (Refused why = fits(route)) return why;
  if (found != table.end() && found->gateway == route.gateway) return "it is there already";
  insert(table, route);
  return std::nullopt;
}

// ip rule add|del fwmark MARK/MASK prio N table TABLE
// ip route add|replace|del default via GATEWAY dev INTERFACE table TABLE
Refused Network::runIp(const Words &words, size_t command) {
  const std::string kind = words.size() > 2 ? words[1] : "";
  if (kind != "rule" && kind != "route") return "this form of ip is not known";
  const std::string &action = words[2];
  RoutingRule rule = {.command = command};
  Route route = {.command = command};
  std::string name = "main";
  for (size_t next = 3; next < words.size();) {
    const std::string &word = words[next++];
    if (kind == "route" && word == "default") continue;
    if (next >= words.size()) return word + " has no value";
    const std::string &value = words[next++];
    if (word == "table") {
      name = value;
    } else if (word == "prio") {
      if (!readUnsigned(value, rule.priority)) return value + " is no priority";
    } else if (word == "fwmark") {
      const size_t slash = value.find('/');
      rule.mask = 0xffffffff;
      if (!readUnsigned(value.substr(0, slash), rule.mark) ||
          (slash != std::string::npos && !readUnsigned(value.substr(slash + 1), rule.mask))) {
        return value + " is no mark";
      }
    } else if (word == "via") {
      uint64_t gateway;
      if (Refused why = readHost(value, gateway)) return why;
      if (gateway != 0) route.gateway = gateway;  // 0.0.0.0: every host is behind the interface
    } else if (word == "dev") {
      route.device = value;
    } else {
      return word + " is not known";
    }
  }
  if (kind == "rule") {
    rule.table = name;
    auto found = std::find_if(rules.begin(), rules.end(), [&](const RoutingRule &each) {
      return each.priority == rule.priority && each.mark == rule.mark && each.mask == rule.mask &&
             each.table == rule.table;
    });
    if (action == "del") {
      if (found == rules.end()) return "there is no such rule";
      rules.erase(found);
      return std::nullopt;
    }
    if (found != rules.end()) return "it is there already";
    rules.insert(std::upper_bound(rules.begin(), rules.end(), rule,
                                  [](const RoutingRule &one, const RoutingRule &other) {
                                    return one.priority < other.priority;
                                  }),
                 rule);
    return std::nullopt;
  }
  std::vector<Route> &table = tables[name];
  auto found =
      std::find_if(table.begin(), table.end(), [](const Route &each) { return each.prefix == 0; });
  if (action == "del") {
    while (found != table.end() && (found->prefix != 0 || found->device != route.device ||
                                    (route.gateway && found->gateway != route.gateway))) {
      ++found;
    }
    if (found == table.end()) return "there is no such route";
    table.erase(found);
    return std::nullopt;
  }
  if (Refused why = fits(route)) return why;
  if (found != table.end()) {
    if (action == "add") return "there is a default route already";
    table.erase(found);
  }
  insert(table, route);
  return std::nullopt;
}

}  // namespace packets
