// Sets of packets in a few lines that a person can read.
#ifndef ORBA_TOOLS_TRAFFIC_SET_WORDS_H
#define ORBA_TOOLS_TRAFFIC_SET_WORDS_H

#include <map>
#include <string>
#include <vector>

#include "packets/diagram.h"
#include "tools/traffic/desk_router.h"

namespace orba::tool {

// Whose addresses are whose.
struct Ends {
  packets::IntervalSet router;    // its own, without those of its loopback
  packets::IntervalSet lan;       // hosts of its LAN's network, and of those behind a host there
  packets::IntervalSet internet;  // all other hosts
  packets::IntervalSet hosts;     // all three

  explicit Ends(const DeskRouter &desk);
};

// "the router", "the LAN and 198.51.100.0/24", "the Internet but 198.51.100.1"; "anyone" for all.
std::string endsText(const packets::IntervalSet &addresses, const Ends &ends);

// The packets of some protocols for which each of these fields has one of some values.
struct Slice {
  packets::IntervalSet protocols;
  std::map<packets::FieldId, packets::IntervalSet> fields;  // the others have any value
  bool whole = true;  // false: the set holds only some of them
};

// Makes a slice hold another's packets as well, and what lies between.
void widen(Slice &around, const Slice &other);

// A set as at most `most` slices for each group of protocols, or where that is not enough as one
// slice around it. What slices do not say holds for all packets of `universe`.
std::vector<Slice> slicesOf(packets::Diagrams &diagrams, packets::Diagrams::Node set,
                            packets::Diagrams::Node universe, size_t most);

// "tcp 22, 80", "ping", "everything"
std::string protocolsText(const Slice &slice);
// What else they have in common: " from port 53 with MAC 02:00:00:00:00:05"; empty for nothing.
std::string othersText(const Slice &slice);

}  // namespace orba::tool

#endif
