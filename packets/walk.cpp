#include "packets/walk.h"

#include <algorithm>

namespace packets {

namespace {

constexpr uint64_t kEverybody = 0xffffffff, kAllSystems = 0xe0000001;

bool isGroup(uint64_t address) {
  return address >> 28 == 0xe;
}
// Of a MAC: all stations have it, or some.
bool isOfGroup(uint64_t mac) {
  return (mac >> 40 & 1) != 0;
}
bool isLoopback(uint64_t address) {
  return address >> 24 == 127;
}

bool sameEnds(const Packet &packet, const Packet &first) {
  return packet[kSource] == first[kSource] && packet[kSourcePort] == first[kSourcePort] &&
         packet[kDestination] == first[kDestination];
}

class Walker {
 public:
  Walker(const Router &router, Packet packet, const Connection *connection, Detail detail)
      : router_(router),
        network_(router.network()),
        packet_(std::move(packet)),
        connection_(connection),
        detail_(detail) {}

  Walk comeIn() {
    packet_[kIn] = packet_[kBridgePort];
    const uint64_t port = packet_[kBridgePort];
    const bool is_port =
        port < network_.interfaces.size() && !network_.interfaces[port].bridge.empty();
    if (is_port && !comeThroughBridge(network_.interfaces[port].bridge)) return finish();
    if (packet_[kEtherType] != 0x0800) {
      way_.verdict = Verdict::kDelivered;
      return finish();
    }
    beforeRouting();
    if (decided_) return finish();
    routeFromWire();
    return finish();
  }

  Walk goOut() {
    packet_[kIn] = packet_[kBridgePort] = kNoInterface;
    std::optional<Route> route = network_.route(packet_[kDestination], 0);
    note(Step::kRoute, {}, false, route);
    if (!route) {
      way_.verdict = Verdict::kNoRoute;
      return finish();
    }
    if (connection_ != nullptr) forward_ = sameEnds(packet_, connection_->original);
    const bool own = route->kind == Route::kLocal;
    packet_[kOut] = own ? 0 : network_.number(route->device);
    if (!through(Place::kIptables, "nat", "OUTPUT", packet_[kState] == kNew && !connection_) ||
        !through(Place::kIptables, "filter", "OUTPUT")) {
      return finish();
    }
    if (own) {
      packet_[kIn] = packet_[kBridgePort] = 0;
      packet_[kOut] = kNoInterface;
      if (through(Place::kIptables, "filter", "INPUT")) way_.verdict = Verdict::kDelivered;
      return finish();
    }
    leave();
    return finish();
  }

 private:
  void note(Step::Kind kind, const RuleAt &at = {}, bool matched = false,
            const std::optional<Route> &route = {}) {
    if (detail_ == Detail::kSteps) way_.steps.push_back({kind, at, matched, route, packet_});
  }

  Walk finish() {
    way_.end = packet_;
    return std::move(way_);
  }

  // Whether the frame is for the router.
  bool comeThroughBridge(const std::string &bridge) {
    const bool bridged = through(Place::kEbtables, "broute", "BROUTING");

    if (!bridged && way_.verdict == Verdict::kUnknown) return false;
    if (!bridged) {
      note(Step::kBridge, {}, true);
      decided_ = false;
      way_.decided_by.reset();
      return true;
    }
    if (!through(Place::kEbtables, "nat", "PREROUTING")) return false;
    const uint64_t mac = packet_[kDestinationMac];
    const Interface *own = network_.find(bridge);
    const bool for_router = (own != nullptr && mac == own->mac) ||
                            mac == network_.interfaces[packet_[kBridgePort]].mac || isOfGroup(mac);
    note(Step::kBridge, {}, for_router);
    if (for_router) {
      if (!through(Place::kEbtables, "filter", "INPUT")) return false;
      packet_[kIn] = network_.number(bridge);
      return true;
    }
    if (through(Place::kEbtables, "filter", "FORWARD") &&
        through(Place::kEbtables, "nat", "POSTROUTING", packet_[kBridgePortOut] != kNoInterface)) {
      way_.verdict = Verdict::kBridged;
    }
    return false;
  }

  void beforeRouting() {
    if (connection_ == nullptr) {
      through(Place::kIptables, "nat", "PREROUTING", packet_[kState] == kNew);
      return;
    }
    // Of the connection's second translation it is the other end that changes here.
    forward_ = sameEnds(packet_, connection_->original);
    const Packet &to = forward_ ? connection_->translated : connection_->original;
    packet_[kDestination] = to[forward_ ? kDestination : kSource];
    packet_[kDestinationPort] = to[forward_ ? kDestinationPort : kSourcePort];
    note(Step::kTranslate);
  }

  // Whether a source is the router itself or, where there are rules for routing, no host at all:
  // only then the kernel asks its routes about it.
  bool isNoHost(uint64_t source) const {
    if (!network_.rules.empty()) {
      const std::optional<Route> back = network_.route(source, static_cast<uint32_t>(0));
      return back && back->kind != Route::kUnicast;
    }
    return std::any_of(
        network_.interfaces.begin(), network_.interfaces.end(), [&](const Interface &interface) {
          return std::any_of(interface.addresses.begin(), interface.addresses.end(),
                             [&](const Address &own) { return own.address == source; });
        });
  }

  void routeFromWire() {
    const uint64_t source = packet_[kSource], destination = packet_[kDestination];
    const bool to_group = isGroup(destination);
    const bool to_all = destination == kEverybody || (source == 0 && destination == 0);
    std::optional<Route> route;
    bool martian = isGroup(source) || source == kEverybody || (source != 0 && isNoHost(source));
    if (!to_all) {
      martian = martian || isLoopback(source) || (source == 0 && !to_group) ||
                isLoopback(destination) || destination == 0;
    }
    if (martian) {
      note(Step::kRoute);
      way_.decided_by.reset();
      way_.verdict = Verdict::kMartian;
      return;
    }
    if (to_group && destination != kAllSystems) {
      note(Step::kRoute);
      way_.decided_by.reset();
      way_.verdict = Verdict::kNobody;
      return;
    }
    if (!to_group && !to_all) {
      route = network_.route(destination, static_cast<uint32_t>(packet_[kMark]));
      note(Step::kRoute, {}, false, route);
      if (!route) {
        way_.verdict = Verdict::kNoRoute;
        way_.decided_by.reset();
        return;
      }
    }
    if (!route || route->kind != Route::kUnicast) {
      if (!through(Place::kIptables, "filter", "INPUT")) return;
      way_.verdict = Verdict::kDelivered;
      if (connection_ != nullptr) translateSource();
      return;
    }
    if (isOfGroup(packet_[kDestinationMac])) {
      way_.decided_by.reset();
      way_.verdict = Verdict::kNobody;
      return;
    }
    packet_[kOut] = network_.number(route->device);
    if (through(Place::kIptables, "filter", "FORWARD")) leave();
  }

  // By the connection, behind the last filter.
  void translateSource() {
    const Packet &as = forward_ ? connection_->translated : connection_->original;
    packet_[kSource] = as[forward_ ? kSource : kDestination];
    packet_[kSourcePort] = as[forward_ ? kSourcePort : kDestinationPort];
    note(Step::kTranslate);
  }

  void leave() {
    way_.verdict = Verdict::kForwarded;
    if (connection_ != nullptr) {
      translateSource();
      return;
    }
    if (!through(Place::kIptables, "nat", "POSTROUTING", packet_[kState] == kNew)) return;
    way_.verdict = Verdict::kForwarded;
  }

  // Sends the packet through a built-in chain. False when it ends there.
  bool through(Place::Program program, const char *table, const char *name, bool wanted = true) {
    if (!wanted) return true;
    const Place place = {program, table, name};
    const Chain *chain = router_.chain(place);
    note(Step::kEnter, {place});
    Target::Kind end = enter(place, *chain);
    if (end == Target::kReturn || end == Target::kGoOn) {
      end = chain->policy;
      ended_by_ = {place};
      note(Step::kPolicy, {place});
    }
    const std::optional<Verdict> verdict = verdictOf(end);
    // Of the hooks that let it pass the filter is the one to be named.
    if (verdict || place.table == "filter") way_.decided_by = ended_by_;
    if (verdict) way_.verdict = *verdict;
    decided_ = verdict.has_value();
    return !decided_;
  }

  // How a packet's way ends with this, nothing when it goes on behind the hook.
  static std::optional<Verdict> verdictOf(Target::Kind end) {
    switch (end) {
      case Target::kDrop:
        return Verdict::kDropped;
      case Target::kReject:
        return Verdict::kRejected;
      case Target::kUnknown:
        return Verdict::kUnknown;
      default:
        return std::nullopt;
    }
  }

  // What ends the packet's way through this hook; kReturn and kGoOn when a rule returns it or it
  // falls off the chain's end.
  Target::Kind enter(const Place &place, const Chain &chain) {
    for (size_t i = 0; i < chain.rules.size(); i++) {
      const Rule &rule = chain.rules[i];
      const bool matched = meets(rule);
      if (matched) act(rule, {place, i});
      note(Step::kRule, {place, i}, matched);
      if (!matched) continue;
      switch (rule.target.kind) {
        case Target::kGoOn:
        case Target::kMark:
          continue;
        case Target::kReturn:
          return Target::kReturn;
        case Target::kJump: {
          const Place next = {place.program, place.table, rule.target.chain};
          const Chain *target = router_.chain(next);
          note(Step::kEnter, {next});
          Target::Kind end = enter(next, *target);
          if (end == Target::kGoOn && target->policy != Target::kReturn) {
            end = target->policy;
            ended_by_ = {next};
            note(Step::kPolicy, {next});
          }
          if (end != Target::kReturn && end != Target::kGoOn) return end;
          continue;
        }
        default:
          ended_by_ = {place, i};
          return rule.target.kind;
      }
    }
    return Target::kGoOn;
  }

  bool meets(const Rule &rule) {
    for (const Condition &condition : rule.conditions) {
      if (condition.field >= kFields) way_.asked.push_back(condition.field);
      if (!condition.values.contains(packet_[condition.field])) return false;
    }
    return true;
  }

  // What a rule changes.
  void act(const Rule &rule, const RuleAt &at) {
    const Target &target = rule.target;
    if (target.kind == Target::kMark) packet_[kMark] |= target.mark;
    if (target.kind == Target::kDnat) {
      packet_[kDestination] = target.addresses.intervals()[0].first;
      if (!target.ports.empty()) packet_[kDestinationPort] = target.ports.intervals()[0].first;
      way_.translated_by = at;
    }
    if (target.kind == Target::kMasquerade && packet_[kOut] < network_.interfaces.size()) {
      const Interface &out = network_.interfaces[packet_[kOut]];
      if (!out.addresses.empty()) packet_[kSource] = out.addresses[0].address;
    }
  }

  const Router &router_;
  const Network &network_;
  Packet packet_;
  const Connection *connection_;
  Detail detail_;
  bool forward_ = true;  // the direction within the connection
  bool decided_ = false;
  RuleAt ended_by_;  // the rule or policy with which the last hook was left
  Walk way_;
};

}  // namespace

Walk walk(const Router &router, Packet packet, const Connection *connection, Detail detail) {
  return Walker(router, std::move(packet), connection, detail).comeIn();
}

Walk walkFromRouter(const Router &router, Packet packet, const Connection *connection,
                    Detail detail) {
  return Walker(router, std::move(packet), connection, detail).goOut();
}

Packet answerTo(const Router &router, const Packet &first, const Walk &way) {
  const Network &network = router.network();
  Packet answer = way.end;
  answer[kState] = kEstablished;
  answer[kSource] = way.end[kDestination];
  answer[kDestination] = way.end[kSource];
  answer[kSourcePort] = way.end[kDestinationPort];
  answer[kDestinationPort] = way.end[kSourcePort];
  if (first[kProtocol] == kTcp) answer[kTcpFlags] = kSyn | kAcknowledge;
  if (first[kProtocol] == kIcmp) answer[kIcmpType] = 0;
  answer[kMark] = 0;
  answer[kOut] = answer[kBridgePortOut] = kNoInterface;
  answer[kSourceMac] = answer[kDestinationMac] = 0;
  answer[kBridgePort] = way.end[kOut];
  if (answer[kBridgePort] < network.interfaces.size()) {
    const Interface &out = network.interfaces[answer[kBridgePort]];
    answer[kDestinationMac] = out.mac;
    for (uint64_t i = 0; i < network.interfaces.size(); i++) {
      if (network.interfaces[i].bridge == out.name) {
        answer[kBridgePort] = i;
        break;
      }
    }
  }
  return answer;
}

}  // namespace packets
