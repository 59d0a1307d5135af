// Sets of packets, and functions of packets to numbers, as shared diagrams: a node is a field,
// its edges are disjoint intervals that cover all its values, and equal functions are one node.
#ifndef ORBA_PACKETS_DIAGRAM_H
#define ORBA_PACKETS_DIAGRAM_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "packets/rule.h"

namespace packets {

class Diagrams {
 public:
  // A function; of one Diagrams equal functions are equal nodes.
  using Node = uint32_t;
  static constexpr Node kNone = 0;  // the constant 0: the empty set
  static constexpr Node kAll = 1;   // the constant 1: all packets

  Diagrams();

  Node constant(uint32_t value);
  // Sets are functions to 0 and 1.
  Node set(const Condition &condition) { return set(Conditions{condition}); }
  Node set(const Conditions &conditions);  // where all of them hold
  Node both(Node set, Node other) { return choose(set, other, kNone); }
  Node either(Node set, Node other) { return firstOf(set, other); }
  Node without(Node set, Node other) { return choose(other, kNone, set); }
  Node complement(Node set) { return without(kAll, set); }
  // `then` in the set, `otherwise` outside of it; both are any functions.
  Node choose(Node set, Node then, Node otherwise);
  // The first function where it is not 0, elsewhere the second.
  Node firstOf(Node one, Node two) { return choose(one, one, two); }
  // A function of two others, value by value.
  Node combine(Node one, Node two, const std::function<uint32_t(uint32_t, uint32_t)> &value);
  // The packets for which two functions differ.
  Node differing(Node one, Node two);
  // A function of another, value by value.
  Node map(Node function, const std::function<uint32_t(uint32_t)> &value);
  // The packets for which a function has one of some values.
  Node where(Node function, const std::function<bool(uint32_t)> &value);
  // The function where some fields have a value.
  Node with(Node function, const std::map<FieldId, uint64_t> &values);
  // The packets that are in the set for some value, or for every value, of a field.
  Node forSome(Node set, FieldId field) { return fold(set, field, &Diagrams::either); }
  Node forAll(Node set, FieldId field) { return fold(set, field, &Diagrams::both); }
  // The same for the answers to all questions.
  Node forSomeAnswer(Node set);
  Node forAllAnswers(Node set);
  // The function with other questions in place of its own.
  Node renamed(Node function, const std::map<FieldId, FieldId> &questions);

  // Its value for a packet.
  uint32_t value(Node function, const Packet &packet) const;
  // All values that it takes, in ascending order.
  std::vector<uint32_t> values(Node function) const;
  // Each of them with the packets that have it.
  std::vector<std::pair<uint32_t, Node>> parts(Node function);
  // The values of a field, by what the function is where it has them; the lowest first.
  std::vector<std::pair<IntervalSet, Node>> parts(Node function, FieldId field);
  // The values that a field has in the packets of a set.
  IntervalSet valuesOf(Node set, FieldId field) const;
  // The fields on which it depends.
  std::set<FieldId> fieldsOf(Node function) const;
  // A packet of the set, with the fields that it does not ask for as in `like`; nothing for none.
  // A field that cannot be as there has a value of the first of its wishes that it can have.
  using Wishes = std::map<FieldId, std::vector<IntervalSet>>;
  std::optional<Packet> witness(Node set, const Packet &like = {}, const Wishes &wishes = {}) const;
  // The set as disjoint boxes: in each every field has any of some values.
  void boxes(Node set, const std::function<void(const Conditions &)> &each) const;

  size_t nodes() const { return entries_.size(); }

 private:
  struct Edge {
    uint64_t last;  // of the interval that begins behind the edge before
    Node to;

    bool operator==(const Edge &) const = default;
  };
  struct Entry {
    uint32_t level;       // of its field, kConstant for none
    uint32_t begin, end;  // of its edges
    uint32_t most;        // the largest value that it takes: its own, or at most 1 for a set
    uint32_t hash;
  };
  struct Choice {  // one that was made
    Node set = kNone, then = kNone, otherwise = kNone, chosen = kNone;
  };
  // What has become of nodes, or of pairs of them.
  class Done {
   public:
    Done() : places_(1 << 6) {}
    const Node *find(uint64_t key) const;
    Node put(uint64_t key, Node node);

   private:
    struct Place {
      uint64_t key = kFree;
      Node node = kNone;
    };
    static constexpr uint64_t kFree = UINT64_MAX;

    Place &placeOf(uint64_t key);

    std::vector<Place> places_;  // by the hash of their keys
    size_t taken_ = 0;
  };
  static constexpr uint32_t kConstant = UINT32_MAX;

  bool isConstant(Node node) const { return entries_[node].level == kConstant; }
  template <typename Each>
  void visit(Node function, const Each &each) const;
  const Edge &edgeOf(Node node, uint64_t value) const;
  uint64_t wished(const Entry &entry, const std::vector<IntervalSet> &wishes) const;
  void add(size_t begin, Edge edge);
  Node made(uint32_t level, size_t begin);
  Node known(const Entry &entry);
  void grow();
  template <size_t N, typename Each>
  Node merge(const std::array<Node, N> &nodes, const Each &each);
  template <typename Stop>
  Node rebuild(Node node, const Stop &stop, Done &done);
  Node fold(Node set, FieldId field, Node (Diagrams::*join)(Node, Node));

  std::vector<Entry> entries_;  // by Node
  std::vector<Edge> edges_;
  std::vector<Edge> scratch_;    // the edges of nodes that are being made
  std::vector<Node> places_;     // of nodes, by their hash; kNone where there is none
  std::vector<Choice> choices_;  // the last of each hash
  // By node the last visit that came to it.
  mutable std::vector<uint32_t> visited_;
  mutable uint32_t visits_ = 0;
};

}  // namespace packets

#endif
