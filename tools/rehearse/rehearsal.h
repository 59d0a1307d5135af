// The whole of it: every configuration on both sides, in groups by what changes for them.
#ifndef ORBA_TOOLS_REHEARSE_REHEARSAL_H
#define ORBA_TOOLS_REHEARSE_REHEARSAL_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/rehearse/comparison.h"

namespace orba::tool {

struct Rehearsal {
  TwoSides sides;
  std::string own_version;                  // of this program
  std::vector<std::string> configurations;  // as Source takes them
  std::string folder;                       // of the report
  size_t jobs = 1;
  size_t shard = 1, shards = 1;  // only the configurations of this one, from 1
  bool progress = false;         // told on standard error
};

// Rehearses, or goes on where it was interrupted, and writes the report into the folder:
// report.txt, report.json, report.html, and for each group the list of its configurations. Of one
// shard of several nothing but what mergeShards() takes. Gives the report. Throws BadArgument,
// BadConfig, CannotWrite.
nlohmann::ordered_json rehearse(const Rehearsal &rehearsal, const Prepare &prepare);

// The report of shards that are done, as one rehearsal would have written it.
nlohmann::ordered_json mergeShards(const std::vector<std::string> &shards,
                                   const Rehearsal &rehearsal, const Prepare &prepare);

}  // namespace orba::tool

#endif
