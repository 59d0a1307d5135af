// What changes between two runs of an entry point.
#ifndef ORBA_TOOLS_PLAY_DIFFERENCE_H
#define ORBA_TOOLS_PLAY_DIFFERENCE_H

#include <string>
#include <vector>

#include "tools/play/recording.h"
#include "tools/text/edits.h"

namespace orba::tool {

// A chain that differs. One that is there on one side only has no policy and
// no rules on the other.
struct ChainDifference {
  std::string program, table, chain;
  bool was = true, is = true;  // there before, there after
  std::string policy_before, policy_after;
  Edits rules;  // all of the chain

  bool same() const;
};

struct FileDifference {
  std::string path;
  Edits lines;
};

struct Difference {
  Edits commands;                       // all of both runs
  std::vector<ChainDifference> chains;  // these only where something differs
  std::vector<FileDifference> files;
  Edits writes;  // settings, as Recording::writes
  Edits others;  // what else was done and answered, in the words of `orba plan`

  bool none() const;
};

Difference differenceOf(const Recording &before, const Recording &after);

}  // namespace orba::tool

#endif
