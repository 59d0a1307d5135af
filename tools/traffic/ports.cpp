#include "tools/traffic/ports.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <list>
#include <map>
#include <set>
#include <tuple>

#include "tools/traffic/services.h"
#include "tools/traffic/verdict.h"

namespace orba::tool {

using namespace packets;

namespace {

using Node = SideWays::Node;
using Rules = std::vector<RuleAt>;

// A protocol's lines to one place by one setting: more than these become one.
constexpr size_t kMostLines = 6;
// Of more rules of a chain than these the rest is counted.
constexpr size_t kMostNamed = 6;

void join(IntervalSet &set, const IntervalSet &more) {
  for (const Interval &each : more.intervals()) set.add(each);
}

// More than half counts as everything: what is missing is told as what stops it.
bool nearly(const IntervalSet &some, const IntervalSet &all) {
  return some == all || (all.size() > 1 && some.size() > all.size() / 2);
}

bool stops(const Outcome &outcome) {
  return outcome.verdict == Verdict::kDropped || outcome.verdict == Verdict::kRejected;
}

Rules rulesOf(const Outcome &outcome) {
  Rules rules;
  if (outcome.translated_by && !stops(outcome)) rules.push_back(*outcome.translated_by);
  if (outcome.decided_by) rules.push_back(*outcome.decided_by);
  return rules;
}

// "records 1, 2 and 5 of aclRules"
std::string recordsText(const std::string &key, const std::map<int, RuleAt> &records) {
  std::string text;
  size_t named = 0;
  for (const auto &[record, rule] : records) {
    const bool last = ++named == records.size();
    text += (text.empty() ? "" : last ? " and " : ", ") + std::to_string(record);
  }
  return "records " + text + " of " + key;
}

std::string nameOf(const RuleAt &rule, const DeskRouter &desk, Blame &blame) {
  return blame.originsOf(rule).empty() ? causeText(rule, desk, blame) : blame.nameOf(rule);
}

// The first rules of each chain: those that are named. The others are counted.
Rules namedOf(const Rules &rules) {
  std::map<Place, Rules> by_place;
  for (const RuleAt &rule : rules) by_place[rule.place].push_back(rule);
  Rules named;
  for (auto &[place, of_place] : by_place) {
    std::sort(of_place.begin(), of_place.end());
    of_place.resize(std::min(of_place.size(), kMostNamed));
    named.insert(named.end(), of_place.begin(), of_place.end());
  }
  return named;
}

// The settings that rules come from, each once.
std::string settingsOf(const Rules &rules, const DeskRouter &desk, Blame &blame) {
  std::map<std::string, std::map<int, RuleAt>> records;
  std::vector<std::string> names;
  const Rules named = namedOf(rules);
  for (const RuleAt &rule : named) {
    const std::vector<Origin> &origins = blame.originsOf(rule);
    if (!origins.empty() && origins[0].record != 0) {
      records[origins[0].key].emplace(origins[0].record, rule);
    } else {
      names.push_back(nameOf(rule, desk, blame));
    }
  }
  for (const auto &[key, of_key] : records) {
    names.push_back(of_key.size() == 1 ? blame.nameOf(of_key.begin()->second)
                                       : recordsText(key, of_key));
  }
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  std::string text;
  for (const std::string &each : names) text += (text.empty() ? "" : ", ") + each;
  const size_t rest = rules.size() - named.size();
  return text + (rest == 0 ? "" : " and " + std::to_string(rest) + " more rules there");
}

// The closest setting of each rule that is named.
std::vector<Origin> originsOf(const Rules &rules, Blame &blame) {
  std::vector<Origin> found;
  for (const RuleAt &rule : namedOf(rules)) {
    const std::vector<Origin> &origins = blame.originsOf(rule);
    const bool is_new =
        !origins.empty() && std::find(found.begin(), found.end(), origins[0]) == found.end();
    if (is_new) found.push_back(origins[0]);
  }
  return found;
}

// What the packets of a line have in common: where they get, and what lets them.
struct Way {
  std::string to;
  std::optional<uint64_t> destination, port;  // that they are translated to
  std::string by;                             // settings, whatever their record

  // The router comes first, and last what nobody knows.
  int rank() const { return to == kRouter ? 0 : to.empty() ? 2 : 1; }
  auto order() const { return std::tuple(rank(), to, destination, port, by); }
  bool operator<(const Way &other) const { return order() < other.order(); }
  bool operator==(const Way &other) const { return order() == other.order(); }
};

struct Box {
  IntervalSet protocols, ports, sources, hosts;

  void join(const Box &more) {
    tool::join(protocols, more.protocols);
    tool::join(ports, more.ports);
    tool::join(sources, more.sources);
    tool::join(hosts, more.hosts);
  }
};

// What some packets from one side reach.
class FromSide {
 public:
  // With `told` asked of each place whether what gets there is to be told. `briefly`, everything
  // that goes through the router gets to one place, and whatever lets it is told together.
  FromSide(SideWays &ways, Blame &blame, const Side &side, Node packets,
           const std::function<bool(const std::string &)> &told, bool briefly)
      : ways_(ways),
        blame_(blame),
        side_(side),
        packets_(packets),
        briefly_(briefly),
        diagrams_(ways.diagrams()) {
    outcomes_ = ways.placesFrom1(side, packets);
    sources_ = diagrams_.valuesOf(
        where([](const Outcome &outcome) { return outcome.verdict != Verdict::kMartian; }),
        kSource);
    for (const Address &each : ways.desk().own(side).addresses) {
      addresses_.add({each.address, each.address});
    }
    if (addresses_.empty()) addresses_.add({0, largestOf(kDestination)});
    std::set<uint32_t> numbers;
    for (uint32_t number : diagrams_.values(outcomes_)) {
      const std::optional<std::string> place =
          number != 0 ? placeOf(outcomeOf(number)) : std::nullopt;
      if (!place || !told(*place)) continue;
      numbers.insert(number);
      told_.insert(*place);
    }
    told_outcomes_ = diagrams_.map(
        outcomes_, [&](uint32_t number) { return numbers.contains(number) ? number : 0; });
  }

  // What lets through what is to be told, and most of what will be named as stopping the rest: to
  // ask where all of them come from costs no more than to ask it of some.
  Rules rules() {
    Rules rules = rulesOf(packets_, [&](const Outcome &outcome) { return isTold(outcome); });
    const Rules stopping = namedOf(rulesOf(packets_, stops));
    rules.insert(rules.end(), stopping.begin(), stopping.end());
    return rules;
  }

  // Each but for what is known already, by protocol and port and where it arrives.
  void findOpenings(Node known, std::vector<Opening> &found) {
    std::map<Way, Node> by_way;
    std::set<std::string> through;
    auto restOf = [&](const Outcome &outcome, Node packets) {
      return diagrams_.without(packets, ways_.arrivingAmong(outcome, known));
    };
    eachTold(packets_, [&](const Outcome &outcome, Node packets) {
      const bool new_to_tell = restOf(outcome, packets) != Diagrams::kNone;
      if (outcome.verdict == Verdict::kForwarded && new_to_tell) through.insert(*placeOf(outcome));
    });
    for (const std::string &each : through) through_ += (through_.empty() ? "" : ", ") + each;
    eachTold(packets_, [&](const Outcome &outcome, Node packets) {
      const Node rest = restOf(outcome, packets);
      if (rest == Diagrams::kNone) return;
      Node &of_way = by_way[wayOf(outcome)];
      of_way = diagrams_.either(of_way, rest);
    });
    for (const auto &[way, packets] : by_way) {
      const Node sure = diagrams_.forAllAnswers(reached(way.to));
      const Node possible = diagrams_.forSomeAnswer(packets);
      add(way, diagrams_.both(possible, sure), {}, found);
      const Node unsure = diagrams_.without(possible, sure);
      add(way, unsure, questionsOf(diagrams_.both(packets, unsure)), found);
    }
  }

  // One for each service that is not among those found already. Who gives himself an address of
  // the LAN gets no answer, and to no service.
  void findLeaks(std::vector<Leak> &found) {
    const Node answered = diagrams_.set({{kSource, ways_.outside(side_)}});
    const Node to_router = diagrams_.both(diagrams_.forSomeAnswer(reached(kRouter)), answered);
    for (const Service &service : services()) {
      const std::optional<KeptIn> kept = keptIn(service, ways_.desk());
      const bool known = std::any_of(found.begin(), found.end(), [&](const Leak &each) {
        return each.from == side_.name && each.service == service.name;
      });
      if (!kept || known) continue;
      Leak leak = {.from = side_.name,
                   .service = service.name,
                   .mode = kept->text,
                   .promise = kept->promise,
                   .protocol = service.protocol};
      Node all = Diagrams::kNone;
      for (const auto &[port, setting] : portsOf(service, ways_.desk())) {
        const Node packets = diagrams_.both(
            to_router, diagrams_.set({{kProtocol, IntervalSet::one(service.protocol)},
                                      {kDestinationPort, IntervalSet::one(port)}}));
        if (packets == Diagrams::kNone) continue;
        all = diagrams_.either(all, packets);
        if (port != 0) {
          leak.ports.push_back(std::to_string(port) +
                               (setting.empty() ? "" : " (" + setting + ")"));
        }
      }
      if (all == Diagrams::kNone) continue;
      leak.sources = diagrams_.valuesOf(all, kSource);
      leak.from_anyone = nearly(leak.sources, sources_);
      leak.rules = rulesOf(
          all, [](const Outcome &outcome) { return outcome.verdict == Verdict::kDelivered; });
      leak.witness = ways_.witness(side_, diagrams_.both(all, reached(kRouter)));
      found.push_back(std::move(leak));
    }
  }

 private:
  const Outcome &outcomeOf(uint32_t number) const {
    return ways_.from(side_).outcomes()[number - 1];
  }

  // Calls `each` with every outcome that is to be told, and those of some packets that have it.
  template <typename Each>
  void eachTold(Node packets, const Each &each) {
    for (const auto &[number, part] :
         diagrams_.parts(diagrams_.choose(packets, told_outcomes_, Diagrams::kNone))) {
      if (number != 0) each(outcomeOf(number), part);
    }
  }

  template <typename Wanted>
  Node where(const Wanted &wanted) {
    return diagrams_.where(
        outcomes_, [&](uint32_t number) { return number != 0 && wanted(outcomeOf(number)); });
  }

  // The rules that decide about some packets, if their outcome is as wanted.
  template <typename Wanted>
  Rules rulesOf(Node packets, const Wanted &wanted) {
    Rules rules;
    for (uint32_t number :
         diagrams_.values(diagrams_.choose(packets, outcomes_, Diagrams::kNone))) {
      if (number == 0 || !wanted(outcomeOf(number))) continue;
      for (const RuleAt &rule : tool::rulesOf(outcomeOf(number))) rules.push_back(rule);
    }
    std::sort(rules.begin(), rules.end());
    rules.erase(std::unique(rules.begin(), rules.end()), rules.end());
    return rules;
  }

  // As Opening::to; nothing for what gets nowhere.
  std::optional<std::string> placeOf(const Outcome &outcome) {
    if (outcome.verdict == Verdict::kUnknown) return "";
    if (outcome.verdict == Verdict::kDelivered) return kRouter;
    if (outcome.verdict != Verdict::kForwarded) return std::nullopt;
    return ways_.targetOf(outcome.out);
  }

  bool isTold(const Outcome &outcome) {
    const std::optional<std::string> place = placeOf(outcome);
    return place && told_.contains(*place);
  }

  Way wayOf(const Outcome &outcome) {
    Way way = {placeOf(outcome).value_or(""), {}, {}, {}};
    if (outcome.translated_by) {
      way.destination = outcome.destination;
      way.port = outcome.port;
    }
    if (briefly_) {
      if (outcome.verdict == Verdict::kForwarded) way.to = through_;
      return way;
    }
    for (const RuleAt &rule : tool::rulesOf(outcome)) {
      const std::vector<Origin> &origins = blame_.originsOf(rule);
      way.by += (origins.empty() ? causeText(rule, ways_.desk(), blame_) : origins[0].key) + "\n";
    }
    return way;
  }

  // The packets that get to a place, by whatever rule.
  Node reached(const std::string &to) {
    const auto [known, fresh] = reached_.try_emplace(to, Diagrams::kNone);
    if (fresh) {
      known->second =
          where([&](const Outcome &outcome) { return isTold(outcome) && wayOf(outcome).to == to; });
    }
    return known->second;
  }

  std::vector<std::string> questionsOf(Node packets) {
    std::vector<std::string> questions;
    for (FieldId field : diagrams_.fieldsOf(packets)) {
      if (field < kFields) continue;
      const std::string &question = ways_.desk().router.unknowns()[field - kFields];
      if (std::find(questions.begin(), questions.end(), question) == questions.end()) {
        questions.push_back(question);
      }
    }
    return questions;
  }

  // The addresses by which a side knows the router stand for all that it has.
  bool isRouter(const IntervalSet &hosts) { return !hosts.intersection(addresses_).empty(); }

  // Whom some packets could reach at a place; at more than one, whom they do.
  const IntervalSet &hostsAt(const std::string &to) {
    const auto [known, fresh] = hosts_.try_emplace(to);
    if (fresh) {
      const Side *side = ways_.desk().side(to);
      known->second = side ? ways_.hostsOf(*side) : diagrams_.valuesOf(reached(to), kDestination);
    }
    return known->second;
  }

  bool areAll(const IntervalSet &hosts, const Way &way) {
    if (way.destination) return false;
    if (way.to == kRouter) return isRouter(hosts);
    return nearly(hosts, hostsAt(way.to));
  }

  // Some packets by what they have of one field, those together that have nearly the same sources
  // and hosts.
  void split(Node packets, FieldId field, const IntervalSet &protocols, const Way &way,
             std::vector<Box> &found) {
    std::vector<Box> boxes;
    auto alike = [&](const Box &one, const Box &other) {
      return (one.sources == other.sources ||
              (nearly(one.sources, sources_) && nearly(other.sources, sources_))) &&
             (one.hosts == other.hosts || (areAll(one.hosts, way) && areAll(other.hosts, way)));
    };
    const Node of_these = diagrams_.both(packets, diagrams_.set({kProtocol, protocols}));
    for (const auto &[values, rest] : diagrams_.parts(of_these, field)) {
      if (rest == Diagrams::kNone) continue;
      const bool ports = field == kDestinationPort;
      const Box box = {ports ? protocols : values, ports ? values : IntervalSet(),
                       diagrams_.valuesOf(rest, kSource), diagrams_.valuesOf(rest, kDestination)};
      auto same = std::find_if(boxes.begin(), boxes.end(),
                               [&](const Box &each) { return alike(each, box); });
      same == boxes.end() ? boxes.push_back(box) : same->join(box);
    }
    if (boxes.size() > kMostLines) {
      for (size_t i = 1; i < boxes.size(); i++) boxes[0].join(boxes[i]);
      boxes.resize(1);
    }
    for (Box &box : boxes) {
      auto same = std::find_if(found.begin(), found.end(), [&](const Box &each) {
        return each.ports == box.ports && alike(each, box);
      });
      same == found.end() ? found.push_back(std::move(box)) : same->join(box);
    }
  }

  std::vector<Box> boxesOf(Node packets, const Way &way) {
    // What is not told of a packet may be anything that it can be.
    for (FieldId field : {kSourcePort, kLength, kSegmentSize, kSourceMac}) {
      packets = diagrams_.forSome(packets, field);
    }
    IntervalSet with_ports;
    std::vector<Box> boxes;
    for (uint64_t protocol : {kTcp, kUdp}) {
      with_ports.add({protocol, protocol});
      split(packets, kDestinationPort, IntervalSet::one(protocol), way, boxes);
    }
    split(packets, kProtocol, with_ports.complement(largestOf(kProtocol)), way, boxes);
    return boxes;
  }

  void add(const Way &way, Node packets, const std::vector<std::string> &depends,
           std::vector<Opening> &found) {
    for (const Box &box : boxesOf(packets, way)) {
      const bool all_hosts = areAll(box.hosts, way);
      Conditions conditions = {
          {kProtocol, box.protocols},
          {kSource, box.sources},
          {kDestination, all_hosts && way.to == kRouter ? addresses_ : box.hosts}};
      if (!box.ports.empty()) conditions.push_back({kDestinationPort, box.ports});
      const Node all = diagrams_.both(packets_, diagrams_.set(conditions));
      const Node these = diagrams_.both(packets, all);
      const Node others = diagrams_.without(all, diagrams_.forSomeAnswer(reached(way.to)));
      auto of_way = [&](const Outcome &outcome) { return wayOf(outcome) == way; };
      Opening made = {.from = side_.name,
                      .to = way.to,
                      .protocols = box.protocols,
                      .ports = box.ports,
                      .sources = box.sources,
                      .from_anyone = nearly(box.sources, sources_),
                      .hosts = way.destination ? IntervalSet::one(*way.destination) : box.hosts,
                      .all_hosts = all_hosts,
                      .translated = way.destination.has_value(),
                      .port = way.port,
                      .rules = rulesOf(these, of_way),
                      .stoppers = rulesOf(others, stops),
                      .by = {},
                      .but = {},
                      .by_origins = {},
                      .but_origins = {},
                      .depends = depends,
                      .witness = {}};
      // With the answers that let it through.
      Node answered = Diagrams::kNone;
      eachTold(these, [&](const Outcome &outcome, Node part) {
        if (of_way(outcome)) answered = diagrams_.either(answered, part);
      });
      made.witness = ways_.witness(side_, answered);
      found.push_back(std::move(made));
    }
  }

  SideWays &ways_;
  Blame &blame_;
  const Side &side_;
  const Node packets_;
  const bool briefly_;
  Diagrams &diagrams_;
  Node told_outcomes_;     // the same, but for those that are not told
  Node outcomes_;          // of the packets: places of outcomes from 1
  IntervalSet sources_;    // that a host there can have
  IntervalSet addresses_;  // by which it knows the router
  std::set<std::string> told_;
  std::string through_;  // all places behind the router, when they are told as one
  std::map<std::string, Node> reached_;
  std::map<std::string, IntervalSet> hosts_;
};

}  // namespace

namespace {

// What is known of lines: protocols, ports and where they arrive, the router being one place, and
// from whom where that is not anyone.
Node knownOf(std::vector<Opening>::const_iterator first, std::vector<Opening>::const_iterator end,
             SideWays &ways) {
  IntervalSet router =
      ways.desk().routed([](const Route &route) { return route.kind != Route::kUnicast; });
  for (const Interval &each : {Interval{0, 0}, Interval{0xe0000000, 0xffffffff}}) router.add(each);
  Node known = Diagrams::kNone;
  for (auto each = first; each != end; ++each) {
    if (each->to.empty()) continue;
    Conditions conditions = {{kProtocol, each->protocols},
                             {kDestination, each->to == kRouter ? router : each->hosts}};
    if (!each->ports.empty()) {
      conditions.push_back(
          {kDestinationPort, each->port ? IntervalSet::one(*each->port) : each->ports});
    }
    if (!each->from_anyone) conditions.push_back({kSource, each->sources});
    known = ways.diagrams().either(known, ways.diagrams().set(conditions));
  }
  return known;
}

}  // namespace

Ports portsOf(SideWays &ways, Blame &blame, const PortsQuestion &question) {
  const DeskRouter &desk = ways.desk();
  if (!question.from.empty()) ways.side(question.from);
  std::string to = question.to;
  if (!to.empty() && to != kRouter) to = ways.targetOf(ways.side(to));
  auto wanted = [&](const Side &from) {
    if (!question.from.empty()) return from.name == question.from;
    return isWan(from.name) || from.name == kLan;
  };
  std::vector<Side> sides;
  std::copy_if(desk.sides.begin(), desk.sides.end(), std::back_inserter(sides), wanted);
  std::stable_partition(sides.begin(), sides.end(),
                        [](const Side &side) { return isWan(side.name); });
  const bool usual = question.from.empty() && to.empty();
  // What anybody can send, and what besides only who is on a side's own wire.
  struct Asked {
    const Side &side;
    FromSide anybody, neighbours;
    bool guarded;  // whether the services' modes keep packets from there
  };
  std::list<Asked> asked;
  Rules rules;
  for (const Side &side : sides) {
    auto told = [&](const std::string &place) {
      return usual && !isWan(side.name) ? place == kRouter : to.empty() || place == to;
    };
    const Node ordinary = ways.ordinary(side);
    const Node others = ways.diagrams().without(ways.beginnings(side), ordinary);
    const bool guarded = isWan(side.name) && told(kRouter);
    asked.push_back({side, FromSide(ways, blame, side, ordinary, told, false),
                     FromSide(ways, blame, side, others, told, true), guarded});
    for (FromSide *from : {&asked.back().anybody, &asked.back().neighbours}) {
      const Rules theirs = from->rules();
      rules.insert(rules.end(), theirs.begin(), theirs.end());
    }
  }
  blame.ask(rules);

  Ports ports;
  for (Asked &each : asked) {
    const auto begin = static_cast<long>(ports.openings.size());
    each.anybody.findOpenings(Diagrams::kNone, ports.openings);
    const Node known = knownOf(ports.openings.begin() + begin, ports.openings.end(), ways);
    const size_t first = ports.openings.size();
    each.neighbours.findOpenings(known, ports.openings);
    for (size_t i = first; i < ports.openings.size(); i++) ports.openings[i].neighbours = true;
    if (!each.guarded) continue;
    each.anybody.findLeaks(ports.leaks);
    each.neighbours.findLeaks(ports.leaks);
  }
  rules.clear();
  for (const Opening &each : ports.openings) {
    const Rules named = namedOf(each.stoppers);
    rules.insert(rules.end(), named.begin(), named.end());
  }
  blame.ask(rules);
  for (Opening &each : ports.openings) {
    each.by = settingsOf(each.rules, desk, blame);
    each.but = settingsOf(each.stoppers, desk, blame);
    each.by_origins = originsOf(each.rules, blame);
    each.but_origins = originsOf(each.stoppers, blame);
  }
  for (Leak &each : ports.leaks) {
    each.by = settingsOf(each.rules, desk, blame);
    each.by_origins = originsOf(each.rules, blame);
  }
  return ports;
}

}  // namespace orba::tool
