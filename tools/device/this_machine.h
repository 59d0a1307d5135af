// What the machine at hand is like, for the simulated device.
#ifndef ORBA_TOOLS_DEVICE_THIS_MACHINE_H
#define ORBA_TOOLS_DEVICE_THIS_MACHINE_H

#include "sim/device.h"

namespace orba::tool {

// Gives the device this machine's interfaces, its files to read, and what its
// switch answers, so that a plan foresees what would happen here.
void putThisMachine(sim::Device &device);

}  // namespace orba::tool

#endif
