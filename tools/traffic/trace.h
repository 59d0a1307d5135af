// What becomes of one packet, and of the answer to it.
#ifndef ORBA_TOOLS_TRAFFIC_TRACE_H
#define ORBA_TOOLS_TRAFFIC_TRACE_H

#include <optional>
#include <string>

#include "packets/walk.h"
#include "tools/traffic/blame.h"
#include "tools/traffic/desk_router.h"

namespace orba::tool {

// A packet as a person asks for it.
struct PacketQuestion {
  std::string from;         // a side, or "router"
  std::string source;       // an address
  std::string destination;  // an address
  std::string protocol;     // "tcp/25", "udp/53", "icmp", "icmp/0", "47"
  std::string state = {};   // "new", "established", "related", "invalid"; empty: what it is
  std::string flags = {};   // "SYN,ACK"; empty: those of a packet in that state
  std::string mac = {};     // of the sender
};

// Throws BadArgument, with what is wrong.
packets::Packet packetOf(const PacketQuestion &question, const DeskRouter &desk);

struct Trace {
  packets::Packet packet;
  packets::Walk way;
  std::optional<packets::Walk> answer;  // of a first packet that got somewhere
};

Trace traceOf(const PacketQuestion &question, const DeskRouter &desk);
// "dropped by record 1 of IPPortFilterRules (192.168.1.20 to any, TCP 25)"
std::string verdictSentence(const packets::Walk &way, const DeskRouter &desk, Blame &blame);

}  // namespace orba::tool

#endif
