// What an entry point does, found out on the simulated device: it is called as
// the device comes, and then again with every setting that it asked for changed
// or missing, and with those that this makes it ask for.
#ifndef ORBA_TOOLS_PLAY_BEHAVIOUR_H
#define ORBA_TOOLS_PLAY_BEHAVIOUR_H

#include <set>
#include <string>
#include <vector>

#include "tools/catalog/entry_point.h"
#include "tools/play/trial.h"

namespace orba::tool {

// What ran in one situation and in none of those before. Lines are commands,
// with " |" behind them when their output is read, and in parentheses what else
// was done; values that are a setting's or an argument's are named.
struct Deeds {
  std::string call;       // with its arguments, when there are several
  std::string situation;  // empty for the device as it comes
  std::vector<std::string> lines;
};

struct Behaviour {
  std::set<SettingName> reads;
  std::set<SettingName> writes;
  std::set<std::string> files_read;
  std::set<std::string> files_written;
  std::set<std::pair<std::string, bool>> commands;  // as a shell got them; whether they were read
  std::vector<Deeds> deeds;
  std::vector<std::string> usual;  // all lines of the first call of the device as it comes
};

Behaviour behaviourOf(const EntryPoint &entry);

struct Known {
  const EntryPoint *entry;
  Behaviour behaviour;
};

// Every entry point, found out once.
const std::vector<Known> &everyBehaviour();

}  // namespace orba::tool

#endif
