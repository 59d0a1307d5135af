// A router's interfaces, addresses, bridges and routes.
#ifndef ORBA_PACKETS_NETWORK_H
#define ORBA_PACKETS_NETWORK_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace packets {

struct Address {
  uint64_t address = 0;
  int prefix = 32;
};

uint64_t maskOf(int prefix);  // of an address

struct Interface {
  std::string name;
  uint64_t mac = 0;
  std::vector<Address> addresses = {};
  std::string bridge = {};  // the one that it is a port of, or empty
  bool up = true;
  uint64_t mtu = 1500;     // bytes of an IP packet
  std::string below = {};  // whose frames carry its packets, for a PPPoE session, or empty
};

struct Route {
  enum Kind { kUnicast, kLocal, kBroadcast };
  Kind kind = kUnicast;
  uint64_t destination = 0;
  int prefix = 0;
  std::optional<uint64_t> gateway = {};
  std::string device = {};
  size_t command = kNoCommand;  // that added it
  std::string table = {};       // of Network::routesFor: "local", "main", or that of a rule

  static constexpr size_t kNoCommand = SIZE_MAX;

  bool contains(uint64_t address) const;
};

struct RoutingRule {
  uint32_t priority = 0;
  uint32_t mark = 0, mask = 0;
  std::string table = {};
  size_t command = Route::kNoCommand;
};

// Why a command was refused, nothing when it was carried out.
using Refused = std::optional<std::string>;

class Network {
 public:
  // In the order of the field kIn. `lo` is always the first.
  std::vector<Interface> interfaces = {{.name = "lo", .addresses = {{0x7f000001, 8}}}};
  std::vector<std::string> bridges;
  // By table; those of addresses stand in no table. The longest prefix goes first, of equal
  // ones the one added last.
  std::map<std::string, std::vector<Route>> tables;
  // In ascending order of priority; behind them comes the table "main".
  std::vector<RoutingRule> rules;

  Interface &add(Interface interface);
  // Null for none.
  Interface *find(const std::string &name);
  const Interface *find(const std::string &name) const;
  // Its place in `interfaces`, kNoInterface for none.
  uint64_t number(const std::string &name) const;
  bool isBridge(const std::string &name) const;

  // The routes in the order in which a packet with this mark is held against them: addresses
  // of the router and broadcasts first, then the tables that the rules lead to, each with the
  // longest prefix first. The first that contains the destination is taken.
  std::vector<Route> routesFor(uint32_t mark) const;
  // The route of a destination, nothing when there is none.
  std::optional<Route> route(uint64_t destination, uint32_t mark) const;
  // Whether a host is reached by a device without a gateway.
  bool onLink(uint64_t host, const std::string &device) const;

  // Carries out a `brctl`, `ip`, `route` or `ifconfig` command.
  Refused run(const std::vector<std::string> &words, size_t command);

 private:
  Refused runIp(const std::vector<std::string> &words, size_t command);
  Refused runRoute(const std::vector<std::string> &words, size_t command);
  Refused runBrctl(const std::vector<std::string> &words);
  Refused fits(const Route &route) const;
  std::vector<Route> ownRoutes() const;
};

}  // namespace packets

#endif
