// A difference between two runs, for people and for programs.
#ifndef ORBA_TOOLS_SHOW_CHANGES_H
#define ORBA_TOOLS_SHOW_CHANGES_H

#include <nlohmann/json_fwd.hpp>
#include <ostream>

#include "tools/play/difference.h"

namespace orba::tool {

// For people, only what changes and a little around it.
void printDifference(std::ostream &out, const Difference &difference, bool coloured);
nlohmann::ordered_json differenceAsJson(const Difference &difference);

}  // namespace orba::tool

#endif
