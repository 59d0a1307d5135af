// What the library does on purpose and a user of a setting would not guess: one table for
// 'orba explain', 'orba check' and docs/settings.md.
#ifndef ORBA_TOOLS_CATALOG_PECULIARITIES_H
#define ORBA_TOOLS_CATALOG_PECULIARITIES_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/catalog/settings.h"

namespace orba::tool {

// What shows that a sentence is true: a call on the desk's device, or a packet to the router of
// examples/minimal.conf. A test plays each.
struct Evidence {
  std::vector<std::string> settings;  // "KEY=VALUE"; in front of a packet besides the example's
  std::vector<std::string> call;      // an entry point and its words
  std::string packet;                 // "wan 198.51.100.9 203.0.113.2 tcp/80"
  // Parts of the commands that are run, of "set 1 KEY=VALUE" and of the answer, in this order.
  std::vector<std::string> seen;
  std::vector<std::string> not_seen;
  std::string verdict;  // "forwarded to 192.168.1.50 by br0"
  std::string device;   // a line of a device file
};

// What the value of a setting is for a sentence to say something about a configuration.
struct Circumstance {
  enum Kind { kIs, kIsNot, kOn, kEmpty, kGiven, kMoreRecords };
  std::string key;
  Kind kind;
  std::string than = {};  // a value, or a number of records
};

struct Peculiarity {
  // As in the table of settings, of space 1. A finding is about the first.
  std::vector<std::string> keys;
  std::string sentence;
  std::vector<Evidence> shown;
  // When a configuration has the trouble: all of these. Without any, nothing is found.
  std::vector<Circumstance> trouble = {};
  std::string reason = {}, effect = {};  // as they stand in a finding
};

const std::vector<Peculiarity> &peculiarities();
// Of one row of the table of settings.
std::vector<std::string> peculiaritiesOf(const SettingDescription &setting);
// Whether a configuration has the trouble. `value` gives a setting's, nothing for a missing one.
using ValueOf = std::function<std::optional<std::string>(const std::string &key)>;
bool inTrouble(const Peculiarity &peculiarity, const ValueOf &value);

}  // namespace orba::tool

#endif
