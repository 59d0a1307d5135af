// What gets through while a firewall is rebuilt, command by command.
#ifndef ORBA_TOOLS_TRAFFIC_MEANWHILE_H
#define ORBA_TOOLS_TRAFFIC_MEANWHILE_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tools/text/progress.h"
#include "tools/traffic/desk_router.h"
#include "tools/traffic/set_words.h"
#include "tools/traffic/side_ways.h"

namespace orba::tool {

// Packets that get through for a time, and neither before nor afterwards.
struct Window {
  Sides from;
  bool neighbours = false;    // only somebody on the side's own wire can send them
  bool delivered = false;     // of the witness: to the router, else past it
  std::vector<Slice> slices;  // protocols and ports
  Slice around;               // all of them
  packets::Packet witness;    // one that stays longest
  // The commands that open and shut it for the witness, from 0 in the rebuild; the first that opens
  // it for any of the packets and the last that shuts it.
  size_t opens = 0, shuts = 0, first = 0, last = 0;
};

struct Meanwhile {
  std::vector<std::string> commands;  // of the rebuild
  // The states of the router between them that were looked at: all that differ in what packets
  // meet, but of very many those alone between which something could open.
  size_t states = 0;
  bool all_states = true;
  std::vector<Window> windows;  // from the Internet first
};

// The entry point of `rebuild` runs on the router that is there. Only the first packets of
// connections are asked about: those of a connection that is there already had its way before.
// Progress is told of states.
Meanwhile meanwhileOf(const DeskRouter &before, const Recording &rebuild,
                      const Progress &progress = {});

void printMeanwhile(std::ostream &out, const Meanwhile &meanwhile, const DeskRouter &before,
                    bool coloured);
nlohmann::ordered_json meanwhileAsJson(const Meanwhile &meanwhile, const DeskRouter &before);

}  // namespace orba::tool

#endif
