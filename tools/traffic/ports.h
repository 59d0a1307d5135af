// What the Internet reaches, and who else reaches what: the packets that get somewhere, merged
// into a few lines.
#ifndef ORBA_TOOLS_TRAFFIC_PORTS_H
#define ORBA_TOOLS_TRAFFIC_PORTS_H

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "packets/interval_set.h"
#include "packets/packet.h"
#include "tools/traffic/blame.h"
#include "tools/traffic/side_ways.h"

namespace orba::tool {

// Packets that begin something and get to one place, as one line.
struct Opening {
  std::string from;                // a side
  bool neighbours = false;         // only who is on the side's own wire can send them
  std::string to;                  // kRouter, a side, the name of another interface; or "": a
                                   // program that does with them what nobody here knows
  packets::IntervalSet protocols;  // kTcp and kUdp stand alone, with `ports`
  packets::IntervalSet ports;      // that are asked for
  packets::IntervalSet sources;    // who asks
  bool from_anyone = false;        // all who can send packets from there, or nearly
  packets::IntervalSet hosts;      // where they arrive: addresses
  bool all_hosts = false;          // the router, or all that there is at `to`, or nearly
  bool translated = false;         // the router's address was asked for, not the host's
  std::optional<uint64_t> port;    // where they arrive, when it is another
  std::vector<packets::RuleAt> rules, stoppers;  // what lets these through, and stops others
  std::string by, but;                           // the settings or records of those; empty for none
  std::vector<Origin> by_origins, but_origins;   // the same, each once
  std::vector<std::string> depends;  // the questions on which it depends; none: it is sure
  packets::Packet witness;           // one of them
};

// A service that its mode keeps from the Internet, and the Internet reaches.
struct Leak {
  std::string from;
  std::string service;             // "the web pages"
  std::string mode, promise;       // "httpMode=0", "from the LAN only"
  uint64_t protocol = 0;           //
  std::vector<std::string> ports;  // "8080 (RMWWWServerPort)"
  packets::IntervalSet sources;
  bool from_anyone = false;
  std::vector<packets::RuleAt> rules;
  std::string by;
  std::vector<Origin> by_origins;
  packets::Packet witness;
};

struct Ports {
  std::vector<Opening> openings;
  std::vector<Leak> leaks;
};

// From a side to a side or kRouter. Empty: what the Internet reaches, and the LAN on the router;
// with one of them given, all from there, or to there.
struct PortsQuestion {
  std::string from = {}, to = {};
};

// Throws BadArgument for a side that the router has not.
Ports portsOf(SideWays &ways, Blame &blame, const PortsQuestion &question);

// `colour` is for terminals.
void printPorts(std::ostream &out, const Ports &ports, const DeskRouter &desk, bool witnesses,
                bool colour);
nlohmann::ordered_json portsAsJson(const Ports &ports, const DeskRouter &desk);

}  // namespace orba::tool

#endif
