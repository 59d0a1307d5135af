// The ways of all packets through a router at once, with sets. Nothing of walk.cpp is used here:
// the two are held against one another.
#ifndef ORBA_PACKETS_WAYS_H
#define ORBA_PACKETS_WAYS_H

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "packets/diagram.h"
#include "packets/router.h"
#include "packets/walk.h"

namespace packets {

// What becomes of a packet.
struct Outcome {
  Verdict verdict = Verdict::kDropped;
  std::optional<RuleAt> decided_by;     // nothing where routing or the bridge decides
  uint64_t out = kNoInterface;          // where it leaves
  std::optional<RuleAt> translated_by;  // the rule that gave it another destination
  std::optional<uint64_t> destination;  // which
  std::optional<uint64_t> port;
  bool masqueraded = false;
  uint32_t mark = 0;

  auto operator<=>(const Outcome &) const = default;
};

class Ways {
 public:
  // Of the packets that come in from the wire of an interface (a bridge's port or another).
  Ways(const Router &router, Diagrams &diagrams, uint64_t interface);

  // Packets, as they come in, to the place of their outcome in outcomes().
  Diagrams::Node function() const { return function_; }
  const std::vector<Outcome> &outcomes() const { return outcomes_; }
  // The packets whose outcome is as wanted, whatever the unanswered questions' answers are
  // (surely), or for some of them (possibly).
  Diagrams::Node surely(const std::function<bool(const Outcome &)> &wanted);
  Diagrams::Node possibly(const std::function<bool(const Outcome &)> &wanted);
  // The packets, as they come in, that reach a rule and match it.
  Diagrams::Node actsOn(const RuleAt &rule);

 private:
  const Router &router_;
  Diagrams &diagrams_;
  std::vector<Outcome> outcomes_;
  Diagrams::Node function_ = Diagrams::kNone;
  std::map<RuleAt, Diagrams::Node> acts_;
};

}  // namespace packets

#endif
