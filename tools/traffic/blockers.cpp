#include "tools/traffic/blockers.h"

#include <algorithm>

#include "tools/traffic/packet_words.h"

namespace orba::tool {

using namespace packets;

namespace {

// Fields that packets have as they come in.
bool isOfPackets(FieldId field) {
  return field >= kState && field != kMark && field != kOut && field != kBridgePortOut;
}

// Of nat the rule that translates a packet, of other tables the one that decides.
const std::optional<RuleAt> &takerOf(const RuleAt &rule, const Outcome &outcome) {
  const bool nat = rule.place.table == "nat" && rule.place.program == Place::kIptables;
  return nat ? outcome.translated_by : outcome.decided_by;
}

}  // namespace

const IntervalSet *valuesOf(const Rule &rule, FieldId field) {
  for (const Condition &each : rule.conditions) {
    if (each.field == field) return &each.values;
  }
  return nullptr;
}

BlockerSearch::BlockerSearch(SideWays &ways)
    : ways_(ways),
      diagrams_(ways.diagrams()),
      router_(ways.desk().router),
      sides_(sidesThatDiffer()) {
  for (const auto &[place, chain] : router_.chains()) {
    if (chain.built_in) hook(place, place.chain);
  }
}

const Rule &BlockerSearch::ruleAt(const RuleAt &at) const {
  return router_.chain(at.place)->rules[at.rule];
}

void BlockerSearch::hook(const Place &place, const std::string &built_in) {
  if (!hooks_[place].insert(built_in).second) return;
  const Chain *chain = router_.chain(place);
  for (const Rule &rule : chain->rules) {
    if (rule.target.kind == Target::kJump) {
      hook({place.program, place.table, rule.target.chain}, built_in);
    }
  }
}

std::vector<Side> BlockerSearch::sidesThatDiffer() const {
  std::vector<Side> sides;
  for (const Sides &alike : sidesOf({&ways_.desk()})) sides.push_back(ways_.side(alike[0]));
  return sides;
}

bool BlockerSearch::acts(const RuleAt &at) {
  return std::any_of(sides_.begin(), sides_.end(), [&](const Side &side) {
    return ways_.from(side).actsOn(at) != Diagrams::kNone;
  });
}

BlockerSearch::Node BlockerSearch::outcomesOf(const Side &side, Node packets) {
  return diagrams_.choose(packets, ways_.function(side), diagrams_.constant(kOthers));
}

BlockerSearch::Nearness BlockerSearch::nearness(const RuleAt &rule, const Outcome &outcome) {
  const std::optional<RuleAt> &at = takerOf(rule, outcome);
  if (outcome.verdict == Verdict::kMartian) return kRouting;
  if (outcome.decided_by && outcome.decided_by->place.program != rule.place.program) {
    return rule.place.program == Place::kIptables ? kBridge : kFar;
  }
  if (at && at->place == rule.place && at->rule < rule.rule) return kSameChain;
  if (!at || at->place.table != rule.place.table) return kFar;
  const std::set<std::string> &hooks = hooks_[rule.place], &others = hooks_[at->place];
  if (hooks.contains("FORWARD") && others.contains("INPUT") && !others.contains("FORWARD")) {
    return kForRouter;
  }
  const bool same = std::any_of(hooks.begin(), hooks.end(),
                                [&](const std::string &each) { return others.contains(each); });
  return same && at->rule != RuleAt::kPolicy ? kSameHook : kFar;
}

// The packets that a rule would match as they come in, so far as that can be told.
Conditions BlockerSearch::matchedBy(const RuleAt &at) {
  const IntervalSet hosts = IntervalSet::range(1u << 24, 0xdfffffff);
  Conditions conditions = {
      {kEtherType, IntervalSet::one(0x0800)}, {kSource, hosts}, {kDestination, hosts}};
  for (const Condition &each : ruleAt(at).conditions) {
    if (isOfPackets(each.field)) conditions.push_back(each);
  }
  if (hooks_[at.place] == std::set<std::string>{"INPUT"} && at.place.program == Place::kIptables) {
    IntervalSet own;
    for (const packets::Interface &each : router_.network().interfaces) {
      for (const Address &address : each.addresses) own.add({address.address, address.address});
    }
    conditions.push_back({kDestination, own});
  }
  return conditions;
}

Blockers BlockerSearch::blockersOf(const RuleAt &at) {
  const Rule &rule = ruleAt(at);
  const IntervalSet *in = valuesOf(rule, kIn);
  const Node matched = diagrams_.set(matchedBy(at));
  // Forwarded ports are asked for from outside.
  std::vector<Side> sides = sides_;
  if (at.place.table == "nat") std::reverse(sides.begin(), sides.end());
  Blockers best;
  Nearness nearest = kRouting;
  for (const Side &side : sides) {
    const Network &network = router_.network();
    const packets::Interface &own = ways_.desk().own(side);
    if (in != nullptr && !in->contains(network.number(own.name))) continue;
    // Those that a host there would send, if there are some.
    const Node begun = diagrams_.both(matched, ways_.beginnings(side));
    const IntervalSet mac = IntervalSet::one(own.mac);
    const Node function =
        outcomesOf(side, begun != Diagrams::kNone
                             ? begun
                             : diagrams_.both(matched, diagrams_.set({kDestinationMac, mac})));
    for (uint32_t value : diagrams_.values(function)) {
      if (value == kOthers) continue;
      const Outcome &outcome = ways_.from(side).outcomes()[value];
      const Nearness near = nearness(at, outcome);
      if (near > nearest) continue;
      if (near < nearest) best = {};
      nearest = near;
      if (near == kFar) continue;
      best.routing = near == kRouting;
      best.router = near == kForRouter;
      const std::optional<RuleAt> &by = takerOf(at, outcome);
      if (near <= kSameHook &&
          std::find(best.rules.begin(), best.rules.end(), *by) == best.rules.end()) {
        best.rules.push_back(*by);
      }
      if (best.witness.empty()) {
        const Node those = diagrams_.where(function, [&](uint32_t each) { return each == value; });
        best.witness = witnessOf(side, those);
      }
    }
  }
  return best;
}

std::string BlockerSearch::witnessOf(const Side &side, Node set) {
  return sentText(ways_.witness(side, set), ways_.ordinaryMac());
}

}  // namespace orba::tool
