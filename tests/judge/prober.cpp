#include "prober.h"

#include <algorithm>
#include <utility>

namespace judge {

using namespace packets;

namespace {

constexpr uint64_t kLan = 0xc0a80100, kInternet = 0xcb007100;

// The last word of "--host casino.example.com".
std::string lastWord(const std::string &words) {
  return words.substr(words.rfind(' ') + 1);
}

bool asksForText(const std::string &question) {
  return question.find("--host") != std::string::npos ||
         question.find("--url") != std::string::npos;
}

}  // namespace

Prober::Prober(const Router &router, Walker &walker, Dice &dice)
    : router_(router), walker_(walker), network_(router.network()), dice_(dice) {
  for (const auto &[place, chain] : router.chains()) {
    for (const Rule &rule : chain.rules) {
      rules_.push_back(&rule);
      for (const Condition &condition : rule.conditions) {
        for (const Interval &each : condition.values.intervals()) {
          std::vector<uint64_t> &edges = edges_[condition.field];
          edges.push_back(each.first);
          edges.push_back(each.last);
          if (each.first > 0) edges.push_back(each.first - 1);
          if (each.last < largestOf(condition.field)) edges.push_back(each.last + 1);
        }
      }
      for (const Interval &each : rule.target.addresses.intervals()) {
        edges_[kDestination].push_back(each.first);
        edges_[kSource].push_back(each.first);
      }
    }
  }
  const Chain *brouting = router.chain({Place::kEbtables, "broute", "BROUTING"});
  brouting_ = brouting != nullptr && !brouting->rules.empty();
  for (const std::string &question : router.unknowns()) {
    if (asksForText(question)) texts_.push_back(lastWord(question));
  }
  for (const auto &[name, table] : network_.tables) {
    for (const Route &route : table) {
      if (route.prefix == 0) continue;
      const uint64_t size = uint64_t{1} << (32 - route.prefix);
      for (uint64_t edge : {route.destination - 1, route.destination, route.destination + size - 1,
                            route.destination + size}) {
        edges_[kDestination].push_back(edge & 0xffffffff);
      }
    }
  }
  for (uint64_t port : kListening) edges_[kDestinationPort].push_back(port);
  for (uint64_t i = 1; i < network_.interfaces.size(); i++) {
    const Interface &interface = network_.interfaces[i];
    for (const Address &own : interface.addresses) {
      for (int times = 0; times < 6; times++) edges_[kDestination].push_back(own.address);
    }
    if (!network_.isBridge(interface.name)) wires_.push_back(i);
  }
}

uint64_t Prober::within(const IntervalSet &values) {
  if (values.empty()) return 0;
  const Interval &some = dice_.pick(values.intervals());
  switch (dice_.below(3)) {
    case 0:
      return some.first;
    case 1:
      return some.last;
    default:
      return dice_.between(some.first, some.last);
  }
}

uint64_t Prober::beside(FieldId field, const IntervalSet &values, uint64_t otherwise) {
  const IntervalSet others = values.complement(largestOf(field));
  if (values.empty() || others.empty()) return otherwise;
  const Interval &some = dice_.pick(values.intervals());
  if (dice_.chance(50) && some.first > 0) return some.first - 1;
  return some.last < largestOf(field) ? some.last + 1 : otherwise;
}

uint64_t Prober::oneOf(FieldId field, uint64_t otherwise) {
  const std::vector<uint64_t> &edges = edges_[field];
  return edges.empty() || dice_.chance(50) ? otherwise : dice_.pick(edges);
}

Packet Prober::atRandom() {
  Packet packet;
  packet[kBridgePort] = dice_.chance(6) ? kNoInterface : dice_.pick(wires_);
  packet[kProtocol] =
      dice_.pick({6, 6, 6, 6, 6, 6, 17, 17, 17, 17, 17, 1, 1, 1, dice_.pick({2, 47, 50, 89})});
  const uint64_t near = kLan + dice_.between(2, 254);
  const uint64_t far = dice_.chance(50)
                           ? dice_.below(uint64_t{1} << 32)
                           : (dice_.chance(50) ? kInternet : 0xc6336400) + dice_.below(256);
  const bool from_lan = packet[kBridgePort] != kNoInterface &&
                        (!network_.interfaces[packet[kBridgePort]].bridge.empty() ||
                         network_.interfaces[packet[kBridgePort]].name == "eth2");
  packet[kSource] =
      dice_.chance(60) ? (from_lan ? near : far) : oneOf(kSource, dice_.chance(50) ? near : far);
  packet[kDestination] = dice_.chance(25) ? (from_lan ? far : near)
                                          : oneOf(kDestination, dice_.chance(50) ? near : far);
  if (dice_.chance(2)) {
    packet[kDestination] =
        dice_.pick({0xffffffffu, 0xe0000001u, 0xe0000005u, 0xc0a801ffu, 0xcb0071ffu, 0x7f000001u});
  }
  if (dice_.chance(2)) {  // what no host is
    packet[kSource] = dice_.pick<uint64_t>(
        {0, 0xffffffff, 0xe0000001, 0x7f000001, 0x7f000005, 0xc0a80101, 0xc0a801ff, 0xcb007102});
  }
  // A host that has no address yet may ask a group.
  if (packet[kSource] == 0 && dice_.chance(30)) packet[kDestination] = 0xe0000001;
  packet[kSourcePort] = oneOf(kSourcePort, dice_.between(1, 65535));
  packet[kDestinationPort] = oneOf(kDestinationPort, dice_.below(65536));
  packet[kTcpFlags] = dice_.chance(65) ? uint64_t{kSyn} : dice_.below(64);
  packet[kIcmpType] = dice_.chance(60) ? 8 : dice_.pick({0, 3, 4, 5, 9, 11, 12, 13, 15, 17, 18});
  packet[kLength] = dice_.chance(80) ? 0 : oneOf(kLength, dice_.between(40, 2000));
  packet[kSourceMac] = oneOf(kSourceMac, macOfHost(packet[kSource]));
  packet[kEtherType] =
      dice_.chance(brouting_ ? 85 : 98) ? kIpv4 : kEtherTypes[dice_.below(std::size(kEtherTypes))];
  return packet;
}

void Prober::approach(Packet &packet) {
  if (rules_.empty()) return;
  const Rule &rule = *dice_.pick(rules_);
  const size_t spared =
      dice_.chance(60) || rule.conditions.empty() ? SIZE_MAX : dice_.below(rule.conditions.size());
  for (size_t i = 0; i < rule.conditions.size(); i++) {
    const auto &[field, values] = rule.conditions[i];
    uint64_t value = i == spared ? beside(field, values, packet[field]) : within(values);
    switch (field) {
      case kIn:
      case kBridgePort: {
        // The interface itself or, of a bridge, its ports.
        std::vector<uint64_t> wires;
        for (uint64_t wire : wires_) {
          const std::string &bridge = network_.interfaces[wire].bridge;
          const uint64_t seen = bridge.empty() ? wire : network_.number(bridge);
          if (values.contains(field == kIn ? seen : wire) != (i == spared)) wires.push_back(wire);
        }
        if (!wires.empty()) packet[kBridgePort] = dice_.pick(wires);
        break;
      }
      case kSourceMac:
        packet[field] = value;
        break;
      case kState:  // comes of the flags
        if (value == kInvalid && dice_.chance(50)) packet[kTcpFlags] = dice_.below(64);
        break;
      case kMark:
      case kOut:
      case kBridgePortOut:
        break;
      default:
        if (field < kFields) packet[field] = value;
    }
  }
}

// What only a real packet decides.
void Prober::settle(Probe &probe) {
  Packet &packet = probe.packet;
  const uint64_t protocol = packet[kProtocol];
  if (std::find(std::begin(kProtocols), std::end(kProtocols), protocol) == std::end(kProtocols)) {
    packet[kProtocol] = dice_.pick({47, 50, 89});
  }
  if (packet[kBridgePort] == kNoInterface) {  // the router's own
    if (packet[kProtocol] != kIcmp && packet[kProtocol] != kTcp) packet[kProtocol] = kUdp;
    for (const Interface &each : network_.interfaces) {
      if (each.name != "lo" && !each.addresses.empty()) {
        packet[kSource] = each.addresses[0].address;
        if (dice_.chance(60)) break;
      }
    }
    packet[kEtherType] = kIpv4;
    // To a socket these are other words for the router, or need more than a right to send.
    if (packet[kDestination] >> 24 == 0 || packet[kDestination] == 0xffffffff) {
      packet[kDestination] = kInternet + 77;
    }
    if (packet[kProtocol] == kIcmp) packet[kIcmpType] = 8;
  }
  if (packet[kEtherType] != kIpv4 &&
      std::count(std::begin(kEtherTypes), std::end(kEtherTypes), packet[kEtherType]) == 0) {
    packet[kEtherType] = kTrial;
  }
  if (packet[kProtocol] != kTcp) packet[kTcpFlags] = 0;
  if (packet[kProtocol] != kIcmp) packet[kIcmpType] = 0;
  if (packet[kProtocol] != kTcp && packet[kProtocol] != kUdp) {
    packet[kSourcePort] = packet[kDestinationPort] = 0;
  }
  packet[kSegmentSize] = 0;
  if (packet[kProtocol] == kTcp && (packet[kTcpFlags] & kSyn) != 0 && dice_.chance(30)) {
    packet[kSegmentSize] = dice_.pick({536, 1412, 1452, 1460, 1536});
  }
  if (packet[kProtocol] == kTcp && !texts_.empty() && dice_.chance(30)) {
    probe.content = dice_.pick(texts_);
    if (dice_.chance(30)) probe.content.back()++;
  }
  for (size_t i = 0; !probe.content.empty() && i < router_.unknowns().size(); i++) {
    const std::string &question = router_.unknowns()[i];
    if (asksForText(question) && probe.content.find(lastWord(question)) != std::string::npos) {
      packet[static_cast<FieldId>(kFields + i)] = 1;
    }
  }
  const bool ethernet =
      packet[kBridgePort] != kNoInterface && network_.interfaces[packet[kBridgePort]].mac != 0;
  if (!ethernet) {
    packet[kSourceMac] = packet[kDestinationMac] = 0;
    packet[kEtherType] = kIpv4;
  } else {
    const Interface &in = network_.interfaces[packet[kBridgePort]];
    packet[kSourceMac] &= ~(uint64_t{1} << 40);  // of one station
    for (const Interface &each : network_.interfaces) {
      if (each.mac == packet[kSourceMac]) packet[kSourceMac] = macOfHost(packet[kSource]);
    }
    if (in.bridge.empty()) {
      packet[kDestinationMac] = in.mac;
      packet[kEtherType] = kIpv4;
    } else {
      const uint64_t chosen = edges_.count(kDestinationMac) != 0 && dice_.chance(5)
                                  ? dice_.pick(edges_[kDestinationMac])
                                  : macOfHost(kLan + 7);
      packet[kDestinationMac] =
          dice_.chance(brouting_ ? 40 : 4) ? in.mac : network_.find(in.bridge)->mac;
      if (dice_.chance(6) || (packet[kEtherType] != kIpv4 && dice_.chance(70))) {
        packet[kDestinationMac] = chosen & ~(uint64_t{1} << 40);
      }
    }
  }
  if (ethernet && dice_.chance(2)) {  // to all stations
    packet[kDestinationMac] = dice_.chance(50) ? 0xffffffffffff : 0x01005e000005;
  }
  // As long as its headers and its content at least.
  const uint64_t least = (packet[kProtocol] == kTcp ? 40 : 28) + probe.content.size() +
                         (packet[kSegmentSize] != 0 ? 4 : 0);
  // A socket's must fit the wire.
  const uint64_t most = packet[kBridgePort] == kNoInterface ? 1300 : 3000;
  packet[kLength] = std::min(std::max(packet[kLength], least), most);
  packet[kState] = stateOfFirst(packet);
  packet[kIn] = packet[kBridgePort];
  if (packet[kProtocol] == kIcmp) probe.echo = ++echo_;
}

// The kernel would give one of two connections whose answers look alike another port, or take
// one for the answer of the other. No two have the same ports or, without ports, the same ends
// before or behind the router.
bool Prober::isFresh(const Probe &probe) {
  const Packet &packet = probe.packet;
  const uint64_t protocol = packet[kProtocol];
  if (protocol == kIcmp) return true;
  if (protocol == kTcp || protocol == kUdp) {
    const auto [one, other] = std::minmax({packet[kSourcePort], packet[kDestinationPort]});
    return used_.insert((protocol << 32) | (one << 16) | other).second;
  }
  // Of one protocol without ports no two, be it another: there are few of these packets.
  const auto ends = [&](const Packet &each) {
    const auto [one, other] = std::minmax({each[kSource], each[kDestination]});
    return uint64_t{1} << 63 | ((one << 31) ^ other);
  };
  const auto before = ends(packet), behind = ends(wayOf(walker_, probe, nullptr).end);
  if (used_.count(before) != 0 || used_.count(behind) != 0) return false;
  used_.insert({before, behind});
  return true;
}

std::optional<Probe> Prober::first() {
  Probe probe;
  probe.packet = atRandom();
  for (int rules = static_cast<int>(dice_.below(4)); rules > 0; rules--) approach(probe.packet);
  settle(probe);
  if (!isFresh(probe)) return std::nullopt;
  probe.first_of_sender = senders_.insert(probe.packet[kSource]).second;
  return probe;
}

// The other side's hosts have the addresses that the kernel knows.
void Prober::answer(Packet &packet) {
  senders_.insert(packet[kSource]);  // who may hear of no route already
  const bool ethernet =
      packet[kBridgePort] != kNoInterface && network_.interfaces[packet[kBridgePort]].mac != 0;
  packet[kSourceMac] = ethernet ? oneOf(kSourceMac, macOfHost(packet[kSource])) : 0;
  packet[kSourceMac] &= ~(uint64_t{1} << 40);
  packet[kLength] = packet[kProtocol] == kTcp ? 40 : 28;
  packet[kIn] = packet[kBridgePort];
  const bool asks = (packet[kTcpFlags] & kSyn) != 0 && packet[kProtocol] == kTcp;
  packet[kSegmentSize] =
      asks && dice_.chance(50) ? dice_.pick({536, 1412, 1451, 1452, 1460, 1536, 1537}) : 0;
  if (packet[kSegmentSize] != 0) packet[kLength] += 4;
  for (size_t i = 0; i < router_.unknowns().size(); i++) {
    const FieldId question = static_cast<FieldId>(kFields + i);
    if (std::as_const(packet)[question] != 0) packet[question] = 0;
  }
}

std::vector<Probe> Prober::followers(const Probe &first, uint32_t place, const Walk &way) {
  std::vector<Probe> all;
  const Packet &packet = first.packet;
  const uint64_t protocol = packet[kProtocol];
  if (packet[kEtherType] != kIpv4 || packet[kState] != kNew ||
      (protocol == kIcmp && packet[kIcmpType] != 8) || protocol == kIgmp) {
    return all;
  }
  // To everybody: the answer comes from somebody else.
  if (way.verdict == Verdict::kDelivered && packet[kBridgePort] != kNoInterface) {
    const std::optional<Route> route = network_.route(way.end[kDestination], 0);
    if (!route || route->kind != Route::kLocal) return all;
    if (protocol == kTcp) return all;  // the router's answers are kept back
  }
  Probe next = first;
  next.first = place;
  next.first_of_sender = false;
  if (dice_.chance(40)) {
    next.role = Probe::kRepeated;
    all.push_back(next);
  }
  next.content.clear();
  next.role = Probe::kReply;
  next.packet = answerTo(router_, packet, way);
  if (protocol == kTcp && (packet[kTcpFlags] & kSyn) == 0) next.packet[kTcpFlags] = kAcknowledge;
  answer(next.packet);
  if (way.verdict == Verdict::kDelivered) {
    if (packet[kBridgePort] == kNoInterface) return all;
    next.packet[kBridgePort] = next.packet[kIn] = kNoInterface;
  }
  all.push_back(next);
  if (dice_.chance(50) && packet[kBridgePort] != kNoInterface) {
    next.role = Probe::kSecond;
    next.packet = packet;
    next.packet[kState] = kEstablished;
    if (protocol == kTcp) next.packet[kTcpFlags] = kAcknowledge;
    answer(next.packet);
    next.packet[kSourceMac] = packet[kSourceMac];
    all.push_back(next);
  } else if (way.verdict == Verdict::kForwarded && protocol != kIcmp) {
    next.role = Probe::kError;
    next.packet = answerTo(router_, packet, way);
    answer(next.packet);
    next.packet[kProtocol] = kIcmp;
    next.packet[kTcpFlags] = next.packet[kSourcePort] = next.packet[kDestinationPort] = 0;
    next.packet[kIcmpType] = 3;
    next.packet[kState] = kRelated;
    next.packet[kLength] = 56;
    next.about = way.end;
    all.push_back(next);
  }
  return all;
}

}  // namespace judge
