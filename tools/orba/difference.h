// What changes between two runs of an entry point.
#ifndef ORBA_TOOLS_DIFFERENCE_H
#define ORBA_TOOLS_DIFFERENCE_H

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "tools/orba/edits.h"
#include "tools/orba/run.h"

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
  Edits writes;  // settings, as Run::writes
  Edits others;  // what else was done and answered, in the words of `orba plan`

  bool none() const;
  // The difference of one chain, null for none.
  const ChainDifference *chain(const std::string &program, const std::string &table,
                               const std::string &chain) const;
};

Difference differenceOf(const Run &before, const Run &after);

// For people, only what changes and a little around it.
void printDifference(std::ostream &out, const Difference &difference, bool coloured);
nlohmann::ordered_json differenceAsJson(const Difference &difference);

}  // namespace orba::tool

#endif
