// What a change of settings does to traffic.
#ifndef ORBA_TOOLS_TRAFFIC_CHANGE_H
#define ORBA_TOOLS_TRAFFIC_CHANGE_H

#include <compare>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "packets/walk.h"
#include "tools/traffic/desk_router.h"
#include "tools/traffic/set_words.h"

namespace orba::tool {

// Where packets end, in terms that two routers have in common.
struct Fate {
  enum Kind {
    kSilence,  // dropped
    kRefusal,  // dropped, and the sender is told
    kProgram,  // whatever a program does that nobody here knows
    kBridged,  // from one port of the bridge to others
    kRouter,   // the router has it
    kOut,      // it leaves the router
  };
  Kind kind = kSilence;
  std::string out = {};  // of kOut: a side, or an interface behind which none is
  std::optional<uint64_t> destination = {};  // that it is given
  std::optional<uint64_t> port = {};         //
  bool masqueraded = false;

  bool passes() const { return kind >= kBridged; }
  auto operator<=>(const Fate &) const = default;
};
Fate fateOf(const packets::Walk &way, const packets::Packet &packet, const DeskRouter &desk);

// A setting that two configurations do not have in common, or a record of one.
struct SettingChange {
  int space = 1;
  std::string key;
  int record = 0;                            // from 1, 0 for the value as a whole
  std::optional<std::string> before, after;  // nothing where it is not there

  bool operator==(const SettingChange &) const = default;
};

enum class Passes { kNo, kDepends, kYes };

// Packets of which something else becomes now.
struct TrafficChange {
  enum Packets {
    kFirst,       // that begin a connection between hosts, and need no neighbour
    kNeighbours,  // that begin one, and only somebody on a WAN's own wire can send
    kLater,       // of connections that are there already
    kOthers,      // to groups, from addresses that cannot be, and that belong to no connection
    kFrames,      // between the ports of the bridge
  };
  Packets packets = kFirst;
  std::vector<std::string> from;  // sides
  Passes was_passed = Passes::kNo, passes = Passes::kNo;
  Fate was, is;                      // of the witness
  std::vector<Slice> slices;         // of kFirst: protocols and ports, with all else in common
  packets::Packet witness;           // one of them, at the first of the sides
  std::vector<std::string> depends;  // the questions on which it depends
  size_t alike = 1;  // so many were merged, of which `was` and `is` are those of the witness only
  // The least that has to change for it; nothing where that was not looked for.
  std::vector<SettingChange> causes;
};

struct TrafficChanges {
  // What opens something towards the Internet first.
  std::vector<TrafficChange> changes;
  size_t more = 0;  // that were not looked into
  // What else differs: chains that the router's own packets meet, modules, gateways of one
  // interface, segment sizes.
  std::vector<std::string> not_compared;

  bool none() const { return changes.empty() && more == 0 && not_compared.empty(); }
};

// To look for causes takes many times as long as all else.
enum class Causes { kFound, kLeftOut };
TrafficChanges trafficChanges(const DeskRouter &before, const DeskRouter &after,
                              const Prepare &prepare, Causes causes = Causes::kFound);

// "the Internet", "the LAN", "the wired LAN"
std::string sidesText(const std::vector<std::string> &sides);
// "to the router", "to 192.168.1.11:443", "out to the Internet, masqueraded", "dropped"
std::string fateText(const Fate &fate);
// "record 4 of PortForwardRules (192.168.1.20,22,0,TCP) is new", "DefaultFirewallPolicy=0, was 1"
std::string settingChangeText(const SettingChange &change);
// "+ tcp 22 from the Internet to the router: let through now"
std::string trafficChangeText(const TrafficChange &change, const DeskRouter &after);
// Those that are told one by one, of which the others are what comes with them.
std::vector<const TrafficChange *> toldChanges(const TrafficChanges &changes);
// Whether it lets something in from the Internet that was kept out, or not always let in.
bool opensToInternet(const TrafficChange &change);
void printTrafficChanges(std::ostream &out, const TrafficChanges &changes, const DeskRouter &after,
                         bool coloured);
nlohmann::ordered_json trafficChangesAsJson(const TrafficChanges &changes, const DeskRouter &after);

}  // namespace orba::tool

#endif
