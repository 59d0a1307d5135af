// What changes between two runs of an entry point.
#ifndef ORBA_TOOLS_DIFFERENCE_H
#define ORBA_TOOLS_DIFFERENCE_H

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "tools/orba/run.h"

namespace orba::tool {

// One line of two lists laid side by side.
struct Edit {
  enum Kind { kKept, kAdded, kRemoved, kMoved };
  Kind kind;
  std::string text;
  size_t before = 0, after = 0;  // its places in the lists, from 1; 0 where it is not
};
using Edits = std::vector<Edit>;

// The least that makes `after` of `before`, kept lines and all.
Edits editsBetween(const std::vector<std::string> &before, const std::vector<std::string> &after);
// The same with a line that went from one place to another told once, where it is now.
Edits editsWithMoves(const std::vector<std::string> &before, const std::vector<std::string> &after);
// Whether anything is not kept.
bool changes(const Edits &edits);

// A chain that differs. One that is there on one side only has no policy and
// no rules on the other.
struct ChainDifference {
  std::string program, table, chain;
  bool was = true, is = true;  // there before, there after
  std::string policy_before, policy_after;
  Edits rules;  // all of the chain
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
