// A packet as a person asks for it.
#ifndef ORBA_TOOLS_TRAFFIC_QUESTION_H
#define ORBA_TOOLS_TRAFFIC_QUESTION_H

#include <string>

#include "packets/interval_set.h"
#include "packets/packet.h"
#include "tools/catalog/entry_point.h"
#include "tools/traffic/desk_router.h"

namespace orba::tool {

// What is wrong with one argument of a question, and what to type instead.
struct BadQuestion : BadArgument {
  BadQuestion(const std::string &wrong, const std::string &what)
      : BadArgument(wrong + ": " + what), argument(wrong), why(what) {}
  std::string argument, why;  // "SOURCE", "--mac"
};

struct PacketQuestion {
  std::string from;              // a side, or "router"
  std::string source;            // an address, or "router"
  std::string destination;       // an address, or "router"
  std::string protocol;          // "tcp/25", "udp/53", "icmp", "icmp/0", "esp", "47"
  std::string state = {};        // "new", "established", "related", "invalid"; empty: what it is
  std::string flags = {};        // "SYN,ACK"; empty: those of a packet in that state
  std::string mac = {};          // of the sender; empty: one that no rule names
  std::string source_port = {};  // empty: 40000
  std::string length = {};       // in bytes; empty: of a packet without data
};

// The packet as it comes in from the wire, or as the router sends it. To whom its frame is
// addressed follows from its destination: to the router, to everybody, to a group, or to another
// host of the bridge. Throws BadQuestion.
packets::Packet packetOf(const PacketQuestion &question, const DeskRouter &desk);

// The MAC addresses that some rule of a router tells from most others, and one that is none of
// some: of a host that rules know only as one of many.
packets::IntervalSet macsOfRules(const packets::Router &router);
uint64_t macBut(const packets::IntervalSet &macs);
inline uint64_t macOfNoRule(const packets::Router &router) {
  return macBut(macsOfRules(router));
}

}  // namespace orba::tool

#endif
