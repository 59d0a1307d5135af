// What is wrong with a configuration, as far as its settings show.
#ifndef ORBA_TOOLS_SHOW_CHECK_H
#define ORBA_TOOLS_SHOW_CHECK_H

#include <vector>

#include "sim/device.h"
#include "tools/catalog/finding.h"

namespace orba::tool {

// Looks through every list-valued setting with the very checks that the entry
// points make, and through every other setting for its form; then for what is well formed and
// hardly meant so.
std::vector<Finding> checkSettings(sim::Device &device);

}  // namespace orba::tool

#endif
