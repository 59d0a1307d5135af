// What ordinary hosts send, of all the packets that there could be.
#ifndef ORBA_TOOLS_TRAFFIC_ORDINARY_H
#define ORBA_TOOLS_TRAFFIC_ORDINARY_H

#include <string>
#include <vector>

#include "packets/diagram.h"
#include "tools/traffic/desk_router.h"
#include "tools/traffic/set_words.h"
#include "tools/traffic/side_ways.h"

namespace orba::tool {

// The MAC address that hosts at the other end of a side's wire know the router by.
uint64_t macOf(const Side &side, const packets::Network &network);
// Of whoever stands at the other end of a wire.
inline constexpr uint64_t kNeighbour = 0x020000000064;

// Sides that no rule tells apart: ports of one bridge.
using Sides = std::vector<std::string>;
// All sides of some routers, those together that no rule of any of them tells apart.
std::vector<Sides> sidesOf(const std::vector<const DeskRouter *> &routers);

// The packets with which hosts behind a side begin a connection, between hosts that can be: as
// they come in for the router's MAC address, from a WAN with kNeighbour. Of those from a WAN that
// has an address `direct` are those for other addresses, which only the provider's own network can
// send. Neither set looks at the port and the MAC addresses that they have in common.
struct Beginnings {
  packets::Diagrams::Node ordinary = packets::Diagrams::kNone, direct = packets::Diagrams::kNone;
};
Beginnings beginningsOf(packets::Diagrams &diagrams, const Side &side, const DeskRouter &desk,
                        const packets::IntervalSet &own, const Ends &ends);
// The addresses that the router has at a side.
packets::IntervalSet ownAddresses(const DeskRouter &desk, const std::string &side);

// Fields of Router::unknowns() that a connection's first packet answers with no: it holds nothing
// that a web filter could look at.
bool isAboutContent(const std::string &question);

// A packet of a set, as ordinary as it has one.
packets::Packet ordinaryOf(packets::Diagrams &diagrams, packets::Diagrams::Node set,
                           const Side &side, const DeskRouter &desk, const Ends &ends);

}  // namespace orba::tool

#endif
