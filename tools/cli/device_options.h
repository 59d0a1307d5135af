// What the subcommands that need a simulated device are told about it.
#ifndef ORBA_TOOLS_CLI_DEVICE_OPTIONS_H
#define ORBA_TOOLS_CLI_DEVICE_OPTIONS_H

#include <string>

namespace CLI {
class App;
}
namespace sim {
class Device;
}

namespace orba::tool {

// What the device has besides settings.
struct DeviceOptions {
  std::string root;
  std::string device;
  std::string at;
  bool in_lab = false;

  void addTo(CLI::App &command);
  // To be called before anything else: what touches the lab's router is kept in.
  void confineToLab() const;
  void prepare(sim::Device &made) const;
};

// The minutes of a time that --at gives, such as "Mon 22:45", from the midnight that begins a
// Sunday. Throws BadArgument.
int minuteOfWeek(const std::string &at);

}  // namespace orba::tool

#endif
