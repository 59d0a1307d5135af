// What has the packets of a rule that acts on none.
#ifndef ORBA_TOOLS_TRAFFIC_BLOCKERS_H
#define ORBA_TOOLS_TRAFFIC_BLOCKERS_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/traffic/side_ways.h"

namespace orba::tool {

struct Blockers {
  std::vector<packets::RuleAt> rules;
  bool routing = false;  // or the kernel's routing refuses them all
  bool router = false;   // or they are for the router, and the rule is for what is forwarded
  std::string witness;   // one of the packets, in words
};

// The values that a rule asks of a field, null for none.
const packets::IntervalSet *valuesOf(const packets::Rule &rule, packets::FieldId field);

class BlockerSearch {
 public:
  using Node = packets::Diagrams::Node;

  explicit BlockerSearch(SideWays &ways);

  // The sides, of those that no rule tells apart the first.
  const std::vector<Side> &sides() const { return sides_; }
  // Whether packets of some side reach a rule and match it, in whatever state.
  bool acts(const packets::RuleAt &at);
  // Whether a built-in chain leads there.
  bool isHooked(const packets::Place &place) { return !hooks_[place].empty(); }
  Blockers blockersOf(const packets::RuleAt &at);
  // The places of some packets' outcomes; kOthers for all other packets.
  static constexpr uint32_t kOthers = 0xffffffff;
  Node outcomesOf(const Side &side, Node packets);
  // One of some packets, in words.
  std::string witnessOf(const Side &side, Node set);

 private:
  // How directly an outcome tells what has the packets of a rule: the nearest of all does, but
  // routing only where no packet has another outcome but for what the bridge drops.
  enum Nearness { kSameChain, kSameHook, kForRouter, kFar, kRouting, kBridge };

  const packets::Rule &ruleAt(const packets::RuleAt &at) const;
  void hook(const packets::Place &place, const std::string &built_in);
  std::vector<Side> sidesThatDiffer() const;
  Nearness nearness(const packets::RuleAt &rule, const packets::Outcome &outcome);
  packets::Conditions matchedBy(const packets::RuleAt &at);

  SideWays &ways_;
  packets::Diagrams &diagrams_;
  const packets::Router &router_;
  const std::vector<Side> sides_;
  std::map<packets::Place, std::set<std::string>> hooks_;  // the built-in chains that lead there
};

}  // namespace orba::tool

#endif
