#include "tools/traffic/reach.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "packets/walk.h"
#include "tools/traffic/blockers.h"
#include "tools/traffic/packet_words.h"

namespace orba::tool {

namespace {

using namespace packets;
using Node = Diagrams::Node;

// Switches that are there to stop packets.
constexpr const char *kDefences[] = {"WANPingFilter", "LANPingFilter", "BlockPortScan",
                                     "BlockPingofDeath", "BlockLAND"};
constexpr size_t kMostBlockers = 3;

// Where the rules of records stand, and those of defences.
constexpr const char *kChainsOfRecords[] = {
    "macipport_filter", "macipport_input_filter", "port_forward", "web_filter",
    "MAC_Filter",       "Policy_Route",           "MCL_IPCHAIN"};
constexpr const char *kChainsOfDefences[] = {"malicious_input_filter", "malicious_filter",
                                             "PING_DEATH"};

template <typename Names>
bool isOneOf(const std::string &name, const Names &names) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool decides(const Rule &rule) {
  return rule.target.kind != Target::kGoOn && rule.target.kind != Target::kJump;
}

bool stops(const Rule &rule) {
  return rule.target.kind == Target::kDrop || rule.target.kind == Target::kReject;
}

// Whether the one begins before the other ends: of each two of many, which soon tells most apart.
bool meet(const IntervalSet &one, const IntervalSet &other) {
  if (one.empty() || other.empty()) return false;
  const auto &ones = one.intervals(), &others = other.intervals();
  return ones.front().first <= others.back().last && others.front().first <= ones.back().last;
}

// Whether a command is refused whatever addresses the router has: those of the desk are made up,
// and a route's gateway may be behind another router's interface.
bool isRefusedAnywhere(const Refusal &refusal) {
  return refusal.words.find("tables") != std::string::npos || refusal.why.ends_with("netmask");
}

// Of a reversed range.
bool asksForNothing(const Rule &rule) {
  return std::any_of(rule.conditions.begin(), rule.conditions.end(),
                     [](const Condition &each) { return each.values.empty(); });
}

bool isLoopbackOnly(const Rule &rule) {
  return std::any_of(rule.conditions.begin(), rule.conditions.end(), [](const Condition &each) {
    return each.field == kIn && each.values == IntervalSet::one(0);
  });
}

class TrafficChecker {
 public:
  TrafficChecker(SideWays &ways, Blame &blame)
      : ways_(ways),
        blame_(blame),
        search_(ways),
        diagrams_(ways.diagrams()),
        router_(ways.desk().router) {}

  std::vector<Finding> findings() {
    checkRefusals();
    checkUnreached();
    checkForwards();
    checkPolicies();
    checkRoutes();
    checkOpenPorts();
    return std::move(findings_);
  }

 private:
  const Rule &ruleAt(const RuleAt &at) const { return router_.chain(at.place)->rules[at.rule]; }

  // About what a command came from, once.
  void add(const Origin &origin, size_t command, std::string reason, std::string effect,
           std::string blocker = "", std::string witness = "") {
    if (!told_.insert({origin.key, origin.record}).second) return;
    findings_.push_back({origin.key, origin.space, origin.record, 0, valueFor(origin, command),
                         std::move(reason), std::move(effect), std::move(blocker),
                         std::move(witness)});
  }
  void add(const Origin &origin, const RuleAt &at, std::string reason, std::string effect,
           std::string blocker, std::string witness) {
    add(origin, blame_.commandOf(at), std::move(reason), std::move(effect), std::move(blocker),
        std::move(witness));
  }

  std::string valueFor(const Origin &origin, size_t command) const {
    const DeskRouter &desk = ways_.desk();
    return valueOf(origin, desk.runs[desk.commands[command].run]);
  }

  const Origin *originOf(const RuleAt &at) {
    const std::vector<Origin> &origins = blame_.originsOf(at);
    return origins.empty() ? nullptr : &origins[0];
  }

  void checkRefusals() {
    for (const Refusal &refusal : router_.refusals()) {
      if (!refusal.missing || !isRefusedAnywhere(refusal)) continue;
      const std::vector<Origin> &origins = blame_.originsOf(refusal.command);
      if (origins.empty() || origins[0].record == 0) continue;
      add(origins[0], refusal.command, "makes a command that is refused (" + refusal.why + ")",
          "comes to nothing");
    }
  }

  void checkUnreached() {
    std::vector<RuleAt> unreached;
    for (const auto &[place, chain] : router_.chains()) {
      const bool of_records = isOneOf(place.chain, kChainsOfRecords);
      if (!of_records && !isOneOf(place.chain, kChainsOfDefences)) continue;
      for (size_t i = 0; i < chain.rules.size(); i++) {
        const Rule &rule = chain.rules[i];
        // MCL_IPCHAIN stops, always the same, what its records have not accepted.
        if (!decides(rule) || isLoopbackOnly(rule) || (!of_records && !stops(rule)) ||
            (place.chain == "MCL_IPCHAIN" && stops(rule)) || search_.acts({place, i})) {
          continue;
        }
        unreached.push_back({place, i});
      }
    }
    blame_.ask(unreached);
    for (const RuleAt &at : unreached) {
      const Origin *origin = originOf(at);
      if (origin == nullptr) continue;
      if (origin->record == 0 && !isIdleDefence(*origin, at)) continue;
      const Blockers blockers = search_.blockersOf(at);
      const std::string blocker = namesOf(blockers);
      std::string effect = "comes behind " + blocker + ", where all its packets go";
      if (blockers.routing) effect = "is for packets that the kernel's routing refuses";
      const bool bridgeless =
          at.place.program == Place::kEbtables && router_.network().bridges.empty();
      if (bridgeless) effect = "is for frames of a bridge, and the router has none";
      // Its other rule translates, and what it sends on is the router's own.
      const bool forwards_to_itself = blockers.router && at.place.chain == "port_forward";
      if (blockers.router) effect = "is for packets to the router itself, which it does not filter";
      const bool nothing = asksForNothing(ruleAt(at));
      if (nothing) effect = "asks for a range whose end is in front of its beginning";
      if (blocker.empty() && !bridgeless && !nothing) {
        // Where the desk alone has no packet for it, nothing is said.
        if (search_.isHooked(at.place)) continue;
        effect = "stands where no packet comes";
      }
      std::string reason = "is reached by no packet";
      if (origin->record == 0) reason = "stops nothing that would get so far";
      if (forwards_to_itself) {
        reason = "forwards nothing";
        effect = "sends its packets to an address of the router itself";
      }
      if (origin->record != 0 && othersAct(at, *origin)) {
        if (blocker.empty() || blockers.routing || blockers.router) continue;
        reason = "does not get all its packets";
        effect = "comes behind " + blocker + ", where all its " + kindOf(ruleAt(at)) + " go";
      }
      add(*origin, at, reason, effect, blocker, blockers.witness);
    }
  }

  // Whether another rule of the same record acts, of those that stand in the same table. Their
  // commands were run one behind the other.
  bool othersAct(const RuleAt &at, const Origin &origin) {
    constexpr size_t kMostCommands = 8;
    const size_t command = blame_.commandOf(at);
    std::vector<RuleAt> others;
    for (const auto &[place, chain] : router_.chains()) {
      if (place.program != at.place.program || place.table != at.place.table) continue;
      for (size_t i = 0; i < chain.rules.size(); i++) {
        const Rule &rule = chain.rules[i];
        const size_t between = std::max(rule.command, command) - std::min(rule.command, command);
        const RuleAt other = {place, i};
        if (between <= kMostCommands && other != at && decides(rule) && search_.acts(other)) {
          others.push_back(other);
        }
      }
    }
    blame_.ask(others);
    return std::any_of(others.begin(), others.end(), [&](const RuleAt &each) {
      const Origin *of_it = originOf(each);
      return of_it != nullptr && of_it->key == origin.key && of_it->record == origin.record;
    });
  }

  // "udp packets"
  static std::string kindOf(const Rule &rule) {
    const IntervalSet *protocols = valuesOf(rule, kProtocol);
    if (protocols == nullptr || protocols->size() != 1) return "packets of one kind";
    return protocolName(protocols->intervals()[0].first) + " packets";
  }

  // Whether all that a switch has to stop packets with acts on none.
  bool isIdleDefence(const Origin &origin, const RuleAt &at) {
    if (!isOneOf(origin.key, kDefences) || !stops(ruleAt(at))) return false;
    std::vector<RuleAt> acting;
    for (const char *name : kChainsOfDefences) {
      const Place place = {Place::kIptables, "filter", name};
      const Chain *chain = router_.chain(place);
      for (size_t i = 0; chain != nullptr && i < chain->rules.size(); i++) {
        if (stops(chain->rules[i]) && search_.acts({place, i})) acting.push_back({place, i});
      }
    }
    blame_.ask(acting);
    return std::none_of(acting.begin(), acting.end(), [&](const RuleAt &each) {
      const Origin *other = originOf(each);
      return other != nullptr && other->key == origin.key;
    });
  }

  std::string namesOf(const Blockers &blockers) {
    if (blockers.routing) return "routing";
    if (blockers.router) return "the router itself";
    std::vector<std::string> names;
    for (const RuleAt &at : blockers.rules) {
      const std::string name = blame_.nameOf(at);
      if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
      if (names.size() > kMostBlockers) break;
    }
    std::string text;
    for (size_t i = 0; i < names.size(); i++) {
      if (i > 0) text += i + 1 == names.size() ? " and " : ", ";
      text += i < kMostBlockers ? names[i] : "others";
    }
    return text;
  }

  // A port that two records forward to different hosts is the first one's.
  void checkForwards() {
    const Place place = {Place::kIptables, "nat", "port_forward"};
    const Chain *chain = router_.chain(place);
    if (chain == nullptr) return;
    struct Forward {
      size_t at;
      const Rule &rule;
      const IntervalSet &ports, &protocols;
    };
    std::vector<Forward> forwards;
    for (size_t at = 0; at < chain->rules.size(); at++) {
      const Rule &rule = chain->rules[at];
      const IntervalSet *ports = valuesOf(rule, kDestinationPort);
      const IntervalSet *protocols = valuesOf(rule, kProtocol);
      if (ports != nullptr && protocols != nullptr)
        forwards.push_back({at, rule, *ports, *protocols});
    }
    for (const Forward &later : forwards) {
      for (const Forward &earlier : forwards) {
        if (earlier.at == later.at) break;
        if (!meet(earlier.ports, later.ports) || !(earlier.protocols == later.protocols) ||
            earlier.rule.target == later.rule.target) {
          continue;
        }
        const IntervalSet shared = earlier.ports.intersection(later.ports);
        if (shared.empty() || shared == later.ports) continue;
        const Origin *origin = originOf({place, later.at});
        if (origin == nullptr) continue;
        const std::string blocker = blame_.nameOf({place, earlier.at});
        Conditions both = later.rule.conditions;
        both.push_back({kDestinationPort, shared});
        add(*origin, {place, later.at}, "does not get all its ports",
            "leaves " + portsText(shared) + " to " + blocker, blocker, witnessFromOutside(both));
        break;
      }
    }
  }

  // Whose a route is: a record's, or nobody's where the main table has none.
  std::string routeName(const std::optional<Route> &route) {
    const std::string name = route ? blame_.nameOf(route->command) : "";
    return name.empty() ? "a route that no record made" : name;
  }

  // Marks of policy routes are or-ed together: what two records match need not take the way that
  // each of them would lead it.
  void checkPolicies() {
    const Place place = {Place::kEbtables, "filter", "Policy_Route"};
    const Chain *chain = router_.chain(place);
    if (chain == nullptr) return;
    for (size_t later = 1; later < chain->rules.size(); later++) {
      for (size_t earlier = 0; earlier < later; earlier++) {
        if (shareMarks({place, earlier}, {place, later})) break;
      }
    }
  }

  // Whether there is something to tell of what two rules mark.
  bool shareMarks(const RuleAt &earlier, const RuleAt &later) {
    Conditions conditions = ruleAt(earlier).conditions;
    const Conditions &more = ruleAt(later).conditions;
    conditions.insert(conditions.end(), more.begin(), more.end());
    const Node both = diagrams_.set(conditions);
    if (both == Diagrams::kNone) return false;
    for (const Side &side : search_.sides()) {
      Node packets = diagrams_.both(both, ways_.beginnings(side));
      for (const RuleAt &at : {earlier, later}) {
        packets = diagrams_.both(packets, ways_.from(side).actsOn(at));
      }
      if (packets == Diagrams::kNone) continue;
      const Packet packet = ways_.witness(side, packets);
      const std::optional<Route> way = routeOf(router_, packet),
                                 one = routeOf(router_.without(later), packet),
                                 other = routeOf(router_.without(earlier), packet);
      const bool as_one = sameWay(way, one), as_other = sameWay(way, other);
      if (as_one && as_other) continue;
      // Whose packets others have.
      const RuleAt &loser = as_other ? earlier : later, &winner = as_other ? later : earlier;
      const Origin *origin = originOf(loser);
      if (origin == nullptr) continue;
      const std::string blocker = blame_.nameOf(winner);
      add(*origin, loser, "does not lead all its packets",
          as_one || as_other ? "leaves what " + blocker + " matches too to that"
                             : "has the marks of what " + blocker +
                                   " matches too or-ed, which leads that by " + routeName(way),
          blocker, sentText(packet, ways_.ordinaryMac()));
      return true;
    }
    return false;
  }

  static std::optional<Route> routeOf(const Router &router, const Packet &packet) {
    std::optional<Route> route;
    for (const Step &step : walk(router, packet).steps) {
      if (step.kind == Step::kRoute) route = step.route;
    }
    return route;
  }

  static bool sameWay(const std::optional<Route> &one, const std::optional<Route> &other) {
    if (!one || !other) return one.has_value() == other.has_value();
    return one->kind == other->kind && one->device == other->device &&
           one->gateway == other->gateway;
  }

  // Records of routes to what others lead to already. That a smaller network has a route of its
  // own is what routes are for.
  void checkRoutes() {
    const auto addressesOf = [](const Route &route) {
      const uint64_t rest = 0xffffffffull >> route.prefix, first = route.destination & ~rest;
      return IntervalSet::range(first, first | rest);
    };
    std::vector<Route> before;
    IntervalSet known;
    for (const Route &route : router_.network().routesFor(0)) {
      if (route.table != "main" && route.table != "local") continue;
      const IntervalSet addresses = addressesOf(route);
      const bool taken = addresses.intersection(known) == addresses;
      const std::vector<Origin> origins =
          taken ? blame_.originsOf(route.command) : std::vector<Origin>();
      if (!origins.empty()) {
        std::string blockers;
        for (const Route &each : before) {
          if (addressesOf(each).intersection(addresses).empty()) continue;
          blockers += (blockers.empty() ? "" : " and ") + routeName(each);
        }
        const Side &side = search_.sides()[0];
        const Node packets =
            diagrams_.both(ways_.beginnings(side), diagrams_.set({{kDestination, addresses}}));
        add(origins[0], route.command, "is taken by no packet",
            "leaves " + addressesText(addresses) + " to " + blockers, blockers,
            packets == Diagrams::kNone ? "" : search_.witnessOf(side, packets));
      }
      before.push_back(route);
      known.add(addresses);
    }
  }

  std::string witnessFromOutside(const Conditions &conditions) {
    for (const Side &side : search_.sides()) {
      const Node such = diagrams_.both(diagrams_.set(conditions), ways_.beginnings(side));
      const bool outside = isWan(side.name);
      if (outside && such != Diagrams::kNone) return search_.witnessOf(side, such);
    }
    return "";
  }

  IntervalSet portsOf(Node set) {
    set = diagrams_.forSomeAnswer(set);
    for (FieldId field = 0; field < kFields; field++) {
      if (field != kDestinationPort) set = diagrams_.forSome(set, field);
    }
    IntervalSet ports;
    diagrams_.boxes(set, [&](const Conditions &box) {
      if (box.empty()) ports.add({0, largestOf(kDestinationPort)});
      for (const Condition &each : box) {
        for (const Interval &interval : each.values.intervals()) ports.add(interval);
      }
    });
    return ports;
  }

  // Ports of the router that are open because nothing closes them, not because a service or a
  // record opens them: by the rule behind the records. What stands in INPUT nobody can close.
  void checkOpenPorts() {
    struct Door {
      RuleAt at;
      bool missing;  // the policy
      std::string witness;
    };
    std::optional<Door> first;
    std::map<uint64_t, IntervalSet> open;  // by protocol, from any WAN
    for (const Side &side : search_.sides()) {
      const packets::Interface &outside = *router_.network().find(side.interface);
      if (!isWan(side.name) || !outside.bridge.empty()) continue;
      const std::vector<Outcome> &outcomes = ways_.from(side).outcomes();
      const Node begun = search_.outcomesOf(side, ways_.ordinary(side));
      std::vector<RuleAt> doors;
      for (uint32_t value : diagrams_.values(begun)) {
        if (value == BlockerSearch::kOthers || outcomes[value].verdict != Verdict::kDelivered)
          continue;
        const std::optional<RuleAt> &by = outcomes[value].decided_by;
        if (by && by->place.chain == "macipport_input_filter") doors.push_back(*by);
      }
      blame_.ask(doors);
      for (const RuleAt &door : doors) {
        const Origin *origin = originOf(door);
        if (origin == nullptr || origin->record != 0) continue;
        // A missing policy counts as 0, and then the list that made it be looked at is to blame.
        const bool missing = origin->key == "IPPortFilterRules";
        if (!missing && origin->key != "DefaultFirewallPolicy") continue;
        const Node through = diagrams_.where(begun, [&](uint32_t value) {
          return value != BlockerSearch::kOthers &&
                 outcomes[value].verdict == Verdict::kDelivered &&
                 outcomes[value].decided_by == door;
        });
        for (uint64_t protocol : {kTcp, kUdp}) {
          open[protocol].add(portsOf(
              diagrams_.both(through, diagrams_.set({kProtocol, IntervalSet::one(protocol)}))));
        }
        if (!first) first = {door, missing, search_.witnessOf(side, through)};
      }
    }
    if (!first) return;
    std::string text;
    for (const auto &[protocol, ports] : open) {
      if (ports.empty()) continue;
      text += (text.empty() ? "" : "; ") + protocolText(protocol) + " " + portsText(ports);
    }
    add({Origin::kBecause, 1, "DefaultFirewallPolicy"}, first->at,
        std::string(first->missing ? "is missing, which counts as 0, and " : "") +
            "lets the Internet reach ports of the router that no setting opens",
        "leaves open " + text, "", first->witness);
  }

  SideWays &ways_;
  Blame &blame_;
  BlockerSearch search_;
  Diagrams &diagrams_;
  const Router &router_;
  std::set<std::pair<std::string, int>> told_;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> checkTraffic(SideWays &ways, Blame &blame) {
  return TrafficChecker(ways, blame).findings();
}

}  // namespace orba::tool
