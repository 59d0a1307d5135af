#include "packets/walk.h"

#include <algorithm>
#include <map>

namespace packets {

namespace {

constexpr uint64_t kEverybody = 0xffffffff, kAllSystems = 0xe0000001;

bool isGroup(uint64_t address) {
  return address >> 28 == 0xe;
}
// Of a MAC: all stations have it, or some.
bool isOfGroup(uint64_t mac) {
  return (mac & kGroupBit) != 0;
}
bool isLoopback(uint64_t address) {
  return address >> 24 == 127;
}

bool sameEnds(const Packet &packet, const Packet &first) {
  return packet[kSource] == first[kSource] && packet[kSourcePort] == first[kSourcePort] &&
         packet[kDestination] == first[kDestination];
}

// Where a packet meets rules.
enum Hook {
  kBrouting,
  kBridgePrerouting,
  kBridgeInput,
  kBridgeForward,
  kBridgeNatOutput,
  kBridgeOutput,
  kBridgePostrouting,
  kPrerouting,
  kInput,
  kForward,
  kNatOutput,
  kOutput,
  kPostrouting,
  kHooks
};
const Place kPlaces[kHooks] = {
    {Place::kEbtables, "broute", "BROUTING"}, {Place::kEbtables, "nat", "PREROUTING"},
    {Place::kEbtables, "filter", "INPUT"},    {Place::kEbtables, "filter", "FORWARD"},
    {Place::kEbtables, "nat", "OUTPUT"},      {Place::kEbtables, "filter", "OUTPUT"},
    {Place::kEbtables, "nat", "POSTROUTING"}, {Place::kIptables, "nat", "PREROUTING"},
    {Place::kIptables, "filter", "INPUT"},    {Place::kIptables, "filter", "FORWARD"},
    {Place::kIptables, "nat", "OUTPUT"},      {Place::kIptables, "filter", "OUTPUT"},
    {Place::kIptables, "nat", "POSTROUTING"},
};
// Of the hooks that let a packet pass it is a filter's rule that is to be named.
bool isFilter(Hook hook) {
  return kPlaces[hook].table == "filter";
}

// A condition of a rule, whose values lie between two.
struct Test {
  FieldId field;
  bool all;  // of those between them
  uint64_t first, last;
  const IntervalSet *values;

  bool holdsFor(const Packet &packet) const {
    const uint64_t value = packet[field];
    return first <= value && value <= last && (all || values->contains(value));
  }
};

// A chain as packets go through it: its tests one behind the other, and where its jumps lead.
struct Passage {
  struct Line {
    const Rule *rule;
    size_t tests_end;  // they begin where those of the line before end
    Passage *jump;
  };
  const Place *place;
  const Chain *chain;
  bool known = false;  // whether the rest is worked out
  std::vector<Test> tests = {};
  std::vector<Line> lines = {};
};

// With where it leads as a number.
struct KnownRoute {
  Route route;
  uint64_t out;
};

}  // namespace

struct Walker::Known {
  explicit Known(const Router &of) : router(of), network(of.network()) {
    for (const Interface &interface : network.interfaces) {
      for (const Address &own : interface.addresses) addresses.push_back(own.address);
    }
  }

  Passage &at(Hook hook) {
    if (hooks[hook] == nullptr) hooks[hook] = find(kPlaces[hook]);
    return *hooks[hook];
  }

  const Passage &entered(Passage &passage) {
    if (passage.known) return passage;
    passage.known = true;
    for (const Rule &rule : passage.chain->rules) {
      for (const Condition &condition : rule.conditions) {
        const std::vector<Interval> &values = condition.values.intervals();
        passage.tests.push_back({condition.field, values.size() == 1,
                                 values.empty() ? 1 : values.front().first,
                                 values.empty() ? 0 : values.back().last, &condition.values});
      }
      const Place &from = *passage.place;
      passage.lines.push_back({&rule, passage.tests.size(),
                               rule.target.kind == Target::kJump
                                   ? find({from.program, from.table, rule.target.chain})
                                   : nullptr});
    }
    return passage;
  }

  // Null when there is none.
  const KnownRoute *route(uint64_t destination, uint32_t mark) {
    auto [found, fresh] = routes.try_emplace(mark);
    if (fresh) {
      for (const Route &each : network.routesFor(mark)) {
        found->second.push_back({each, network.number(each.device)});
      }
    }
    for (const KnownRoute &each : found->second) {
      if (each.route.contains(destination)) return &each;
    }
    return nullptr;
  }

  const Router &router;
  const Network &network;
  std::vector<uint64_t> addresses;  // of the router

 private:
  Passage *find(const Place &place) {
    const auto chain = router.chains().find(place);
    return &passages.try_emplace(place, Passage{&chain->first, &chain->second}).first->second;
  }

  Passage *hooks[kHooks] = {};
  std::map<Place, Passage> passages;
  std::map<uint32_t, std::vector<KnownRoute>> routes;  // by mark
};

namespace {

struct At {  // of a rule; nothing for none
  const Place *place = nullptr;
  size_t rule = RuleAt::kPolicy;

  explicit operator bool() const { return place != nullptr; }
  RuleAt told() const { return {*place, rule}; }
};

// One packet on its way.
class Journey {
 public:
  Journey(Walker::Known &known, const Packet &packet, const Connection *connection, Detail detail)
      : known_(known),
        network_(known.network),
        packet_(packet),
        connection_(connection),
        detail_(detail) {}

  Walk comeIn() {
    packet_[kIn] = packet_[kBridgePort];
    const uint64_t port = packet_[kBridgePort];
    if (port < network_.interfaces.size() && !isHeard(network_.interfaces[port])) {
      endAs(Verdict::kNobody);
      return finish();
    }
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

  bool leaveBridge(uint64_t port) {
    packet_[kBridgePort] = kNoInterface;
    packet_[kBridgePortOut] = port;
    return through(kBridgeNatOutput) && through(kBridgeOutput) && through(kBridgePostrouting);
  }

  Walk goOut() {
    packet_[kIn] = packet_[kBridgePort] = kNoInterface;
    const KnownRoute *route = known_.route(packet_[kDestination], 0);
    noteRoute(route);
    if (route == nullptr) {
      way_.verdict = Verdict::kNoRoute;
      return finish();
    }
    if (connection_ != nullptr) forward_ = sameEnds(packet_, connection_->original);
    const bool own = route->route.kind == Route::kLocal;
    packet_[kOut] = own ? 0 : route->out;
    if (!through(kNatOutput, packet_[kState] == kNew && !connection_) || !through(kOutput)) {
      return finish();
    }
    if (own) {
      packet_[kIn] = packet_[kBridgePort] = 0;
      packet_[kOut] = kNoInterface;
      if (through(kInput)) way_.verdict = Verdict::kDelivered;
      return finish();
    }
    leave();
    return finish();
  }

 private:
  void note(Step::Kind kind, const At &at = {}, bool matched = false) {
    if (detail_ != Detail::kSteps) return;
    way_.steps.push_back({kind, at ? at.told() : RuleAt{}, matched, {}, packet_});
  }

  void noteRoute(const KnownRoute *route) {
    note(Step::kRoute);
    if (detail_ == Detail::kSteps && route != nullptr) way_.steps.back().route = route->route;
  }

  Walk finish() {
    if (decided_by_) way_.decided_by = decided_by_.told();
    if (translated_by_) way_.translated_by = translated_by_.told();
    way_.end = packet_;
    return std::move(way_);
  }

  // No rule decided but routing.
  void endAs(Verdict verdict) {
    decided_by_ = {};
    way_.verdict = verdict;
  }

  // Whether a session's packets come to it: frames at a port of a bridge are the bridge's, but for
  // those that broute takes out.
  bool isHeard(const Interface &session) {
    const Interface *below = network_.find(session.below);
    if (below == nullptr || below->bridge.empty()) return true;
    const Packet carried = packet_;
    packet_[kBridgePort] = packet_[kIn] = network_.number(session.below);
    packet_[kEtherType] = kPppoeSession;
    packet_[kDestinationMac] = below->mac;
    const bool taken_out = !through(kBrouting) && way_.verdict == Verdict::kDropped;
    packet_ = carried;
    decided_ = false;
    decided_by_ = {};
    return taken_out;
  }

  // Whether the frame is for the router.
  bool comeThroughBridge(const std::string &bridge) {
    const bool bridged = through(kBrouting);
    const uint64_t mac = packet_[kDestinationMac];
    bool for_router = mac == network_.interfaces[packet_[kBridgePort]].mac || isOfGroup(mac);

    if (!bridged && way_.verdict == Verdict::kUnknown) return false;
    if (!bridged) {
      note(Step::kBridge, {}, for_router);
      decided_ = false;
      if (!for_router) way_.verdict = Verdict::kNobody;
      decided_by_ = {};
      return for_router;
    }
    if (!through(kBridgePrerouting)) return false;
    const Interface *own = network_.find(bridge);
    for_router = for_router || (own != nullptr && mac == own->mac);
    note(Step::kBridge, {}, for_router);
    if (for_router) {
      if (!through(kBridgeInput)) return false;
      packet_[kIn] = network_.number(bridge);
      return true;
    }
    if (through(kBridgeForward) &&
        through(kBridgePostrouting, packet_[kBridgePortOut] != kNoInterface)) {
      way_.verdict = Verdict::kBridged;
    }
    return false;
  }

  void beforeRouting() {
    if (connection_ == nullptr) {
      through(kPrerouting, packet_[kState] == kNew);
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
  bool isNoHost(uint64_t source) {
    if (!network_.rules.empty()) {
      const KnownRoute *back = known_.route(source, 0);
      return back != nullptr && back->route.kind != Route::kUnicast;
    }
    return std::find(known_.addresses.begin(), known_.addresses.end(), source) !=
           known_.addresses.end();
  }

  void routeFromWire() {
    const uint64_t source = packet_[kSource], destination = packet_[kDestination];
    const bool to_group = isGroup(destination);
    const bool to_all = destination == kEverybody || (source == 0 && destination == 0);
    const KnownRoute *route =
        to_group || to_all ? nullptr
                           : known_.route(destination, static_cast<uint32_t>(packet_[kMark]));
    const bool nowhere = !to_group && !to_all && route == nullptr;
    bool martian = isGroup(source) || source == kEverybody;
    if (!to_all) {
      martian = martian || isLoopback(source) || (source == 0 && !to_group) ||
                isLoopback(destination) || destination == 0;
    }
    // Only where a packet has a route is its source held against the routes.
    if (!nowhere) martian = martian || (source != 0 && isNoHost(source));
    if (martian) {
      note(Step::kRoute);
      endAs(Verdict::kMartian);
      return;
    }
    if (to_group && destination != kAllSystems) {
      note(Step::kRoute);
      endAs(Verdict::kNobody);
      return;
    }
    if (!to_group && !to_all) noteRoute(route);
    if (nowhere) {
      endAs(Verdict::kNoRoute);
      return;
    }
    if (route == nullptr || route->route.kind != Route::kUnicast) {
      if (!through(kInput)) return;
      way_.verdict = Verdict::kDelivered;
      if (connection_ != nullptr) translateSource();
      return;
    }
    if (isOfGroup(packet_[kDestinationMac])) {
      endAs(Verdict::kNobody);
      return;
    }
    packet_[kOut] = route->out;
    if (through(kForward)) leave();
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
    if (!through(kPostrouting, packet_[kState] == kNew)) return;
    way_.verdict = Verdict::kForwarded;
  }

  // Sends the packet through a built-in chain. False when it ends there.
  bool through(Hook hook, bool wanted = true) {
    if (!wanted) return true;
    Passage &passage = known_.at(hook);
    note(Step::kEnter, {passage.place});
    Target::Kind end = enter(passage);
    if (end == Target::kReturn || end == Target::kGoOn) {
      end = passage.chain->policy;
      ended_by_ = {passage.place};
      note(Step::kPolicy, {passage.place});
    }
    const std::optional<Verdict> verdict = verdictOf(end);
    if (verdict || isFilter(hook)) decided_by_ = ended_by_;
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
  Target::Kind enter(Passage &passage) {
    const Place *place = passage.place;
    const Test *test = known_.entered(passage).tests.data();
    for (size_t i = 0; i < passage.lines.size(); i++) {
      const Passage::Line &line = passage.lines[i];
      const Test *const end_of_tests = passage.tests.data() + line.tests_end;
      const Rule &rule = *line.rule;
      const bool matched = meets(test, end_of_tests);
      test = end_of_tests;
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
          const Chain &target = *line.jump->chain;
          note(Step::kEnter, {line.jump->place});
          Target::Kind end = enter(*line.jump);
          if (end == Target::kGoOn && target.policy != Target::kReturn) {
            end = target.policy;
            ended_by_ = {line.jump->place};
            note(Step::kPolicy, {line.jump->place});
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

  bool meets(const Test *test, const Test *end) {
    for (; test != end; test++) {
      if (test->field >= kFields) way_.asked.push_back(test->field);
      if (!test->holdsFor(packet_)) return false;
    }
    return true;
  }

  // What a rule changes.
  void act(const Rule &rule, const At &at) {
    const Target &target = rule.target;
    if (target.kind == Target::kMark) packet_[kMark] |= target.mark;
    if (target.kind == Target::kDnat) {
      packet_[kDestination] = target.addresses.intervals()[0].first;
      if (!target.ports.empty()) packet_[kDestinationPort] = target.ports.intervals()[0].first;
      translated_by_ = at;
    }
    if (target.kind == Target::kMasquerade && packet_[kOut] < network_.interfaces.size()) {
      const Interface &out = network_.interfaces[packet_[kOut]];
      if (!out.addresses.empty()) packet_[kSource] = out.addresses[0].address;
    }
    if (target.segment != Target::kNoSegment) limitSegment(target.segment);
  }

  // A SYN never speaks of more than it did. One that is silent gets the option, as long as it
  // carries no data, and no more than RFC 879 lets a silent one have.
  void limitSegment(uint64_t most) {
    constexpr uint64_t kHeaders = 40, kSilent = 536, kOption = 4;
    if (most == Target::kPathSegment) {
      const KnownRoute *back = known_.route(packet_[kSource], 0);
      const uint64_t there = mtuOf(packet_[kOut]);
      most = std::min(there, back != nullptr ? mtuOf(back->out) : there) - kHeaders;
    }
    if (packet_[kSegmentSize] != 0) {
      packet_[kSegmentSize] = std::min(packet_[kSegmentSize], most);
    } else if (packet_[kLength] == kHeaders) {
      packet_[kSegmentSize] = std::min(most, kSilent);
      packet_[kLength] += kOption;
    }
  }

  uint64_t mtuOf(uint64_t interface) const {
    return interface < network_.interfaces.size() ? network_.interfaces[interface].mtu : UINT64_MAX;
  }

  Walker::Known &known_;
  const Network &network_;
  Packet packet_;
  const Connection *connection_;
  Detail detail_;
  bool forward_ = true;  // the direction within the connection
  bool decided_ = false;
  At ended_by_;  // the rule or policy with which the last hook was left
  At decided_by_, translated_by_;
  Walk way_;
};

}  // namespace

Walker::Walker(const Router &router) : known_(std::make_unique<Known>(router)) {}
Walker::~Walker() = default;

Walk Walker::walk(const Packet &packet, const Connection *connection, Detail detail) {
  return Journey(*known_, packet, connection, detail).comeIn();
}

Walk Walker::walkFromRouter(const Packet &packet, const Connection *connection, Detail detail) {
  return Journey(*known_, packet, connection, detail).goOut();
}

bool Walker::leavesBridge(const Packet &packet, uint64_t port) {
  return Journey(*known_, packet, nullptr, Detail::kVerdict).leaveBridge(port);
}

Walk walk(const Router &router, const Packet &packet, const Connection *connection, Detail detail) {
  return Walker(router).walk(packet, connection, detail);
}

Walk walkFromRouter(const Router &router, const Packet &packet, const Connection *connection,
                    Detail detail) {
  return Walker(router).walkFromRouter(packet, connection, detail);
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

Packet messageTo(const Router &router, const Walk &way, Message message) {
  const Packet &about = way.end;
  Packet told;
  told[kSource] = about[kDestination];
  told[kDestination] = about[kSource];
  // It belongs to what the packet did, be it nothing.
  told[kState] = about[kState] == kInvalid ? kInvalid : kRelated;
  const bool reset = message == Message::kRefused && about[kProtocol] == kTcp;
  if (reset || message == Message::kOpened || message == Message::kClosed) {
    told[kProtocol] = kTcp;
    told[kSourcePort] = about[kDestinationPort];
    told[kDestinationPort] = about[kSourcePort];
    told[kTcpFlags] = kAcknowledge | (message == Message::kOpened ? kSyn : kReset);
    if (!reset) told[kState] = kEstablished;
    return told;
  }
  constexpr uint64_t kUnreachable = 3, kHeaders = 28, kLongest = 576;
  told[kProtocol] = kIcmp;
  told[kIcmpType] = kUnreachable;
  told[kLength] = std::min(about[kLength] + kHeaders, kLongest);
  if (message == Message::kNoRoute) {
    const std::optional<Route> back = router.network().route(about[kSource], 0);
    const Interface *out = back ? router.network().find(back->device) : nullptr;
    if (out != nullptr && !out->addresses.empty()) told[kSource] = out->addresses[0].address;
  }
  return told;
}

}  // namespace packets
