#include "tools/traffic/side_ways.h"

#include <stdexcept>

#include "tools/catalog/entry_point.h"
#include "tools/traffic/trace.h"

namespace orba::tool {

using namespace packets;

namespace {

constexpr uint64_t kIpv4 = 0x0800;
constexpr uint64_t kEchoRequest = 8;
constexpr uint64_t kGre = 47;
// A host of the Internet: of a network that is kept for examples.
constexpr uint64_t kSomebody = 0xc6336464;  // 198.51.100.100
constexpr uint64_t kHostOfLan = 100;        // of its network

Condition is(FieldId field, uint64_t value) {
  return {field, IntervalSet::one(value)};
}

uint64_t restOf(const Address &address) {
  return 0xffffffffull >> address.prefix;
}

// What no host is sent from: "here", loopback, groups and everybody.
IntervalSet nobodies() {
  IntervalSet addresses = IntervalSet::range(0, 0x00ffffff);
  addresses.add({0x7f000000, 0x7fffffff});
  addresses.add({0xe0000000, 0xffffffff});
  return addresses;
}

// To what the Internet knows no way: RFC 1918, RFC 3927 and RFC 6598.
IntervalSet privates() {
  IntervalSet addresses = nobodies();
  for (const Interval &each : {Interval{0x0a000000, 0x0affffff}, Interval{0x64400000, 0x647fffff},
                               Interval{0xa9fe0000, 0xa9feffff}, Interval{0xac100000, 0xac1fffff},
                               Interval{0xc0a80000, 0xc0a8ffff}}) {
    addresses.add(each);
  }
  return addresses;
}

}  // namespace

bool isWan(const std::string &side) {
  return side.rfind("wan", 0) == 0;
}

SideWays::SideWays(const DeskRouter &desk, Diagrams &diagrams)
    : desk_(desk), diagrams_(diagrams), chains_(desk.router, diagrams, Deciders::kTold) {}

const Side &SideWays::side(const std::string &name) const {
  if (const Side *side = desk_.side(name)) return *side;
  std::string known;
  for (const Side &side : desk_.sides) known += (known.empty() ? "" : ", ") + side.name;
  throw BadArgument("there is no side '" + name + "'; there are " + known);
}

Ways &SideWays::from(const Side &side) {
  std::unique_ptr<Ways> &ways = ways_[side.interface];
  if (!ways) {
    ways = std::make_unique<Ways>(chains_, desk_.router.network().number(side.interface));
  }
  return *ways;
}

const packets::Interface &SideWays::own(const Side &side) const {
  const Network &network = desk_.router.network();
  const packets::Interface &port = *network.find(side.interface);
  return port.bridge.empty() ? port : *network.find(port.bridge);
}

std::string SideWays::targetOf(uint64_t out) const {
  const Network &network = desk_.router.network();
  for (const Side &side : desk_.sides) {
    if (network.number(own(side).name) == out) return side.name;
  }
  return network.interfaces[out].name;
}

std::string SideWays::targetOf(const Side &side) const {
  return targetOf(desk_.router.network().number(own(side).name));
}

SideWays::Node SideWays::beginnings(const Side &side) {
  const auto [found, fresh] = beginnings_.try_emplace(side.name, Diagrams::kNone);
  if (!fresh) return found->second;
  const Network &network = desk_.router.network();
  const packets::Interface &own = this->own(side);
  Conditions conditions = {is(kBridgePort, network.number(side.interface)), is(kEtherType, kIpv4),
                           is(kState, kNew), is(kMark, 0), is(kDestinationMac, own.mac)};
  if (!isWan(side.name) && !own.addresses.empty()) {
    // Its network, and those behind routers of its own.
    IntervalSet hosts = routed([&](const Route &route) {
      return route.kind == Route::kUnicast && route.prefix > 0 && route.device == own.name;
    });
    conditions.push_back({kSource, hosts.intersection(noHosts().complement(largestOf(kSource)))});
  }
  // Fields that a protocol has not are 0.
  auto with = [&](Conditions more) {
    more.insert(more.end(), conditions.begin(), conditions.end());
    return diagrams_.set(more);
  };
  const Node tcp = with({is(kProtocol, kTcp), is(kTcpFlags, kSyn), is(kIcmpType, 0)});
  const Node udp = with({is(kProtocol, kUdp), is(kTcpFlags, 0), is(kIcmpType, 0)});
  const Node ping = with({is(kProtocol, kIcmp), is(kTcpFlags, 0), is(kIcmpType, kEchoRequest),
                          is(kSourcePort, 0), is(kDestinationPort, 0)});
  IntervalSet known;
  for (uint64_t each : {kIcmp, kTcp, kUdp}) known.add({each, each});
  const Node others = with({{kProtocol, known.complement(largestOf(kProtocol))},
                            is(kTcpFlags, 0),
                            is(kIcmpType, 0),
                            is(kSourcePort, 0),
                            is(kDestinationPort, 0)});
  const Node made = diagrams_.either(diagrams_.either(tcp, udp), diagrams_.either(ping, others));
  return beginnings_[side.name] = made;
}

IntervalSet SideWays::noHosts() const {
  IntervalSet none = nobodies();
  for (const packets::Interface &interface : desk_.router.network().interfaces) {
    for (const Address &each : interface.addresses) {
      if (each.prefix > 30) continue;
      const uint64_t first = each.address & ~restOf(each);
      none.add({first, first});
      none.add({first | restOf(each), first | restOf(each)});
    }
  }
  return none;
}

IntervalSet SideWays::hostsOf(const Side &side) const {
  const Network &network = desk_.router.network();
  const std::string target = targetOf(side);
  return routed([&](const Route &route) {
           return route.kind == Route::kUnicast && targetOf(network.number(route.device)) == target;
         })
      .intersection(noHosts().complement(largestOf(kDestination)));
}

IntervalSet SideWays::routed(const std::function<bool(const Route &)> &wanted) const {
  // The first route that contains an address is its route.
  IntervalSet found, known;
  for (const Route &route : desk_.router.network().routesFor(0)) {
    const uint64_t rest = restOf({route.destination, route.prefix});
    const uint64_t first = route.destination & ~rest;
    const IntervalSet these =
        IntervalSet::range(first, first | rest).intersection(known.complement(largestOf(kSource)));
    for (const Interval &each : these.intervals()) {
      if (wanted(route)) found.add(each);
      known.add(each);
    }
  }
  return found;
}

IntervalSet SideWays::outside(const Side &side) const {
  const std::string &own = this->own(side).name;
  // Without a route back packets come in as well.
  return routed([&](const Route &route) {
           const uint64_t device = desk_.router.network().number(route.device);
           return route.kind != Route::kUnicast ||
                  (route.device != own && !isWan(targetOf(device)));
         })
      .complement(largestOf(kSource))
      .intersection(nobodies().complement(largestOf(kSource)));
}

SideWays::Node SideWays::ordinary(const Side &side) {
  if (!isWan(side.name)) return beginnings(side);
  IntervalSet addresses;
  for (const Address &each : own(side).addresses) addresses.add({each.address, each.address});
  const IntervalSet others = outside(side).complement(largestOf(kDestination));
  const IntervalSet known = others.intersection(privates().complement(largestOf(kDestination)));
  const IntervalSet behind =
      known.intersection(routed([](const Route &route) { return route.kind == Route::kUnicast; }));
  for (const Interval &each : behind.intervals()) addresses.add(each);
  return diagrams_.both(beginnings(side),
                        diagrams_.set({{kDestination, addresses}, {kSource, outside(side)}}));
}

SideWays::Node SideWays::withoutText(Node function) {
  Packet first;
  first[kProtocol] = kTcp;
  first[kTcpFlags] = kSyn;
  std::map<FieldId, uint64_t> no_text;
  for (size_t i = 0; i < desk_.router.unknowns().size(); i++) {
    const auto question = static_cast<FieldId>(kFields + i);
    if (!isOpen(question, first, desk_)) no_text[question] = 0;
  }
  return diagrams_.choose(diagrams_.set({is(kProtocol, kTcp)}), diagrams_.with(function, no_text),
                          function);
}

SideWays::Node SideWays::function(const Side &side) {
  const auto [found, fresh] = functions_.try_emplace(side.name, Diagrams::kNone);
  if (!fresh) return found->second;
  const Node made = withoutText(from(side).function());
  return functions_[side.name] = made;
}

SideWays::Node SideWays::placesFrom1(const Side &side, Node packets) {
  const auto [found, fresh] = places_.try_emplace(side.name, Diagrams::kNone);
  if (fresh)
    found->second = diagrams_.map(function(side), [](uint32_t place) { return place + 1; });
  return diagrams_.choose(packets, found->second, Diagrams::kNone);
}

namespace {

std::map<FieldId, uint64_t> changedBy(const Outcome &outcome) {
  std::map<FieldId, uint64_t> changed;
  if (!outcome.translated_by) return changed;
  if (outcome.destination) changed[kDestination] = *outcome.destination;
  if (outcome.port) changed[kDestinationPort] = *outcome.port;
  return changed;
}

}  // namespace

SideWays::Node SideWays::arriving(const Outcome &outcome, Node packets) {
  for (const auto &[field, value] : changedBy(outcome)) {
    packets = diagrams_.both(diagrams_.forSome(packets, field), diagrams_.set({is(field, value)}));
  }
  return packets;
}

SideWays::Node SideWays::arrivingAmong(const Outcome &outcome, Node arrived) {
  const std::map<FieldId, uint64_t> changed = changedBy(outcome);
  return changed.empty() ? arrived : diagrams_.with(arrived, changed);
}

Packet SideWays::witness(const Side &side, Node set) {
  Packet like;
  like[kBridgePort] = desk_.router.network().number(side.interface);
  like[kProtocol] = kGre;
  like[kSourcePort] = 40000;
  like[kDestinationPort] = 1;
  like[kLength] = 60;
  like[kSource] = kSomebody;
  const packets::Interface &own = this->own(side);
  if (!own.addresses.empty()) {
    const Address &address = own.addresses[0];
    like[kDestination] = address.address;
    if (!isWan(side.name)) like[kSource] = (address.address & ~restOf(address)) + kHostOfLan;
  }
  std::optional<Packet> found = diagrams_.witness(set, like);
  if (!found) throw std::logic_error("there is no such packet");
  return *found;
}

}  // namespace orba::tool
