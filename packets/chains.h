// Chains as functions: which rule decides about a packet, and which rules it meets.
#ifndef ORBA_PACKETS_CHAINS_H
#define ORBA_PACKETS_CHAINS_H

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "packets/diagram.h"
#include "packets/router.h"

namespace packets {

// Rules of a chain, one behind the other, and where they lead; none of them changes a packet.
struct Run {
  Place place;
  size_t begin = 0, end = 0;

  auto operator<=>(const Run &) const = default;
};

// Whether it is told which rule decides. It takes long where each packet has another one: with
// 2,000 records that are about hosts, ports and MAC addresses at random, seconds.
enum class Deciders { kUntold, kTold };

// What a rule or the policy of a chain decides.
struct Decision {
  std::optional<RuleAt> at;
  Target::Kind kind;
};

class Chains {
 public:
  using Node = Diagrams::Node;

  // What a function of a chain gives: no decision, a RETURN, or the number of a decision.
  static constexpr uint32_t kGoesOn = 0, kReturns = 1, kFirst = 2;

  Chains(const Router &router, Diagrams &diagrams, Deciders deciders)
      : router_(router), diagrams_(diagrams), deciders_(deciders) {}

  const Router &router() const { return router_; }
  Diagrams &diagrams() const { return diagrams_; }

  uint32_t number(const RuleAt &at, Target::Kind kind);
  // Nothing where `number` is none of a decision.
  const Decision *decision(uint32_t number) const {
    return number < kFirst ? nullptr : &decisions_[number - kFirst];
  }

  // Whether a rule changes packets, or leads to one that does.
  bool changes(const Rule &rule, const Place &place);
  // The first decision of some rules.
  Node decide(const Run &run);
  // Of a chain whose rules decide so: the packets that its policy is for, and what those who lead
  // to it see of its decisions, the policy included.
  Node toPolicy(const Chain &chain, Node decision);
  Node behind(const Place &place, const Chain &chain, Node decision);
  // The packets that each of the rules matches that meet it, with those of the chains they
  // lead to.
  const std::map<RuleAt, Node> &acts(const Run &run);

 private:
  Node whole(const Place &place);
  Node touch(const Run &run);
  void meet(const Run &run, Node gone, std::map<RuleAt, Node> &acts);

  const Router &router_;
  Diagrams &diagrams_;
  const Deciders deciders_;
  std::vector<Decision> decisions_;
  std::map<std::pair<RuleAt, Target::Kind>, uint32_t> numbers_;
  std::map<Place, bool> changes_;
  std::map<Place, Node> whole_;
  std::map<Run, Node> decided_, touched_;
  std::map<Run, std::map<RuleAt, Node>> acts_;
};

}  // namespace packets

#endif
