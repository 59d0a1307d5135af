// The ways of all packets through a router at once, with sets. Nothing of walk.cpp is used here:
// the two are held against one another.
#ifndef ORBA_PACKETS_WAYS_H
#define ORBA_PACKETS_WAYS_H

#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "packets/chains.h"
#include "packets/diagram.h"
#include "packets/router.h"
#include "packets/walk.h"

namespace packets {

// What becomes of a packet.
struct Outcome {
  Verdict verdict = Verdict::kDropped;
  std::optional<RuleAt> decided_by;     // nothing where routing decides, or where they are untold
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
  // Of the packets that come in from the wire of an interface (a bridge's port or another), or that
  // the router itself sends (kNoInterface), or of some of them: of others the function gives no
  // place in outcomes(). What rules of nat OUTPUT translate has an outcome that is kUnknown. The
  // ways from several interfaces of a router may share its chains.
  Ways(Chains &chains, uint64_t interface, Diagrams::Node packets = Diagrams::kAll);
  Ways(const Router &router, Diagrams &diagrams, uint64_t interface,
       Deciders deciders = Deciders::kTold, Diagrams::Node packets = Diagrams::kAll)
      : Ways(std::make_unique<Chains>(router, diagrams, deciders), interface, packets) {}

  // Packets, as they come in, to the place of their outcome in outcomes().
  Diagrams::Node function() const { return function_; }
  const std::vector<Outcome> &outcomes() const { return outcomes_; }
  // The packets whose outcome is as wanted, whatever the unanswered questions' answers are
  // (surely), or for some of them (possibly). What becomes of kUnknown is for `wanted` to say.
  Diagrams::Node surely(const std::function<bool(const Outcome &)> &wanted);
  Diagrams::Node possibly(const std::function<bool(const Outcome &)> &wanted);
  // The packets, as they come in, that reach a rule and match it.
  Diagrams::Node actsOn(const RuleAt &rule);

 private:
  using Node = Diagrams::Node;

  // What has become of packets that went the same way.
  struct Now {
    std::map<FieldId, uint64_t> fields;  // that are not as they came in, or the same for all
    std::optional<RuleAt> translated_by;

    bool operator==(const Now &) const = default;
  };
  struct Flow {
    Node packets;  // as they came in
    Now now;
    Node decision = Diagrams::kNone;  // of the chain that they are in, for `packets` only
  };
  using Flows = std::vector<Flow>;

  Ways(std::unique_ptr<Chains> chains, uint64_t interface, Node packets)
      : Ways(*chains, interface, packets) {
    own_chains_ = std::move(chains);
  }

  Node now(Node function, const Flow &flow);
  Node open(const Flow &flow);
  Node decided(const Flow &flow, bool (*wanted)(Target::Kind));
  bool refused(uint32_t number) const;
  void alter(const RuleAt &at, const Rule &rule, Flows &flows);
  void pass(const Place &place, Flows &flows);
  Flows through(const Place &place, const Flow &flow);
  Flows accepted(const Place &place, const Flow &flow);

  void enterSession(const Flow &flow);
  void enterBridge(const Flow &flow);
  IntervalSet portMacs(const Flow &flow) const;
  void bridge(const Flow &flow);
  void enter(const Flow &flow);
  void translate(const Flow &flow);
  void route(const Flow &flow);
  void send(const Flow &flow);
  void leave(const Flow &flow);
  Node outsOf(const Flow &flow);
  void deliver(const Flow &flow);
  void forward(const Flow &flow, const char *filter = "FORWARD");
  Node routesOf(uint64_t mark);
  IntervalSet noHosts() const;

  Outcome outcome(const Flow &flow, uint32_t number) const;
  uint32_t placeOf(const Outcome &outcome);
  void end(const Flow &flow, const std::function<std::optional<Outcome>(uint32_t number)> &outcome);
  void end(const Flow &flow, Verdict verdict);

  const Router &router_;
  Diagrams &diagrams_;
  std::unique_ptr<Chains> own_chains_;
  Chains &chains_;
  std::vector<Route> routes_;
  std::map<uint64_t, Node> routes_by_mark_;  // to places in routes_ from 1, 0 for none
  // Of flows to rules, and to policies, that acts_ knows nothing of yet.
  std::vector<std::pair<Run, Flow>> visits_;
  std::map<RuleAt, Node> acts_;
  std::vector<Node> ends_;  // of some packets: places in outcomes_ from 1
  std::vector<Outcome> outcomes_;
  std::map<Outcome, uint32_t> places_;
  Node function_ = Diagrams::kNone;
};

}  // namespace packets

#endif
