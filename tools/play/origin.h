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

// What one command came from, the closest first. One that is always the same has none.
using CommandOrigins = std::vector<Origin>;
// For each line of Recording::commands, in order, those of each of its commands.
using Origins = std::vector<std::vector<CommandOrigins>>;

// A command of a run: its line's place in Recording::commands, and its own among commandsOf(line).
struct CommandAt {
  size_t line, part = 0;
};

// The commands of a line as they stand there; the line itself when it has only one.
std::vector<std::string> commandsOf(const std::string &line);

// Runs the entry point again with each setting that it asked for changed: another
// value in its place, or none at all. The commands that are then gone or others came
// from it. Of a list, a command came from the record that it carries a value of, which
// is seen when each record has a value of its own; or else from the one with which it is
// there for good when the list is given up to it.
//
// This sees one change at a time, and some values only: of two switches of which
// either is enough it finds none, and a choice among names only by those that
// settings.h knows. A setting that must merely be there is named only where nothing
// closer is. Of a list with more than 200 records that no command carries a value of,
// the commands that carry none are told of the list as a whole; and of a long list one
// record speaks for all of its kind.
Origins originsOf(const Recording &run, const Prepare &prepare);

// "record", "value" or "because".
const char *roleName(Origin::Role role);
// "PortForwardRules, record 1", and what the run was given for it.
std::string nameOf(const Origin &origin);
std::string valueOf(const Origin &origin, const Recording &run);

}  // namespace orba::tool

#endif
