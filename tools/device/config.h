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

struct BadConfig : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One line for each fault, with file, line and key.
struct BadLines : BadConfig {
  using BadConfig::BadConfig;
};

// Told of each fault when whoever calls goes on without the lines that are no settings, as the
// settings store does; without it they are BadLines.
inline void (*on_bad_line)(const std::string &fault) = nullptr;

// What is left out where settings go from one form into another.
struct LeftOut {
  std::string where;  // "FILE:3"
  std::string key;    // as people may see it
  std::string why;

  std::string text() const { return where + ": \"" + key + "\" " + why; }
};

// What a text says in settings, and what else it holds.
struct Understood {
  std::vector<nvram::Setting> settings;
  std::vector<LeftOut> not_understood;
};

// "standard input" for "-".
std::string nameOf(const std::string &path);
// What names the setting in a line that is none: all before the '=', if there is one, and not
// too much of it.
std::string keyIn(const std::string &line);

// A file's content, or that of standard input for "-", which may be asked for again.
// Throws BadConfig.
std::string configText(const std::string &path);

// A configuration is what a settings store prints, with "[1]" and "[2]" lines for the two
// spaces; what stands before any is of `space`. Of what is not understood the last two throw
// BadLines.
Understood understood(const std::string &text, const std::string &path,
                      int space = nvram::kFirstSpace);
std::vector<nvram::Setting> configIn(const std::string &text, const std::string &path);
std::vector<nvram::Setting> readConfig(const std::string &path);

// As a configuration file, space by space, in the order that they have there.
std::string printConfig(std::vector<nvram::Setting> config);

void putSettings(const std::vector<nvram::Setting> &config, sim::Device &device);

}  // namespace orba::tool

#endif
