// The device on the desk: what the tool's simulated device has besides settings.
//
// A device file says what is different from the device as it comes:
//
//   interface ra0 - 02:00:00:00:00:05       name, address/prefix or "-", MAC
//   answer "switch reg r 80" "value=3e00001f"
//   wps ra0 3*5 34                          statuses, each for so many ticks
//   wps-state 2                             the access point's configuration state
//   wps-credential "home" 32 8 "pass phrase"   name, authentication, encryption, key
//   "Home's AP"  00:11:22:33:44:55  6  -55  WPA2-PSK AES     a network to be found
//
// '#' begins a comment line.
#ifndef ORBA_TOOLS_DEVICE_DESK_DEVICE_H
#define ORBA_TOOLS_DEVICE_DESK_DEVICE_H

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "sim/device.h"

namespace orba::tool {

// Gives the LAN and the WANs that the device's settings name their addresses
// (br0 192.168.1.1, WAN n 203.0.113.n+1), the WAN port its link, the gateway
// 203.0.113.1 behind switch port 3, and the radio no networks.
void setUpDeskDevice(sim::Device &device);

// Reads a device file onto it. Throws BadConfig with file and line.
void readDeviceFile(const std::string &path, sim::Device &device);

// The names that its radio finds, byte by byte, in the order of its survey.
std::vector<std::string> namesOnAir(sim::Device &device);

// The device on the desk, but for its settings.
struct DeskDevice {
  std::string root;    // a folder with the device's files, or empty
  std::string device;  // a file with what it has and finds, or empty
  time_t started_at = 0;
  // The channel of a radio that chooses for itself; without one, the driver tells of no channel.
  std::optional<int> chosen_channel = {};

  // When its settings are in place. `begin` says what it is before the device file is read.
  void prepare(sim::Device &made, void (*begin)(sim::Device &) = setUpDeskDevice) const;
};

}  // namespace orba::tool

#endif
