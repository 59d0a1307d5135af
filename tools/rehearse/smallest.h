// The least of a configuration that still shows something.
#ifndef ORBA_TOOLS_REHEARSE_SMALLEST_H
#define ORBA_TOOLS_REHEARSE_SMALLEST_H

#include <functional>
#include <vector>

#include "platform/nvram/store_format.h"

namespace orba::tool {

using Shows = std::function<bool(const std::vector<nvram::Setting> &settings)>;

// Leaves out settings, then records of lists, for as long as `shows` holds of what is left: by
// halves first, then by ever smaller parts, until none can be left out by itself. `shows` must hold
// of `settings`; otherwise, and after 4,000 trials, what is left by then is given.
std::vector<nvram::Setting> smallestThatShows(std::vector<nvram::Setting> settings,
                                              const Shows &shows);

}  // namespace orba::tool

#endif
