// Typical arguments for every entry point, for whatever calls them all: tests,
// fuzzing, and the reference that is written from what they do.
#ifndef ORBA_TOOLS_CATALOG_SAMPLE_CALLS_H
#define ORBA_TOOLS_CATALOG_SAMPLE_CALLS_H

#include <string>
#include <vector>

#include "tools/catalog/entry_point.h"

namespace orba::tool {

// The lists of words to call `entry` with, one at least. Throws
// std::logic_error when a parameter has no sample.
std::vector<std::vector<std::string>> sampleCalls(const EntryPoint &entry);

}  // namespace orba::tool

#endif
