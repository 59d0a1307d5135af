#include "tools/traffic/change.h"

#include <algorithm>
#include <memory>
#include <set>
#include <tuple>

#include "packets/ways.h"
#include "tools/text/edits.h"
#include "tools/text/lines.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/question.h"
#include "tools/traffic/side_ways.h"
#include "tools/traffic/trace.h"

namespace orba::tool {

namespace {

using namespace packets;
using Node = Diagrams::Node;
using Config = std::vector<nvram::Setting>;

// More changes than these are counted, not looked into; and each trial is a router more,
// of which larger ones may have fewer.
constexpr size_t kMostChanges = 24, kMostTrials = 24, kFewRules = 200, kMostSlices = 3,
                 kMostAlike = 4;
// More records than these that differ are taken as one change of their list.
constexpr size_t kMostRecords = 64;

std::map<FieldId, IntervalSet> exceptPorts(const Slice &slice) {
  std::map<FieldId, IntervalSet> fields = slice.fields;
  fields.erase(kDestinationPort);
  return fields;
}

// The side behind an interface, or its name.
std::string outOf(uint64_t interface, const DeskRouter &desk) {
  const Network &network = desk.router.network();
  if (interface >= network.interfaces.size()) return "";
  const std::string &name = network.interfaces[interface].name;
  for (const Side &side : desk.sides) {
    if (side.interface == name || network.find(side.interface)->bridge == name) return side.name;
  }
  return name;
}

Fate::Kind kindOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kForwarded:
      return Fate::kOut;
    case Verdict::kDelivered:
      return Fate::kRouter;
    case Verdict::kRejected:
    case Verdict::kNoRoute:
      return Fate::kRefusal;
    case Verdict::kBridged:
      return Fate::kBridged;
    case Verdict::kUnknown:
      return Fate::kProgram;
    case Verdict::kDropped:
    case Verdict::kMartian:
    case Verdict::kNobody:
      break;
  }
  return Fate::kSilence;
}

// What is dropped or refused is so wherever it was to go.
Fate fateOf(const Outcome &outcome, const DeskRouter &desk) {
  Fate fate = {kindOf(outcome.verdict)};
  if (!fate.passes()) return fate;
  fate.out = outOf(outcome.out, desk);
  fate.destination = outcome.destination;
  fate.port = outcome.port;
  fate.masqueraded = outcome.masqueraded;
  return fate;
}

// ---- what differs between two configurations ----

// Differences of settings, each of which can be put over by itself.
class SettingChanges {
 public:
  SettingChanges(const DeskRouter &before, const DeskRouter &after);

  size_t count() const { return units_.size(); }
  const SettingChange &operator[](size_t unit) const { return units_[unit].change; }
  // The settings of before with some of the differences put over.
  Config with(const std::set<size_t> &chosen) const;

 private:
  struct Unit {
    SettingChange change;
    std::set<size_t> edits = {};  // of its list
  };
  struct Difference {
    int space;
    std::string key;
    std::optional<std::string> before, after;
    Edits records;  // empty where it is taken as a whole
    std::vector<size_t> units;
  };

  void add(Difference difference);

  const Config &before_;
  std::vector<Difference> differences_;
  std::vector<Unit> units_;
};

std::optional<std::string> valueIn(const Config &config, int space, const std::string &key) {
  std::optional<std::string> value;  // of two the store keeps the last
  for (const nvram::Setting &each : config) {
    if (each.space == space && each.key == key) value = each.value;
  }
  return value;
}

SettingChanges::SettingChanges(const DeskRouter &before, const DeskRouter &after)
    : before_(before.runs.at(0).config) {
  std::set<std::pair<int, std::string>> asked;
  for (const DeskRouter *desk : {&before, &after}) {
    for (const Recording &run : desk->runs) {
      for (const auto &[setting, times] : run.asked) asked.insert(setting);
    }
  }
  const Config &now = after.runs.at(0).config;
  for (const auto &[space, key] : asked) {
    Difference difference = {space, key, valueIn(before_, space, key), valueIn(now, space, key)};
    if (difference.before != difference.after) add(std::move(difference));
  }
}

void SettingChanges::add(Difference difference) {
  const auto &before = difference.before, &after = difference.after;
  if (before && after &&
      (before->find(';') != std::string::npos || after->find(';') != std::string::npos)) {
    difference.records = editsBetween(splitAt(*before, ';'), splitAt(*after, ';'));
    const auto changed = std::count_if(difference.records.begin(), difference.records.end(),
                                       [](const Edit &each) { return each.kind != Edit::kKept; });
    if (static_cast<size_t>(changed) > kMostRecords) difference.records.clear();
  }
  for (size_t i = 0; i < difference.records.size(); i++) {
    const Edit &edit = difference.records[i];
    if (edit.kind == Edit::kKept) continue;
    SettingChange change = {difference.space, difference.key, 0, {}, {}};
    std::set<size_t> edits = {i};
    const auto put = [&](const Edit &each) {
      const bool added = each.kind == Edit::kAdded;
      change.record = static_cast<int>(added ? each.after : each.before);
      (added ? change.after : change.before) = each.text;
    };
    put(edit);
    // One that goes and one that comes in its place are one that changes.
    if (i + 1 < difference.records.size() && difference.records[i + 1].kind != Edit::kKept &&
        difference.records[i + 1].kind != edit.kind) {
      put(difference.records[++i]);
      edits.insert(i);
    }
    difference.units.push_back(units_.size());
    units_.push_back({std::move(change), edits});
  }
  if (difference.records.empty()) {
    difference.units.push_back(units_.size());
    units_.push_back({{difference.space, difference.key, 0, before, after}});
  }
  differences_.push_back(std::move(difference));
}

Config SettingChanges::with(const std::set<size_t> &chosen) const {
  Config config = before_;
  for (const Difference &difference : differences_) {
    std::optional<std::string> value = difference.before;
    if (difference.records.empty()) {
      if (chosen.count(difference.units[0]) != 0) value = difference.after;
    } else {
      std::set<size_t> put_over;
      for (size_t unit : difference.units) {
        if (chosen.count(unit) == 0) continue;
        put_over.insert(units_[unit].edits.begin(), units_[unit].edits.end());
      }
      value = "";
      bool first = true;
      for (size_t i = 0; i < difference.records.size(); i++) {
        const Edit &edit = difference.records[i];
        const bool there =
            edit.kind == Edit::kKept || (edit.kind == Edit::kAdded) == (put_over.count(i) != 0);
        if (!there) continue;
        *value += (first ? "" : ";") + edit.text;
        first = false;
      }
    }
    std::erase_if(config, [&](const nvram::Setting &each) {
      return each.space == difference.space && each.key == difference.key;
    });
    if (value) config.push_back({difference.space, difference.key, *value});
  }
  return config;
}

// ---- the two routers, and those between them ----

// Packets from a side: those for the router's MAC address, or those for another one.
struct Stream {
  std::string side;
  bool bridged = false;

  auto operator<=>(const Stream &) const = default;
};

// The rules that a hook's packets may come to, chain by chain.
std::map<Place, std::vector<std::string>> textsFrom(const Place &hook, const Router &router) {
  std::map<Place, std::vector<std::string>> texts;
  std::vector<Place> waiting = {hook};
  while (!waiting.empty()) {
    const Place place = waiting.back();
    waiting.pop_back();
    const Chain *chain = router.chain(place);
    if (chain == nullptr || texts.count(place) != 0) continue;
    std::vector<std::string> &rules = texts[place];
    for (const Rule &rule : chain->rules) {
      rules.push_back(rule.text);
      if (rule.target.kind == Target::kJump) {
        waiting.push_back({place.program, place.table, rule.target.chain});
      }
    }
    rules.push_back(std::to_string(chain->policy));
  }
  return texts;
}

// The commands that load and unload modules of the kernel: by them it knows which packets are
// related to a connection.
std::vector<std::string> modulesOf(const DeskRouter &desk) {
  std::vector<std::string> commands;
  for (const Recording &run : desk.runs) {
    for (const std::string &each : run.commands) {
      if (each.rfind("insmod", 0) == 0 || each.rfind("rmmod", 0) == 0) commands.push_back(each);
    }
  }
  return commands;
}

void addNew(std::vector<std::string> &texts, const std::vector<std::string> &more) {
  for (const std::string &each : more) {
    if (std::find(texts.begin(), texts.end(), each) == texts.end()) texts.push_back(each);
  }
}

// The rules that change how large the segments of TCP connections get.
std::vector<std::string> segmentRulesOf(const Router &router) {
  std::vector<std::string> texts;
  for (const auto &[place, chain] : router.chains()) {
    for (const Rule &rule : chain.rules) {
      if (rule.target.segment != Target::kNoSegment) texts.push_back(rule.text);
    }
  }
  return texts;
}

// Which addresses a router sends to by an interface and a gateway.
using Exits = std::map<std::pair<std::string, std::optional<uint64_t>>, IntervalSet>;

Exits exitsOf(const Network &network, uint32_t mark) {
  Exits exits;
  IntervalSet known;
  for (const Route &route : network.routesFor(mark)) {
    const uint64_t rest = 0xffffffffull >> route.prefix, first = route.destination & ~rest;
    const IntervalSet all = IntervalSet::range(first, first | rest);
    const IntervalSet these = all.intersection(known.complement(largestOf(kDestination)));
    known.add(all);
    if (route.kind == Route::kUnicast) exits[{route.device, route.gateway}].add(these);
  }
  return exits;
}

// To whom another gateway of the same interface leads now: "10.9.0.0/16 by 192.168.1.253".
std::vector<std::string> otherGateways(const Network &before, const Network &after) {
  std::set<uint32_t> marks = {0};
  for (const Network *network : {&before, &after}) {
    for (const RoutingRule &each : network->rules) marks.insert(each.mark);
  }
  const auto gatewayText = [](const std::optional<uint64_t> &gateway) {
    return gateway ? "by " + addressText(*gateway) : std::string("without one");
  };
  std::vector<std::string> texts;
  for (uint32_t mark : marks) {
    const Exits exits_before = exitsOf(before, mark);
    for (const auto &[now, led] : exitsOf(after, mark)) {
      for (const auto &[then, addresses] : exits_before) {
        const IntervalSet both = led.intersection(addresses);
        if (now.first != then.first || now.second == then.second || both.empty()) continue;
        addNew(texts, {addressesText(both) + " " + gatewayText(now.second) + ", before " +
                       gatewayText(then.second)});
      }
    }
  }
  return texts;
}

// Interfaces, sides and routes, as far as packets can tell.
std::vector<std::string> networkOf(const DeskRouter &desk) {
  std::vector<std::string> texts;
  const Network &network = desk.router.network();
  for (const packets::Interface &each : network.interfaces) {
    texts.push_back(each.name + " " + macText(each.mac) + " " + each.bridge);
    for (const Address &address : each.addresses) {
      texts.push_back(addressText(address.address) + "/" + std::to_string(address.prefix));
    }
  }
  for (const Side &each : desk.sides) texts.push_back(each.name + " " + each.interface);
  for (const RoutingRule &each : network.rules) {
    texts.push_back(std::to_string(each.priority) + " " + std::to_string(each.mark) + "/" +
                    std::to_string(each.mask) + " " + each.table);
  }
  for (const auto &[table, routes] : network.tables) {
    for (const Route &each : routes) {
      texts.push_back(table + " " + addressText(each.destination) + "/" +
                      std::to_string(each.prefix) + " " + std::to_string(each.kind) + " " +
                      (each.gateway ? addressText(*each.gateway) : "") + " " + each.device);
    }
  }
  return texts;
}

// Whether two routers were made by the same commands on the same network.
bool same(const DeskRouter &before, const DeskRouter &after) {
  for (size_t i = 0; i < before.runs.size(); i++) {
    if (before.runs[i].commands != after.runs[i].commands) return false;
  }
  return networkOf(before) == networkOf(after);
}

// A router, and what becomes of packets in it.
struct Variant {
  std::unique_ptr<DeskRouter> own;
  const DeskRouter *desk = nullptr;
  std::map<FieldId, FieldId> questions = {};  // the fields of its questions in those of all routers
  std::map<Stream, Node> fates = {};          // packets to numbers of fates
};

// Those for another address have one that differs from the router's in a bit of its last byte.
uint64_t macOf(const Stream &stream, const DeskRouter &desk) {
  const uint64_t own = desk.own(*desk.side(stream.side)).mac;
  return stream.bridged ? own ^ 2 : own;
}

bool isPort(const std::string &side, const DeskRouter &desk) {
  return desk.side(side) != nullptr &&
         !desk.router.network().find(desk.side(side)->interface)->bridge.empty();
}

enum Direction { kOpens, kShuts, kTurns, kRefuses };

Direction directionOf(const TrafficChange &change) {
  if (change.passes > change.was_passed) return kOpens;
  if (change.passes < change.was_passed) return kShuts;
  return change.passes == Passes::kNo ? kRefuses : kTurns;
}

int stepOf(const TrafficChange &change) {
  return abs(static_cast<int>(change.passes) - static_cast<int>(change.was_passed));
}

// What opens something towards the Internet comes first.
std::tuple<int, int, int> rankOf(const TrafficChange &change) {
  return {change.packets, directionOf(change), isWan(change.from[0]) ? 0 : 1};
}

// Makes one slice of those of two changes, which holds some of its packets only.
void mergeInto(TrafficChange &change, const TrafficChange &other) {
  if (change.slices.empty()) return;
  std::vector<Slice> slices(change.slices.begin() + 1, change.slices.end());
  slices.insert(slices.end(), other.slices.begin(), other.slices.end());
  change.slices.resize(1);
  for (const Slice &each : slices) widen(change.slices[0], each);
  change.alike += other.alike;
  addNew(change.depends, other.depends);
}

class Comparison {
 public:
  Comparison(const DeskRouter &before, const DeskRouter &after, const Prepare &prepare,
             Causes wanted)
      : prepare_(prepare),
        wanted_(wanted),
        settings_(before, after),
        ends_(after),
        was_(before, diagrams_),
        is_(after, diagrams_),
        macs_(macsOfRules(before.router)) {
    macs_.add(macsOfRules(after.router));
    before_ = variant(nullptr, before);
    after_ = variant(nullptr, after);
    candidates_ = candidates();
  }

  TrafficChanges find();

 private:
  // Packets of one kind from sides that no rule tells apart.
  struct Question {
    Sides from;
    Stream stream;  // from the first of them
    TrafficChange::Packets kind;
    Node packets;
  };
  // What becomes of the packets of a question, before and after.
  struct Part {
    Passes was_passed, passes;
    Fate was, is;
    Node packets;
  };

  // The router that has the side, the later one where both have.
  SideWays &waysOf(const Stream &stream) {
    return after_.desk->side(stream.side) != nullptr ? is_ : was_;
  }
  Node fromEither(const Stream &stream, Node (SideWays::*packets)(const Side &));
  Variant variant(std::unique_ptr<DeskRouter> own, const DeskRouter &desk);
  uint32_t number(const Fate &fate);
  Node fates(Variant &variant, const Stream &stream);
  Node fates(Variant &variant, const Question &question);
  Node differ(Node one, Node other);
  Node differing(const Stream &stream);
  Node candidates();
  std::vector<Question> questions();
  void ask(const Sides &from, const Stream &stream, std::vector<Question> &questions);
  std::vector<Part> parts(const Question &question);
  void compare(const Question &question, TrafficChanges &found);
  void tell(const Question &question, const Part &part, TrafficChanges &found);
  void tellSlices(const Question &question, TrafficChange change, Node packets,
                  TrafficChanges &found);
  Variant *trial(const std::set<size_t> &chosen);
  std::optional<std::set<size_t>> causes(const Question &question, const Packet &witness);
  void addWitness(const Question &question, Node packets, TrafficChange &change);
  Packet witness(const Stream &stream, Node packets);
  std::vector<std::string> unknownsOf(Packet packet, const Stream &stream,
                                      const Variant &variant) const;

  const Prepare &prepare_;
  const Causes wanted_;
  Diagrams diagrams_;
  SettingChanges settings_;
  Ends ends_;
  SideWays was_, is_;
  std::map<Fate, uint32_t> numbers_;
  std::vector<Fate> fates_;
  std::map<std::tuple<Place, std::string, std::string, size_t>, FieldId> questions_;
  Variant before_, after_;
  Node candidates_ = Diagrams::kAll;
  IntervalSet macs_;  // that rules of one router or the other name
  std::map<Stream, Node> differing_;
  std::map<std::set<size_t>, Variant> trials_;
};

Variant Comparison::variant(std::unique_ptr<DeskRouter> own, const DeskRouter &desk) {
  Variant made = {std::move(own), &desk, {}, {}};
  // The question of a rule is the same in each router that has the rule.
  std::map<std::tuple<Place, std::string, std::string>, size_t> seen;
  for (const auto &[place, chain] : desk.router.chains()) {
    for (const Rule &rule : chain.rules) {
      for (const Condition &condition : rule.conditions) {
        if (condition.field < kFields) continue;
        const std::string &words = desk.router.unknowns()[condition.field - kFields];
        const size_t occurrence = seen[{place, rule.text, words}]++;
        const auto [known, unknown] =
            questions_.try_emplace({place, rule.text, words, occurrence},
                                   static_cast<FieldId>(kFields + questions_.size()));
        made.questions[condition.field] = known->second;
      }
    }
  }
  std::erase_if(made.questions, [](const auto &each) { return each.first == each.second; });
  return made;
}

uint32_t Comparison::number(const Fate &fate) {
  const auto [found, unknown] = numbers_.try_emplace(fate, static_cast<uint32_t>(fates_.size()));
  if (unknown) fates_.push_back(fate);
  return found->second;
}

// To numbers of fates, where packets are asked about. Where there is no such side nothing becomes
// of them.
Node Comparison::fates(Variant &variant, const Stream &stream) {
  const Node asked = variant.own ? differing(stream) : candidates_;
  const auto [known, unknown] = variant.fates.try_emplace(stream);
  if (!unknown) return known->second;
  Node &function = variant.fates[stream];
  const DeskRouter &desk = *variant.desk;
  const Side *side = desk.side(stream.side);
  if (side == nullptr) return function = diagrams_.constant(number({}));
  const uint64_t mac = macOf(stream, desk);
  const Ways ways(desk.router, diagrams_, desk.router.network().number(side->interface),
                  Deciders::kUntold,
                  diagrams_.both(asked, diagrams_.set({kDestinationMac, IntervalSet::one(mac)})));
  std::vector<uint32_t> numbers;
  for (const Outcome &each : ways.outcomes()) numbers.push_back(number(fateOf(each, desk)));
  function =
      diagrams_.map(diagrams_.with(ways.function(), {{kDestinationMac, mac}}),
                    [&](uint32_t place) { return place < numbers.size() ? numbers[place] : 0; });
  if (!variant.questions.empty()) function = diagrams_.renamed(function, variant.questions);
  return function;
}

// The packets of which, for some answers to the questions, something else becomes.
Node Comparison::differ(Node one, Node other) {
  return diagrams_.forSomeAnswer(diagrams_.differing(one, other));
}

// The packets that could fare otherwise: those that match a rule which one router alone has. What
// matches none goes the same way in both, whatever stands around it.
Node Comparison::candidates() {
  const Router &before = before_.desk->router, &after = after_.desk->router;
  if (networkOf(*before_.desk) != networkOf(*after_.desk)) return Diagrams::kAll;
  // A rule looks at a packet as it is; only these can have another destination by then.
  Node translated = Diagrams::kNone;
  const auto matched = [&](const Rule &rule, bool to) {
    Conditions known;
    for (const Condition &each : rule.conditions) {
      const bool changes = each.field == kIn || each.field == kBridgePort || each.field == kOut ||
                           each.field == kBridgePortOut || each.field == kMark ||
                           each.field == kDestinationMac || each.field >= kFields;
      const bool destination = each.field == kDestination || each.field == kDestinationPort;
      if (!changes && (to || !destination)) known.push_back(each);
    }
    return diagrams_.set(known);
  };
  for (const Router *router : {&before, &after}) {
    for (const auto &[place, chain] : router->chains()) {
      for (const Rule &rule : chain.rules) {
        if (rule.target.kind != Target::kDnat) continue;
        translated = diagrams_.either(translated, matched(rule, true));
      }
    }
  }
  Node candidates = Diagrams::kNone;
  const auto add = [&](const Rule &rule) {
    const Node packets =
        diagrams_.either(matched(rule, true), diagrams_.both(matched(rule, false), translated));
    candidates = diagrams_.either(candidates, packets);
  };
  static const Chain kEmpty;
  std::set<Place> places;
  for (const Router *router : {&before, &after}) {
    for (const auto &[place, chain] : router->chains()) places.insert(place);
  }
  for (const Place &place : places) {
    const Chain &was = before.chain(place) != nullptr ? *before.chain(place) : kEmpty;
    const Chain &is = after.chain(place) != nullptr ? *after.chain(place) : kEmpty;
    // To a chain that is new leads a rule that is.
    const bool in_both = before.chain(place) != nullptr && after.chain(place) != nullptr;
    if (in_both && was.policy != is.policy) return Diagrams::kAll;
    const auto texts = [](const Chain &chain) {
      std::vector<std::string> all;
      for (const Rule &rule : chain.rules) all.push_back(rule.text);
      return all;
    };
    for (const Edit &edit : editsBetween(texts(was), texts(is))) {
      if (edit.kind == Edit::kRemoved) add(was.rules[edit.before - 1]);
      if (edit.kind == Edit::kAdded) add(is.rules[edit.after - 1]);
    }
  }
  return candidates;
}

Node Comparison::differing(const Stream &stream) {
  const auto [known, unknown] = differing_.try_emplace(stream);
  if (unknown) {
    const Node was = fates(before_, stream), is = fates(after_, stream);
    differing_[stream] = diagrams_.both(candidates_, differ(was, is));
  }
  return differing_[stream];
}

// What becomes of the packets of a stream of which something else becomes.
// The first packet of a TCP connection holds nothing that a web filter could look at.
Node Comparison::fates(Variant &variant, const Question &question) {
  const Node function = diagrams_.choose(differing(question.stream),
                                         fates(variant, question.stream), Diagrams::kNone);
  if (question.kind > TrafficChange::kNeighbours) return function;
  std::map<FieldId, uint64_t> no_text;
  for (const auto &[key, field] : questions_) {
    if (isAboutText(std::get<2>(key))) no_text[field] = 0;
  }
  const Node tcp = diagrams_.set(Condition{kProtocol, IntervalSet::one(kTcp)});
  const Node first = diagrams_.choose(tcp, diagrams_.with(function, no_text), function);
  if (question.kind == TrafficChange::kNeighbours || !isWan(question.stream.side)) return first;
  return diagrams_.with(first, {{kSourceMac, macBut(macs_)}});
}

// Packets that a side has in one router or the other, whatever its interface and its MAC address.
Node Comparison::fromEither(const Stream &stream, Node (SideWays::*packets)(const Side &)) {
  Node all = Diagrams::kNone;
  for (SideWays *ways : {&was_, &is_}) {
    const Side *side = ways->desk().side(stream.side);
    if (side == nullptr) continue;
    const uint64_t port = ways->desk().router.network().number(side->interface);
    all = diagrams_.either(all, diagrams_.with((ways->*packets)(*side),
                                               {{kBridgePort, port},
                                                {kMark, 0},
                                                {kDestinationMac, macOf(stream, ways->desk())}}));
  }
  return all;
}

void Comparison::ask(const Sides &from, const Stream &stream, std::vector<Question> &questions) {
  if (stream.bridged) {
    questions.push_back({from, stream, TrafficChange::kFrames, is_.possible()});
    return;
  }
  const auto is = [&](FieldId field, const IntervalSet &values) {
    return diagrams_.set({field, values});
  };
  const Node begun = fromEither(stream, &SideWays::beginnings);
  const Node to_hosts = is(kDestination, ends_.hosts);
  Node first = diagrams_.both(fromEither(stream, &SideWays::ordinary), to_hosts), once = first;
  Node neighbours = Diagrams::kNone;
  if (isWan(stream.side)) {
    const Node from_none = is(kSourceMac, macs_.complement(largestOf(kSourceMac)));
    first = diagrams_.with(first, {{kSourceMac, macBut(macs_)}});
    once = diagrams_.both(first, from_none);
    neighbours = diagrams_.without(begun, once);
  }
  const Node later = diagrams_.both(is(kEtherType, IntervalSet::one(0x0800)),
                                    is(kState, IntervalSet::range(kEstablished, kRelated)));
  const Node told = diagrams_.either(diagrams_.either(once, neighbours), later);
  questions.push_back({from, stream, TrafficChange::kFirst, first});
  questions.push_back({from, stream, TrafficChange::kNeighbours, neighbours});
  questions.push_back({from, stream, TrafficChange::kLater, later});
  questions.push_back(
      {from, stream, TrafficChange::kOthers, diagrams_.without(is_.possible(), told)});
}

std::vector<Comparison::Question> Comparison::questions() {
  std::vector<Question> questions;
  const std::vector<Sides> all = sidesOf({after_.desk, before_.desk});
  for (bool bridged : {false, true}) {
    for (const Sides &sides : all) {
      if (bridged && !isPort(sides[0], *before_.desk) && !isPort(sides[0], *after_.desk)) continue;
      ask(sides, {sides[0], bridged}, questions);
    }
  }
  return questions;
}

// The packets of which something else becomes, by what became of them and what does.
std::vector<Comparison::Part> Comparison::parts(const Question &question) {
  if (differing(question.stream) == Diagrams::kNone) return {};
  const Node was = fates(before_, question), is = fates(after_, question);
  const Node differing = diagrams_.both(differ(was, is), question.packets);
  std::vector<Part> parts;
  if (differing == Diagrams::kNone) return parts;
  const auto passing = [&](Node function) {
    const Node sure = diagrams_.forAllAnswers(
        diagrams_.where(function, [&](uint32_t number) { return fates_[number].passes(); }));
    const Node possible = diagrams_.forSomeAnswer(diagrams_.where(function, [&](uint32_t number) {
      return fates_[number].passes() || fates_[number].kind == Fate::kProgram;
    }));
    return std::map<Passes, Node>{{Passes::kNo, diagrams_.complement(possible)},
                                  {Passes::kDepends, diagrams_.without(possible, sure)},
                                  {Passes::kYes, sure}};
  };
  const std::map<Passes, Node> before = passing(was), after = passing(is);
  std::map<std::pair<uint32_t, uint32_t>, uint32_t> numbers;
  std::vector<std::pair<uint32_t, uint32_t>> pairs;
  const Node paired = diagrams_.choose(
      differing,
      diagrams_.combine(was, is,
                        [&](uint32_t one, uint32_t other) {
                          const auto [known, unknown] = numbers.try_emplace(
                              {one, other}, static_cast<uint32_t>(pairs.size()) + 1);
                          if (unknown) pairs.emplace_back(one, other);
                          return known->second;
                        }),
      Diagrams::kNone);
  std::vector<std::pair<std::pair<Fate, Fate>, Node>> fates;
  for (const auto &[number, packets] : diagrams_.parts(paired)) {
    if (number == 0 || pairs[number - 1].first == pairs[number - 1].second) continue;
    fates.push_back({{fates_[pairs[number - 1].first], fates_[pairs[number - 1].second]},
                     diagrams_.forSomeAnswer(packets)});
  }
  // Where it depends on answers which pair it is, the one that tells the most is told.
  std::stable_sort(fates.begin(), fates.end(), [](const auto &one, const auto &other) {
    const auto tells = [](const std::pair<Fate, Fate> &pair) {
      return pair.first.passes() != pair.second.passes();
    };
    return tells(one.first) > tells(other.first);
  });
  for (const auto &[was_passed, old_packets] : before) {
    for (const auto &[passes, new_packets] : after) {
      const Node these = diagrams_.both(diagrams_.both(old_packets, new_packets), differing);
      const size_t begin = parts.size();
      Node left = these;
      for (const auto &[pair, some] : fates) {
        if (left == Diagrams::kNone) break;
        const Node packets = diagrams_.both(left, some);
        left = diagrams_.without(left, packets);
        if (packets == Diagrams::kNone) continue;
        // What opens is told by where it gets, what shuts by where it got.
        Part part = {was_passed, passes, pair.first, pair.second, packets};
        const auto same = std::find_if(
            parts.begin() + static_cast<long>(begin), parts.end(), [&](const Part &other) {
              if (question.kind != TrafficChange::kFirst || passes == Passes::kNo) {
                return was_passed == Passes::kNo || question.kind != TrafficChange::kFirst ||
                       other.was == part.was;
              }
              return other.is == part.is && (was_passed != Passes::kYes || passes != Passes::kYes ||
                                             other.was == part.was);
            });
        if (same == parts.end()) {
          parts.push_back(part);
        } else {
          same->packets = diagrams_.either(same->packets, packets);
        }
      }
    }
  }
  return parts;
}

void Comparison::compare(const Question &question, TrafficChanges &found) {
  TrafficChanges here;
  for (const Part &part : parts(question)) tell(question, part, here);
  found.more += here.more;
  // Many of one kind with one cause are told as one.
  std::vector<std::vector<TrafficChange>> alike;
  for (TrafficChange &each : here.changes) {
    const auto same = std::find_if(alike.begin(), alike.end(), [&](const auto &changes) {
      return directionOf(changes[0]) == directionOf(each) && changes[0].causes == each.causes;
    });
    if (same == alike.end()) {
      alike.push_back({std::move(each)});
    } else {
      same->push_back(std::move(each));
    }
  }
  for (std::vector<TrafficChange> &changes : alike) {
    if (changes.size() > kMostAlike) {
      // The surest change stands for all.
      std::stable_sort(changes.begin(), changes.end(),
                       [](const TrafficChange &one, const TrafficChange &other) {
                         return stepOf(one) > stepOf(other);
                       });
      for (size_t i = 1; i < changes.size(); i++) mergeInto(changes[0], changes[i]);
      changes.resize(1);
    }
    for (TrafficChange &each : changes) found.changes.push_back(std::move(each));
  }
}

// Parts them by what is to blame.
void Comparison::tell(const Question &question, const Part &part, TrafficChanges &found) {
  TrafficChange change = {question.kind, question.from, part.was_passed,
                          part.passes,   part.was,      part.is};
  for (Node left = part.packets; left != Diagrams::kNone;) {
    if (found.changes.size() >= kMostChanges) {
      found.more++;
      return;
    }
    Node explained = left;
    change.causes.clear();
    if (auto causes = this->causes(question, witness(question.stream, left))) {
      for (size_t unit : *causes) change.causes.push_back(settings_[unit]);
      if (causes->size() < settings_.count()) {
        explained = diagrams_.without(
            left, differ(fates(*trial(*causes), question), fates(after_, question)));
      }
    }
    left = diagrams_.without(left, explained);
    if (question.kind == TrafficChange::kFirst) {
      tellSlices(question, change, explained, found);
    } else {
      addWitness(question, explained, change);
      found.changes.push_back(change);
      return;
    }
  }
}

void Comparison::tellSlices(const Question &question, TrafficChange change, Node packets,
                            TrafficChanges &found) {
  const bool refused = change.was_passed == Passes::kNo && change.passes == Passes::kNo;
  std::vector<std::vector<Slice>> lines;  // with the same fields but for ports
  for (size_t most : {kMostSlices, size_t{1}}) {
    lines.clear();
    if (most > 1 && refused) continue;
    for (const Slice &slice : slicesOf(diagrams_, packets, question.packets, most)) {
      const auto same = std::find_if(lines.begin(), lines.end(), [&](const auto &line) {
        return line[0].whole == slice.whole && exceptPorts(line[0]) == exceptPorts(slice);
      });
      if (same == lines.end()) {
        lines.push_back({slice});
      } else {
        same->push_back(slice);
      }
    }
    if (lines.size() <= kMostSlices) break;
  }
  for (std::vector<Slice> &line : lines) {
    std::sort(line.begin(), line.end(), [](const Slice &one, const Slice &other) {
      const auto first = [](const Slice &slice) {
        return slice.protocols.contains(kTcp) ? 0 : slice.protocols.contains(kUdp) ? 1 : 2;
      };
      return first(one) < first(other);
    });
    Conditions conditions = {{kProtocol, line[0].protocols}};
    for (const auto &[field, values] : line[0].fields) conditions.push_back({field, values});
    change.slices = std::move(line);
    addWitness(question, diagrams_.both(packets, diagrams_.set(conditions)), change);
    found.changes.push_back(change);
  }
}

// One of the packets, and what becomes of it.
void Comparison::addWitness(const Question &question, Node packets, TrafficChange &change) {
  change.witness = witness(question.stream, packets);
  change.depends.clear();
  for (auto [passes, variant] :
       {std::pair{change.was_passed, &before_}, {change.passes, &after_}}) {
    if (passes != Passes::kDepends) continue;
    addNew(change.depends, unknownsOf(change.witness, question.stream, *variant));
  }
}

// The router with some of the differences put over; null when there were enough of them.
Variant *Comparison::trial(const std::set<size_t> &chosen) {
  if (chosen.empty()) return &before_;
  if (chosen.size() == settings_.count()) return &after_;
  const auto found = trials_.find(chosen);
  if (found != trials_.end()) return &found->second;
  size_t rules = 1;
  for (const auto &[place, chain] : after_.desk->router.chains()) rules += chain.rules.size();
  if (trials_.size() >= kMostTrials || trials_.size() * rules >= kMostTrials * kFewRules) {
    return nullptr;
  }
  auto desk = std::make_unique<DeskRouter>(deskRouter(settings_.with(chosen), prepare_));
  const DeskRouter &router = *desk;
  return &trials_.emplace(chosen, variant(std::move(desk), router)).first->second;
}

// The least that has to be put over for a packet to fare as it does afterwards: of as many as
// it takes the last is one, and then that of as many as it takes besides.
std::optional<std::set<size_t>> Comparison::causes(const Question &question,
                                                   const Packet &witness) {
  std::set<size_t> needed;
  bool enough = true;
  if (wanted_ == Causes::kLeftOut || settings_.count() == 0) return std::nullopt;
  const auto accounts = [&](size_t first) {
    std::set<size_t> chosen = needed;
    for (size_t unit = 0; unit < first; unit++) chosen.insert(unit);
    Variant *variant = trial(chosen);
    if (variant == nullptr) {
      enough = false;
      return true;
    }
    const Node different = differ(fates(*variant, question), fates(after_, question));
    return diagrams_.value(different, witness) == 0;
  };
  for (size_t all = settings_.count(); enough && !accounts(0);) {
    size_t less = 0, most = all;  // so many are too few, so many do
    while (enough && most - less > 1) {
      const size_t middle = (less + most) / 2;
      (accounts(middle) ? most : less) = middle;
    }
    needed.insert(most - 1);
    all = most - 1;
  }
  if (!enough || needed.empty()) return std::nullopt;
  return needed;
}

Packet Comparison::witness(const Stream &stream, Node packets) {
  SideWays &ways = waysOf(stream);
  Packet found = ways.witness(*ways.desk().side(stream.side), packets);
  found[kDestinationMac] = macOf(stream, ways.desk());
  return found;
}

std::vector<std::string> Comparison::unknownsOf(Packet packet, const Stream &stream,
                                                const Variant &variant) const {
  const DeskRouter &desk = *variant.desk;
  const Side *side = desk.side(stream.side);
  std::vector<std::string> questions;
  if (side == nullptr) return questions;
  packet[kBridgePort] = desk.router.network().number(side->interface);
  packet[kDestinationMac] = macOf(stream, desk);
  const auto add = [&](const std::string &words) {
    if (std::find(questions.begin(), questions.end(), words) == questions.end()) {
      questions.push_back(words);
    }
  };
  for (uint64_t answer : {0, 1}) {
    for (size_t i = 0; i < desk.router.unknowns().size(); i++) {
      packet[static_cast<FieldId>(kFields + i)] = answer;
    }
    const Walk way = walk(desk.router, packet, nullptr, Detail::kVerdict);
    for (FieldId field : way.asked) add(desk.router.unknowns()[field - kFields]);
    if (way.verdict == Verdict::kUnknown)
      add("what a program of the device does or the kernel chooses");
  }
  return questions;
}

TrafficChanges Comparison::find() {
  TrafficChanges found;
  for (const char *table : {"filter", "nat"}) {
    const Place hook = {Place::kIptables, table, "OUTPUT"};
    if (textsFrom(hook, before_.desk->router) != textsFrom(hook, after_.desk->router)) {
      found.not_compared.push_back("what the router itself sends: " + placeText(hook));
    }
  }
  if (modulesOf(*before_.desk) != modulesOf(*after_.desk)) {
    found.not_compared.push_back("which packets belong to a telephone call: modules of the kernel");
  }
  const Network &was = before_.desk->router.network(), &is = after_.desk->router.network();
  for (const std::string &each : otherGateways(was, is)) {
    found.not_compared.push_back("what another gateway does: to " + each);
  }
  if (segmentRulesOf(before_.desk->router) != segmentRulesOf(after_.desk->router)) {
    found.not_compared.push_back("how large the segments of TCP connections get: rules of TCPMSS");
  }
  for (const Question &each : questions()) compare(each, found);
  std::stable_sort(found.changes.begin(), found.changes.end(),
                   [](const TrafficChange &one, const TrafficChange &other) {
                     return rankOf(one) < rankOf(other);
                   });
  return found;
}

}  // namespace

bool opensToInternet(const TrafficChange &change) {
  return change.packets <= TrafficChange::kNeighbours && directionOf(change) == kOpens &&
         isWan(change.from[0]);
}

Fate fateOf(const Walk &way, const Packet &packet, const DeskRouter &desk) {
  Outcome outcome = {way.verdict};
  outcome.out = way.end[kOut];
  if (way.translated_by) {
    const RuleAt &at = *way.translated_by;
    outcome.destination = way.end[kDestination];
    const bool port = !desk.router.chain(at.place)->rules[at.rule].target.ports.empty();
    if (port) outcome.port = way.end[kDestinationPort];
  }
  outcome.masqueraded = way.end[kSource] != packet[kSource];
  return fateOf(outcome, desk);
}

TrafficChanges trafficChanges(const DeskRouter &before, const DeskRouter &after,
                              const Prepare &prepare, Causes causes) {
  if (same(before, after)) return {};
  return Comparison(before, after, prepare, causes).find();
}

}  // namespace orba::tool
