// What happens on the desk as time passes.
#ifndef ORBA_TOOLS_DEVICE_DESK_LIFE_H
#define ORBA_TOOLS_DEVICE_DESK_LIFE_H

#include <ctime>

#include "sim/device.h"

namespace orba::tool {

// Makes of a device on the desk what it is so many milliseconds after it was
// started: clock and uptime, memory, load, links, and the counters of its
// interfaces, switch and radios. What files its root brings, these grow from.
// The same moment always gives the same device, and no counter runs backwards.
void letLive(sim::Device &device, long long milliseconds, time_t started_at);

}  // namespace orba::tool

#endif
