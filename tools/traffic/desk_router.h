// The room tools/traffic: questions about packets, of the router that a configuration makes:
// what becomes of one, what gets through, what a change does to that. How packets go is known
// to packets/; here is whose they are: sides, settings, records.
//
// The router on the desk, as its start leaves it.
#ifndef ORBA_TOOLS_TRAFFIC_DESK_ROUTER_H
#define ORBA_TOOLS_TRAFFIC_DESK_ROUTER_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "packets/interval_set.h"
#include "packets/router.h"
#include "tools/play/origin.h"

namespace orba::tool {

// Whom packets come from: the hosts behind an interface.
struct Side {
  std::string name;       // "lan", "wifi", "wan", "wan2", "wan-wire"
  std::string interface;  // from whose wire they come; for "router" none
  std::string words;      // "a host of the LAN"
};

// Whether a side is the Internet's.
bool isWan(const std::string &side);
// The side of those on the Ethernet below a WAN that is a PPP link, whom the rules about the link
// do not know. A WAN of its own for isWan().
std::string wireOf(const std::string &wan);
bool isWire(const std::string &side);

struct DeskRouter {
  // The entry points that make it a router, in the order of its start.
  std::vector<Recording> runs;
  // What the router knows a command as: its place here.
  struct Command {
    size_t run;    // in `runs`
    CommandAt at;  // in Recording::commands
  };
  std::vector<Command> commands;
  std::vector<Side> sides;
  packets::Router router;

  // Null for none; "router" is no side.
  const Side *side(const std::string &name) const;
  // What IP sees packets from a side come in by, and leave by when they are for it: its interface,
  // or the bridge that this is a port of.
  const packets::Interface &own(const Side &side) const;
  // The addresses whose route, for packets without a mark, is as wanted.
  packets::IntervalSet routed(const std::function<bool(const packets::Route &)> &wanted) const;
  // Those of a side's network and of the networks that are routed to a host of it.
  packets::IntervalSet networksOf(const Side &side) const;
  // The run of an entry point for which isOfStart() holds.
  const Recording &run(const std::string &entry) const;
  std::string text(size_t command) const;  // of a packets::Rule::command
};

// Whether an entry point is one of those that make a router.
bool isOfStart(const std::string &entry);

DeskRouter deskRouter(const std::vector<nvram::Setting> &config, const Prepare &prepare);
// The same of runs that `runOf` has of its entry points.
using RunOf = std::function<Recording(const std::string &entry)>;
DeskRouter deskRouter(const std::vector<nvram::Setting> &config, const Prepare &prepare,
                      const RunOf &runOf);

// The interfaces that the settings give a device: the LAN with its ports, the WANs and the
// default route, with the addresses that the device has for them.
packets::Network deskNetwork(sim::Device &device, std::vector<Side> &sides);

}  // namespace orba::tool

#endif
