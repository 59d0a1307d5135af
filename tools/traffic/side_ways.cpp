#include "tools/traffic/side_ways.h"

#include <algorithm>
#include <stdexcept>

#include "tools/catalog/entry_point.h"
#include "tools/traffic/trace.h"

namespace orba::tool {

using namespace packets;

namespace {

constexpr uint64_t kEchoRequest = 8;
constexpr uint64_t kGre = 47;
// Hosts of the Internet: of a network that is kept for examples (RFC 5737).
constexpr uint64_t kSomebody = 0xc6336464, kServer = 0xc6336401;  // 198.51.100.100 and .1
// Hosts in the middle of a LAN, by their place in its network.
constexpr uint64_t kHostOfLan = 100, kFirstUsual = 20, kLastUsual = 200;
constexpr uint64_t kOtherStation = 0x0200000000fe;

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

bool toldApart(const Side *one, const Side *other, const DeskRouter &desk) {
  if (one == nullptr || other == nullptr || isWan(one->name) != isWan(other->name)) return true;
  const Network &network = desk.router.network();
  const std::string &bridge = network.find(one->interface)->bridge;
  if (bridge.empty() || bridge != network.find(other->interface)->bridge) return true;
  const uint64_t port = network.number(one->interface),
                 other_port = network.number(other->interface);
  for (const auto &[place, chain] : desk.router.chains()) {
    for (const Rule &rule : chain.rules) {
      for (const Condition &each : rule.conditions) {
        const bool tells = (each.field == kIn || each.field == kBridgePort) &&
                           each.values.contains(port) != each.values.contains(other_port);
        if (tells) return true;
      }
    }
  }
  return false;
}

}  // namespace

std::vector<Sides> sidesOf(const std::vector<const DeskRouter *> &routers) {
  std::vector<Sides> all;
  for (const DeskRouter *desk : routers) {
    for (const Side &side : desk->sides) {
      const auto joins = [&](const Sides &sides) {
        return std::find(sides.begin(), sides.end(), side.name) != sides.end() ||
               std::none_of(routers.begin(), routers.end(), [&](const DeskRouter *each) {
                 return toldApart(each->side(side.name), each->side(sides[0]), *each);
               });
      };
      const auto found = std::find_if(all.begin(), all.end(), joins);
      if (found == all.end()) {
        all.push_back({side.name});
      } else if (std::find(found->begin(), found->end(), side.name) == found->end()) {
        found->push_back(side.name);
      }
    }
  }
  return all;
}

SideWays::SideWays(const DeskRouter &desk, Diagrams &diagrams)
    : desk_(desk),
      diagrams_(diagrams),
      chains_(desk.router, diagrams, Deciders::kTold),
      named_macs_(macsOfRules(desk.router)),
      mac_(macBut(named_macs_)) {}

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

std::string SideWays::targetOf(uint64_t out) const {
  const Network &network = desk_.router.network();
  for (const Side &side : desk_.sides) {
    if (network.number(desk_.own(side).name) == out) return side.name;
  }
  return network.interfaces[out].name;
}

std::string SideWays::targetOf(const Side &side) const {
  return targetOf(desk_.router.network().number(desk_.own(side).name));
}

const Side &SideWays::sender(const std::string &name) const {
  static const Side kItself = {kRouter, "", "the router itself"};
  return name == kRouter ? kItself : side(name);
}

SideWays::Node SideWays::beginnings(const Side &side) {
  const auto [found, fresh] = beginnings_.try_emplace(side.name, Diagrams::kNone);
  if (!fresh) return found->second;
  const Network &network = desk_.router.network();
  Conditions conditions = {is(kBridgePort, network.number(side.interface)), is(kEtherType, kIpv4),
                           is(kState, kNew), is(kMark, 0)};
  if (side.name == kRouter) {
    conditions.insert(conditions.end(),
                      {is(kSourceMac, 0), is(kDestinationMac, 0), {kSource, ownAddresses()}});
  } else {
    const packets::Interface &own = desk_.own(side);
    conditions.push_back(is(kDestinationMac, own.mac));
    if (!isWan(side.name) && !own.addresses.empty()) {
      const IntervalSet hosts = noHosts().complement(largestOf(kSource));
      conditions.push_back({kSource, desk_.networksOf(side).intersection(hosts)});
    }
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

SideWays::Node SideWays::frames(const Side &from, const Side &to) {
  const Network &network = desk_.router.network();
  const packets::Interface *port = network.find(from.interface),
                           *other = network.find(to.interface);
  if (port == nullptr || other == nullptr || port == other || port->bridge.empty() ||
      port->bridge != other->bridge) {
    return Diagrams::kNone;
  }
  IntervalSet stations;
  maskedValues(0, kGroupBit, 48, 128, stations);
  for (uint64_t mac : {port->mac, desk_.own(from).mac}) {
    stations = stations.intersection(IntervalSet::one(mac).complement(largestOf(kSourceMac)));
  }
  return diagrams_.both(diagrams_.forSome(beginnings(from), kDestinationMac),
                        diagrams_.set({{kDestinationMac, stations},
                                       is(kBridgePortOut, network.number(to.interface))}));
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
  return desk_
      .routed([&](const Route &route) {
        return route.kind == Route::kUnicast && targetOf(network.number(route.device)) == target;
      })
      .intersection(noHosts().complement(largestOf(kDestination)));
}

IntervalSet SideWays::outside(const Side &side) const {
  const std::string &own = desk_.own(side).name;
  // Without a route back packets come in as well.
  return desk_
      .routed([&](const Route &route) {
        const uint64_t device = desk_.router.network().number(route.device);
        return route.kind != Route::kUnicast || (route.device != own && !isWan(targetOf(device)));
      })
      .complement(largestOf(kSource))
      .intersection(noHosts().complement(largestOf(kSource)));
}

IntervalSet SideWays::ownAddresses() const {
  IntervalSet own;
  for (const packets::Interface &each : desk_.router.network().interfaces) {
    if (each.name == "lo") continue;
    for (const Address &address : each.addresses) own.add({address.address, address.address});
  }
  return own;
}

SideWays::Node SideWays::ordinary(const Side &side) {
  if (side.name == kRouter) return diagrams_.both(beginnings(side), fromItself());
  if (!isWan(side.name)) return beginnings(side);
  IntervalSet addresses;
  for (const Address &each : desk_.own(side).addresses) addresses.add({each.address, each.address});
  // Nobody knows a way by an Ethernet that only carries a link.
  if (isWire(side.name) && addresses.empty()) return Diagrams::kNone;
  const IntervalSet others = outside(side).complement(largestOf(kDestination));
  const IntervalSet known = others.intersection(privates().complement(largestOf(kDestination)))
                                .intersection(noHosts().complement(largestOf(kDestination)));
  const IntervalSet behind = known.intersection(
      desk_.routed([](const Route &route) { return route.kind == Route::kUnicast; }));
  for (const Interval &each : behind.intervals()) addresses.add(each);
  return diagrams_.both(
      beginnings(side),
      diagrams_.set({{kDestination, addresses},
                     {kSource, outside(side)},
                     {kSourceMac, named_macs_.complement(largestOf(kSourceMac))}}));
}

// What the router sends from the address that it takes: the first of where that leaves.
SideWays::Node SideWays::fromItself() {
  Node packets = diagrams_.set({kSource, ownAddresses()});
  for (const packets::Interface &each : desk_.router.network().interfaces) {
    if (each.addresses.empty()) continue;
    const IntervalSet there = desk_.routed([&](const Route &route) {
      return route.kind != Route::kLocal && route.device == each.name;
    });
    packets = diagrams_.choose(diagrams_.set({kDestination, there}),
                               diagrams_.set(is(kSource, each.addresses[0].address)), packets);
  }
  return packets;
}

SideWays::Node SideWays::possible() {
  if (possible_ != Diagrams::kNone) return possible_;
  const IntervalSet none = IntervalSet::one(0);
  const Node first = diagrams_.set(is(kState, kNew)),
             no_ports = diagrams_.set({{kSourcePort, none}, {kDestinationPort, none}});
  // Of TCP and ICMP, which flags or which type a connection begins with.
  Packet packet;
  const auto beginning = [&](FieldId field) {
    IntervalSet values;
    for (uint64_t each = 0; each <= largestOf(field); each++) {
      packet[field] = each;
      if (stateOfFirst(packet) == kNew) values.add({each, each});
    }
    return diagrams_.either(diagrams_.complement(first), diagrams_.set({field, values}));
  };
  packet[kProtocol] = kTcp;
  const Node tcp = diagrams_.both(beginning(kTcpFlags), diagrams_.set({kIcmpType, none}));
  packet[kProtocol] = kIcmp;
  const Node icmp = diagrams_.both(diagrams_.both(beginning(kIcmpType), no_ports),
                                   diagrams_.set({kTcpFlags, none}));
  const Node udp = diagrams_.set({{kTcpFlags, none}, {kIcmpType, none}});
  possible_ = diagrams_.both(udp, no_ports);  // others
  for (const auto &[protocol, packets] : {std::pair{kTcp, tcp}, {kUdp, udp}, {kIcmp, icmp}}) {
    possible_ = diagrams_.choose(diagrams_.set(is(kProtocol, protocol)), packets, possible_);
  }
  return possible_;
}

SideWays::Node SideWays::withoutText(Node function) {
  std::map<FieldId, uint64_t> no_text;
  for (size_t i = 0; i < desk_.router.unknowns().size(); i++) {
    const auto question = static_cast<FieldId>(kFields + i);
    if (isAboutText(desk_.router.unknowns()[i])) no_text[question] = 0;
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
  // The lengths of a packet without data, of a ping and of one with as much as it can hold.
  constexpr uint64_t kNoData = 40, kPing = 84, kMostData = 1500;
  const Node can_be = diagrams_.both(set, possible());
  if (can_be != Diagrams::kNone) set = can_be;
  const bool begins = diagrams_.both(set, diagrams_.set(is(kState, kNew))) != Diagrams::kNone;
  const IntervalSet internet = privates().complement(largestOf(kSource));
  const IntervalSet examples = IntervalSet::range(kSomebody & ~0xff, kSomebody | 0xff);
  IntervalSet routers, usual, lan;
  uint64_t host = kSomebody;
  for (const Side &each : desk_.sides) {
    const std::vector<Address> &own = desk_.own(each).addresses;
    if (isWan(each.name) || own.empty()) continue;
    const uint64_t first = own[0].address & ~restOf(own[0]);
    lan = desk_.networksOf(each).intersection(noHosts().complement(largestOf(kSource)));
    usual = lan.intersection(IntervalSet::range(first + kFirstUsual, first + kLastUsual));
    if (usual.contains(first + kHostOfLan)) host = first + kHostOfLan;
  }
  Packet like;
  like[kState] = begins ? kNew : kEstablished;
  like[kProtocol] = kTcp;
  like[kTcpFlags] = begins ? kSyn : kAcknowledge;
  like[kIcmpType] = begins ? kEchoRequest : 0;
  like[kSource] = isWan(side.name) ? kSomebody : host;
  like[kSourcePort] = 40000;
  like[kDestination] = kServer;
  like[kDestinationPort] = 80;
  like[kLength] = kNoData;
  if (side.name != kRouter) {
    const packets::Interface &own = desk_.own(side);
    like[kBridgePort] = desk_.router.network().number(side.interface);
    like[kSourceMac] = mac_;
    like[kDestinationMac] = own.mac;
    for (const Address &each : own.addresses) routers.add({each.address, each.address});
    if (isWan(side.name) && !own.addresses.empty()) like[kDestination] = own.addresses[0].address;
  }
  const auto ones = [](std::initializer_list<uint64_t> values) {
    std::vector<IntervalSet> sets;
    for (uint64_t each : values) sets.push_back(IntervalSet::one(each));
    return sets;
  };
  const std::vector<IntervalSet> ports = {IntervalSet::range(1024, 65535),
                                          IntervalSet::range(1, 65535)};
  Diagrams::Wishes wishes = {{kEtherType, ones({kIpv4})},
                             {kState, ones({kEstablished, kRelated})},
                             {kProtocol, ones({kUdp, kIcmp, kGre})},
                             {kTcpFlags, ones({kAcknowledge})},
                             {kSource, {usual, lan, examples, internet}},
                             {kSourcePort, ports},
                             {kDestination, {routers, examples, internet, usual, lan}},
                             {kDestinationPort, ones({8080, 443})},
                             {kDestinationMac, ones({kOtherStation})},
                             {kLength, {IntervalSet::range(kNoData, kMostData)}}};
  if (isWan(side.name)) {
    wishes[kSource] = {examples, internet, usual, lan};
    wishes[kDestination] = {routers, usual, lan, examples, internet};
  }
  wishes[kDestinationPort].insert(wishes[kDestinationPort].end(), ports.begin(), ports.end());
  std::optional<Packet> found = diagrams_.witness(set, like, wishes);
  if (!found) throw std::logic_error("there is no such packet");
  if ((*found)[kProtocol] != kIcmp) return *found;
  like = *found;
  like[kLength] = kPing;
  return diagrams_.value(set, like) != 0 ? like : *found;
}

}  // namespace orba::tool
