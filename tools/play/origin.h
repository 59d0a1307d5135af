// Which settings each command of a run came from, found by trying.
#ifndef ORBA_TOOLS_PLAY_ORIGIN_H
#define ORBA_TOOLS_PLAY_ORIGIN_H

#include <string>
#include <vector>

#include "tools/play/recording.h"

namespace orba::tool {

struct Origin {
  // A record that the command is made of; a value that it carries; a setting
  // because of which it is there, or is as it is.
  enum Role { kRecord, kValue, kBecause };
  Role role;
  int space;
  std::string key;
  int record = 0;  // from 1; 0 for the value as a whole

  bool operator==(const Origin &) const = default;
};

// For each command of a run, in order: what it came from, the closest first.
// Commands that are always the same have none.
using Origins = std::vector<std::vector<Origin>>;

// Runs the entry point again with each setting that it asked for changed: a
// record of a list left out, a value in place of another, none at all. The
// commands that are then gone or others came from it.
//
// This sees one change at a time, and some values only: of two switches of which
// either is enough it finds none, and a choice among names only by those that
// settings.h knows. Of equal records one answers for all. A setting that must
// merely be there is named only where nothing closer is.
Origins originsOf(const Recording &run, const Prepare &prepare);

// "record", "value" or "because".
const char *roleName(Origin::Role role);
// "PortForwardRules, record 1", and what the run was given for it.
std::string nameOf(const Origin &origin);
std::string valueOf(const Origin &origin, const Recording &run);

}  // namespace orba::tool

#endif
