#include "tools/cli/device_options.h"

#include <CLI/CLI.hpp>

#include "tools/catalog/entry_point.h"
#include "tools/device/desk_device.h"
#include "tools/device/this_machine.h"
#include "tools/lab/confine.h"
#include "tools/lab/lab.h"

namespace orba::tool {

int minuteOfWeek(const std::string &at) {
  const tm time = timeFrom(Parameter{"at"}, at);
  return (time.tm_wday * 24 + time.tm_hour) * 60 + time.tm_min;
}

void DeviceOptions::addTo(CLI::App &command) {
  command.add_option("-r,--root", root, "A folder with the device's files, read only")
      ->check(CLI::ExistingDirectory);
  command.add_option("-d,--device", device, "What the device on the desk has and finds")
      ->check(CLI::ExistingFile);
  command.add_option("--at", at, "The device's time, such as \"Mon 22:45\"");
  command.add_flag("--lab", in_lab, "With the addresses and files of the lab's router")
      ->excludes("--root");
}

void DeviceOptions::confineToLab() const {
  if (in_lab) confine();
}

void DeviceOptions::prepare(sim::Device &made) const {
  // A process that makes several calls is there from the first on.
  static bool entered = false;
  if (in_lab && !entered) enterLab("router");
  entered = in_lab;
  DeskDevice{root, device}.prepare(made, in_lab ? putThisMachine : setUpDeskDevice);
  // A new device's clock stands at the midnight that begins a Sunday.
  if (!at.empty()) made.clock().set(made.clock().now() + time_t{60} * minuteOfWeek(at));
}

}  // namespace orba::tool
