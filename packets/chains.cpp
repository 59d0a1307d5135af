#include "packets/chains.h"

#include <algorithm>

namespace packets {

namespace {

std::pair<Run, Run> halves(const Run &run) {
  const size_t middle = run.begin + (run.end - run.begin) / 2;
  return {{run.place, run.begin, middle}, {run.place, middle, run.end}};
}

}  // namespace

uint32_t Chains::number(const RuleAt &at, Target::Kind kind) {
  // DNAT differs from rule to rule.
  const bool named = deciders_ == Deciders::kTold || kind == Target::kDnat;
  const auto [found, unknown] = numbers_.try_emplace(
      {named ? at : RuleAt{}, kind}, static_cast<uint32_t>(decisions_.size() + kFirst));
  if (unknown) decisions_.push_back({named ? std::optional(at) : std::nullopt, kind});
  return found->second;
}

bool Chains::changes(const Rule &rule, const Place &place) {
  if (rule.target.kind == Target::kMark) return true;
  if (rule.target.kind != Target::kJump) return false;
  const Place to = {place.program, place.table, rule.target.chain};
  const Chain *chain = router_.chain(to);
  const auto [found, unknown] = changes_.try_emplace(to, false);
  if (unknown && chain != nullptr) {
    changes_[to] = std::any_of(chain->rules.begin(), chain->rules.end(),
                               [&](const Rule &each) { return changes(each, to); });
  }
  return changes_[to];
}

// By halves, since joining two functions costs as much as both of them have nodes.
Chains::Node Chains::decide(const Run &run) {
  if (run.begin == run.end) return Diagrams::kNone;
  const auto [found, unknown] = decided_.try_emplace(run, Diagrams::kNone);
  if (!unknown) return found->second;
  if (run.end - run.begin > 1) {
    const auto [first, second] = halves(run);
    return decided_[run] = diagrams_.firstOf(decide(first), decide(second));
  }
  const Rule &rule = router_.chain(run.place)->rules[run.begin];
  Node decided = Diagrams::kNone;
  switch (rule.target.kind) {
    case Target::kGoOn:
    case Target::kMark:
      return Diagrams::kNone;
    case Target::kReturn:
      decided = diagrams_.constant(kReturns);
      break;
    case Target::kJump:
      decided = whole({run.place.program, run.place.table, rule.target.chain});
      break;
    default:
      decided = diagrams_.constant(number({run.place, run.begin}, rule.target.kind));
  }
  return decided_[run] = diagrams_.choose(diagrams_.set(rule.conditions), decided, Diagrams::kNone);
}

Chains::Node Chains::whole(const Place &place) {
  const auto [found, unknown] = whole_.try_emplace(place, Diagrams::kNone);
  const Chain *chain = router_.chain(place);
  if (!unknown || chain == nullptr) return found->second;
  return whole_[place] = behind(place, *chain, decide({place, 0, chain->rules.size()}));
}

Chains::Node Chains::toPolicy(const Chain &chain, Node decision) {
  if (chain.policy == Target::kReturn) return Diagrams::kNone;
  return diagrams_.where(decision, [&](uint32_t number) {
    return number == kGoesOn || (chain.built_in && number == kReturns);
  });
}

Chains::Node Chains::behind(const Place &place, const Chain &chain, Node decision) {
  const bool policy = chain.policy != Target::kReturn;
  const uint32_t last = policy ? number({place, RuleAt::kPolicy}, chain.policy) : kGoesOn;
  return diagrams_.map(decision, [&](uint32_t number) {
    if (number == kReturns) return chain.built_in ? last : kGoesOn;
    return number == kGoesOn ? last : number;
  });
}

// The packets that a rule of these matches.
Chains::Node Chains::touch(const Run &run) {
  if (run.begin == run.end) return Diagrams::kNone;
  const auto [found, unknown] = touched_.try_emplace(run, Diagrams::kNone);
  if (!unknown) return found->second;
  if (run.end - run.begin == 1) {
    return touched_[run] = diagrams_.set(router_.chain(run.place)->rules[run.begin].conditions);
  }
  const auto [first, second] = halves(run);
  return touched_[run] = diagrams_.either(touch(first), touch(second));
}

// `gone` are packets that do not come to the first of the rules. Only those of them matter that
// one of the rules would match, which are few where the rules are few.
void Chains::meet(const Run &run, Node gone, std::map<RuleAt, Node> &acts) {
  if (run.begin == run.end) return;
  const Node touched = touch(run);
  gone = diagrams_.both(gone, touched);
  if (gone == touched) return;
  if (run.end - run.begin > 1) {
    const auto [first, second] = halves(run);
    const Node stopped =
        diagrams_.where(decide(first), [](uint32_t number) { return number != kGoesOn; });
    meet(first, gone, acts);
    meet(second, diagrams_.either(gone, stopped), acts);
    return;
  }
  const Node matched = diagrams_.without(touched, gone);
  Node &known = acts[{run.place, run.begin}];
  known = diagrams_.either(known, matched);
  const Target &target = router_.chain(run.place)->rules[run.begin].target;
  if (target.kind != Target::kJump) return;
  const Place to = {run.place.program, run.place.table, target.chain};
  const Chain *chain = router_.chain(to);
  if (chain == nullptr) return;
  meet({to, 0, chain->rules.size()}, diagrams_.complement(matched), acts);
  const Node to_policy = toPolicy(*chain, decide({to, 0, chain->rules.size()}));
  Node &policy = acts[{to, RuleAt::kPolicy}];
  policy = diagrams_.either(policy, diagrams_.both(matched, to_policy));
}

const std::map<RuleAt, Chains::Node> &Chains::acts(const Run &run) {
  const auto [found, unknown] = acts_.try_emplace(run);
  if (unknown) meet(run, Diagrams::kNone, found->second);
  return found->second;
}

}  // namespace packets
