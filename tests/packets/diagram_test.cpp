#include "packets/diagram.h"

#include <gmock/gmock.h>

#include <random>

namespace packets {
namespace {

using Node = Diagrams::Node;

// Fields from the top of a diagram to a question at its bottom, and the numbers at which sets
// of them begin and end.
constexpr FieldId kFieldsUsed[] = {kIn, kProtocol, kDestination, kSource, kSourceMac, kFields + 2};
constexpr uint64_t kEdges[] = {0, 1, 2, 80, 254, 255};

// A random set, and what tells whether a packet is in it.
struct RandomSets {
  Diagrams &diagrams;
  std::mt19937 numbers;

  uint64_t below(uint64_t limit) { return numbers() % limit; }
  Packet packet() {
    Packet packet;
    for (FieldId field : kFieldsUsed) {
      packet[field] = std::min(kEdges[below(std::size(kEdges))], largestOf(field));
    }
    return packet;
  }
  Condition condition() {
    Condition condition = {kFieldsUsed[below(std::size(kFieldsUsed))], {}};
    for (uint64_t i = 0; i <= below(2); i++) {
      const uint64_t one = kEdges[below(std::size(kEdges))];
      condition.values.add({one, one + below(3)});
    }
    if (below(3) == 0) condition.values = condition.values.complement(largestOf(condition.field));
    return condition;
  }
  std::pair<Node, std::function<bool(const Packet &)>> set(int depth) {
    if (depth == 0) {
      const Rule rule = {{condition(), condition()}, {}, {}, 0};
      return {diagrams.set(rule.conditions),
              [=](const Packet &packet) { return matches(rule, packet); }};
    }
    const auto [one, holds] = set(depth - 1);
    const auto [other, also] = set(depth - 1);
    switch (below(4)) {
      case 0:
        return {diagrams.both(one, other), [=](const auto &p) { return holds(p) && also(p); }};
      case 1:
        return {diagrams.either(one, other), [=](const auto &p) { return holds(p) || also(p); }};
      case 2:
        return {diagrams.without(one, other), [=](const auto &p) { return holds(p) && !also(p); }};
      default:
        return {diagrams.combine(one, other, [](uint32_t a, uint32_t b) { return a ^ b; }),
                [=](const auto &p) { return holds(p) != also(p); }};
    }
  }
};

TEST(Diagrams, AreTheSetsThatTheyWereMadeOf) {
  for (unsigned int seed = 1; seed <= 30; seed++) {
    SCOPED_TRACE(seed);
    Diagrams diagrams;
    RandomSets random = {diagrams, std::mt19937(seed)};
    const auto [set, holds] = random.set(4);
    const auto [other, also] = random.set(4);
    // The same set another way is the same node.
    EXPECT_EQ(set, diagrams.either(diagrams.both(set, other), diagrams.without(set, other)));
    EXPECT_EQ(diagrams.complement(diagrams.either(set, other)),
              diagrams.both(diagrams.complement(other), diagrams.complement(set)));

    const Node numbers =
        diagrams.firstOf(diagrams.choose(set, diagrams.constant(7), Diagrams::kNone),
                         diagrams.choose(other, diagrams.constant(5), 0));
    const FieldId field = kFieldsUsed[seed % std::size(kFieldsUsed)];
    const Node some = diagrams.forSome(set, field), all = diagrams.forAll(set, field);
    const Node some_answer = diagrams.forSomeAnswer(set), all_answers = diagrams.forAllAnswers(set);
    for (int i = 0; i < 300; i++) {
      Packet packet = random.packet();
      const uint32_t number = holds(packet) ? 7 : also(packet) ? 5 : 0;
      ASSERT_EQ(diagrams.value(set, packet), holds(packet));
      ASSERT_EQ(diagrams.value(numbers, packet), number);
      ASSERT_EQ(diagrams.value(diagrams.where(numbers, [](uint32_t n) { return n > 4; }), packet),
                number > 4);
      // All values of a field, by those on both sides of every edge.
      Packet each = packet, answered = packet;
      int held = 0, asked = 0;
      for (uint64_t edge : kEdges) {
        for (uint64_t value : {edge, edge + 1, edge + 2, edge + 3}) {
          if (value > largestOf(field)) continue;
          each[field] = value;
          held += holds(each);
          asked++;
          ASSERT_EQ(diagrams.value(diagrams.with(set, {{field, value}, {kLength, 9}}), packet),
                    holds(each));
        }
      }
      ASSERT_EQ(diagrams.value(some, packet), held > 0);
      ASSERT_EQ(diagrams.value(all, packet), held == asked);
      answered[kFields + 2] = !packet[kFields + 2];
      ASSERT_EQ(diagrams.value(some_answer, packet), holds(packet) || holds(answered));
      ASSERT_EQ(diagrams.value(all_answers, packet), holds(packet) && holds(answered));

      const std::optional<Packet> witness = diagrams.witness(set, packet);
      ASSERT_EQ(witness.has_value(), set != Diagrams::kNone);
      ASSERT_TRUE(!witness || holds(*witness));
      ASSERT_TRUE(!holds(packet) || witness == packet);
    }

    // Every packet of the set is in one box, every other in none.
    Node boxes = Diagrams::kNone;
    diagrams.boxes(set, [&](const Conditions &conditions) {
      const Node box = diagrams.set(conditions);
      EXPECT_EQ(diagrams.both(box, boxes), Diagrams::kNone);
      boxes = diagrams.either(box, boxes);
    });
    EXPECT_EQ(boxes, set);
  }
}

TEST(Diagrams, TakeWhatNoRuleSays) {
  Diagrams diagrams;
  // Two conditions on one field, none left, and numbers that the field cannot have.
  EXPECT_EQ(diagrams.set(
                {{kProtocol, IntervalSet::range(6, 900)}, {kProtocol, IntervalSet::range(0, 17)}}),
            diagrams.set({kProtocol, IntervalSet::range(6, 17)}));
  EXPECT_EQ(diagrams.set(Condition{kProtocol, {}}), Diagrams::kNone);
  EXPECT_EQ(diagrams.set({kProtocol, IntervalSet::range(256, 300)}), Diagrams::kNone);
  EXPECT_EQ(diagrams.set({kProtocol, IntervalSet::range(0, ~uint64_t{0})}), Diagrams::kAll);
  EXPECT_EQ(diagrams.set(Conditions{}), Diagrams::kAll);
  EXPECT_THAT(diagrams.values(diagrams.choose(diagrams.set({kMark, IntervalSet::one(3)}),
                                              diagrams.constant(UINT32_MAX), Diagrams::kAll)),
              testing::ElementsAre(1, UINT32_MAX));
}

}  // namespace
}  // namespace packets
