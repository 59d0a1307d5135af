// Makes packets that lie close to what a router's rules tell apart.
#ifndef ORBA_TESTS_JUDGE_PROBER_H
#define ORBA_TESTS_JUDGE_PROBER_H

#include <map>
#include <optional>
#include <unordered_set>
#include <vector>

#include "dice.h"
#include "packets/router.h"
#include "probe.h"

namespace judge {

class Prober {
 public:
  Prober(const packets::Router &router, packets::Walker &walker, Dice &dice);

  // The first packet of a connection that no other shares a number with; nothing when chance
  // came up with none.
  std::optional<Probe> first();
  // What may follow a first packet whose way that was, in the order in which it must be sent.
  std::vector<Probe> followers(const Probe &first, uint32_t place, const packets::Walk &way);

 private:
  packets::Packet atRandom();
  // Gives a packet what some rule asks for, but for one thing at times.
  void approach(packets::Packet &packet);
  void settle(Probe &probe);
  bool isFresh(const Probe &probe);
  uint64_t oneOf(packets::FieldId field, uint64_t otherwise);
  uint64_t within(const packets::IntervalSet &values);
  uint64_t beside(packets::FieldId field, const packets::IntervalSet &values, uint64_t otherwise);
  void answer(packets::Packet &packet);

  const packets::Router &router_;
  packets::Walker &walker_;
  const packets::Network &network_;
  Dice &dice_;
  std::vector<const packets::Rule *> rules_;
  std::map<packets::FieldId, std::vector<uint64_t>> edges_;
  std::vector<std::string> texts_;     // that rules look for in packets
  std::vector<uint64_t> wires_;        // the interfaces that packets come in by
  std::unordered_set<uint64_t> used_;  // ends of connections
  std::unordered_set<uint64_t> senders_;
  uint16_t echo_ = 0;
  bool brouting_ = false;  // whether there are rules for frames to be taken out of a bridge
};

}  // namespace judge

#endif
