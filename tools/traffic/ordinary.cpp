#include "tools/traffic/ordinary.h"

#include <algorithm>

#include "tools/traffic/side_ways.h"

namespace orba::tool {

using namespace packets;

namespace {

const packets::Interface &portOf(const Side &side, const Network &network) {
  return *network.find(side.interface);
}

bool toldApart(const Side *one, const Side *other, const DeskRouter &desk) {
  if (one == nullptr || other == nullptr) return true;
  const Network &network = desk.router.network();
  const std::string &bridge = portOf(*one, network).bridge;
  if (bridge.empty() || bridge != portOf(*other, network).bridge) return true;
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

uint64_t macOf(const Side &side, const Network &network) {
  const packets::Interface &port = portOf(side, network);
  return port.bridge.empty() ? port.mac : network.find(port.bridge)->mac;
}

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

IntervalSet ownAddresses(const DeskRouter &desk, const std::string &name) {
  IntervalSet own;
  const Side *side = desk.side(name);
  if (side == nullptr) return own;
  for (const Address &each : portOf(*side, desk.router.network()).addresses) {
    own.add({each.address, each.address});
  }
  return own;
}

Beginnings beginningsOf(Diagrams &diagrams, const Side &side, const DeskRouter &desk,
                        const IntervalSet &own, const Ends &ends) {
  const auto is = [&](FieldId field, const IntervalSet &values) {
    return diagrams.set({field, values});
  };
  const Network &network = desk.router.network();
  Beginnings made;
  made.ordinary = diagrams.with(SideWays(desk, diagrams).beginnings(side),
                                {{kBridgePort, network.number(side.interface)},
                                 {kMark, 0},
                                 {kDestinationMac, macOf(side, network)}});
  made.ordinary = diagrams.both(made.ordinary, is(kDestination, ends.hosts));
  if (!isWan(side.name)) return made;
  made.ordinary = diagrams.both(made.ordinary, is(kSource, ends.internet));
  if (own.empty()) return made;
  made.direct = diagrams.without(made.ordinary, is(kDestination, own));
  made.ordinary = diagrams.without(made.ordinary, made.direct);
  return made;
}

bool isAboutContent(const std::string &question) {
  for (const char *option : {"--content ", "--url ", "--host "}) {
    if (question.rfind(option, 0) == 0) return true;
  }
  return false;
}

Packet ordinaryOf(Diagrams &diagrams, Diagrams::Node set, const Side &side, const DeskRouter &desk,
                  const Ends &ends) {
  const IntervalSet any_port = IntervalSet::range(1, 65535);
  const IntervalSet outside = IntervalSet::one(0xc6336464);  // 198.51.100.100
  IntervalSet inside;
  if (!ends.lan.empty()) inside = IntervalSet::one(ends.lan.intervals()[0].first + 99);
  const bool from_outside = isWan(side.name);
  const auto is = [](FieldId field, uint64_t value) {
    return Condition{field, IntervalSet::one(value)};
  };
  const Conditions wanted = {
      is(kEtherType, 0x0800),
      is(kProtocol, kTcp),
      is(kProtocol, kUdp),
      is(kProtocol, kIcmp),
      is(kProtocol, 47),  // GRE
      is(kState, kNew),
      is(kState, kEstablished),
      is(kTcpFlags, kSyn),
      is(kTcpFlags, kAcknowledge),
      is(kIcmpType, 8),
      {kSource, from_outside ? outside : inside},
      {kSource, from_outside ? ends.internet : ends.lan},
      {kDestination, from_outside ? ends.router : outside},
      {kDestination, from_outside ? ends.lan : ends.router},
      {kDestination, ends.hosts},
      is(kDestinationPort, 80),
      is(kDestinationPort, 22),
      {kDestinationPort, any_port},
      is(kSourcePort, 40000),
      {kSourcePort, any_port},
      is(kLength, 60),
  };
  for (const Condition &each : wanted) {
    const Diagrams::Node some = diagrams.both(set, diagrams.set(each));
    if (some != Diagrams::kNone) set = some;
  }
  Packet like;
  like[kBridgePort] = desk.router.network().number(side.interface);
  like[kDestinationMac] = macOf(side, desk.router.network());
  like[kSourceMac] = kNeighbour;
  return *diagrams.witness(set, like);
}

}  // namespace orba::tool
