// What a device's events are called.
#ifndef ORBA_TOOLS_PLAY_EVENT_WORDS_H
#define ORBA_TOOLS_PLAY_EVENT_WORDS_H

#include <string>

#include "sim/device.h"

namespace orba::tool {

// "command", "set": for programs.
const char *nameOf(sim::Event::Kind kind);
// "reads: cat /proc/uptime": anything that was done, but for its command alone.
std::string inWords(const sim::Event &event);

}  // namespace orba::tool

#endif
