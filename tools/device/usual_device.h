// What a device usually has and says, written down once. The desk's device, the trials of
// entry points, the fuzzers and the faults take of it what they need, and say themselves
// what is otherwise with them.
#ifndef ORBA_TOOLS_DEVICE_USUAL_DEVICE_H
#define ORBA_TOOLS_DEVICE_USUAL_DEVICE_H

#include <span>
#include <string>

#include "sim/device.h"
#include "sim/wps_session.h"

namespace orba::tool {

// Since when a device has a thing. What it has since an earlier moment it has later too.
enum class Since {
  kBoot,      // of the kernel and the firmware, and of WANs that have come up
  kServices,  // of the programs beside the library
  kUse,       // of people: stations, policy routes, a second WAN, runs of WPS
};

struct UsualFile {
  Since since;
  const char *path;
  const char *content;
};
std::span<const UsualFile> usualFiles();
// The content of one of them, and its first lines: the head of a table of the kernel.
const char *usualContent(const std::string &path);
std::string usualHead(const std::string &path, size_t lines);
// A folder of those that are there by then, for a device to read through to.
std::string usualFolder(Since then);

// What a command prints that contains `part`.
struct UsualAnswer {
  Since since;
  const char *part;
  const char *output;
};
std::span<const UsualAnswer> usualAnswers();
void putUsualAnswers(sim::Device &device, Since then);

// All that answers the requests of drivers.
void putUsualParts(sim::Device &device);

// A network's credential by WPA2, as a run of WPS hands it over.
const sim::WpsSession::Credential kUsualCredential = {
    .ssid = "home", .authentication = 32, .encryption = 8, .key = "pass phrase"};
// The access point and the client say that their runs of WPS have come to `status`.
void putWpsStatus(sim::Device &device, int status);
// What runs that ended well leave in the drivers.
void putWpsResult(sim::Device &device, const sim::WpsSession::Credential &credential);

}  // namespace orba::tool

#endif
