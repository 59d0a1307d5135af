// The room tools/device: the devices that calls are made on, and where what they have
// comes from: a configuration, the desk's usual device and its files, this machine.
//
// Reading configuration files onto the simulated device.
#ifndef ORBA_TOOLS_DEVICE_CONFIG_H
#define ORBA_TOOLS_DEVICE_CONFIG_H

#include <stdexcept>
#include <string>

#include "platform/nvram/store_format.h"
#include "sim/device.h"

namespace orba::tool {

// One line for each fault, with file, line and key.
struct BadConfig : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A configuration file is what a settings store prints, with "[1]" and "[2]"
// lines for the two spaces. Throws BadConfig.
std::vector<nvram::Setting> readConfig(const std::string &path);

void putSettings(const std::vector<nvram::Setting> &config, sim::Device &device);

}  // namespace orba::tool

#endif
