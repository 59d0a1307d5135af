// Sets of packets, and functions of packets to numbers, as shared diagrams: a node is a field,
// its edges are disjoint intervals that cover all its values, and equal diagrams are one node.
#ifndef ORBA_PACKETS_DIAGRAM_H
#define ORBA_PACKETS_DIAGRAM_H

#include <cstdint>
#include <functional>
#include <optional>
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
  Node set(const Condition &condition);
  Node set(const Conditions &conditions);
  Node both(Node one, Node two);
  Node either(Node one, Node two);
  Node without(Node set, Node other);
  Node complement(Node set) { return without(kAll, set); }
  // `then` in the set, `otherwise` outside of it; both are any functions.
  Node choose(Node set, Node then, Node otherwise);
  // A function of two others, value by value.
  Node combine(Node one, Node two, uint32_t (*value)(uint32_t, uint32_t));
  // The packets for which a function has one of some values.
  Node where(Node function, const std::function<bool(uint32_t)> &value);
  // The function where a field has a value.
  Node with(Node function, FieldId field, uint64_t value);
  // The packets that are in the set for some value, or for every value, of a field.
  Node forSome(Node set, FieldId field);
  Node forAll(Node set, FieldId field);

  // Its value for a packet.
  uint32_t value(Node function, const Packet &packet) const;
  // All values that it takes, in ascending order.
  std::vector<uint32_t> values(Node function);
  // A packet of the set, with the fields that it does not ask for as in `like`; nothing for none.
  std::optional<Packet> witness(Node set, const Packet &like = {}) const;
  // The set as disjoint boxes: in each every field has any of some values.
  void boxes(Node set, const std::function<void(const Conditions &)> &each) const;

  size_t nodes() const;

 private:
  // (the implementation's own)
};

}  // namespace packets

#endif
