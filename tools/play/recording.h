// The room tools/play: calls made on such a device, and what is found out by comparing
// them: a run, the difference of two, where a command comes from, what an entry point
// does at all. Nothing here is printed.
//
// A whole run of an entry point on the simulated device, recorded to be shown and
// to be compared with others.
#ifndef ORBA_TOOLS_PLAY_RECORDING_H
#define ORBA_TOOLS_PLAY_RECORDING_H

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/nvram/store_format.h"
#include "sim/device.h"
#include "sim/packet_filter.h"
#include "tools/catalog/entry_point.h"

namespace orba::tool {

// A call of an entry point, on whatever device, and its answer.
struct Call {
  std::string entry;
  std::vector<std::string> words;
  CallResult result;
  std::string printed;  // on its standard output
};

// What an entry point did on the simulated device, as it was recorded.
struct RawRecording : Call {
  std::vector<sim::Event> events;            // everything it did, in order
  std::map<std::string, std::string> files;  // those it wrote, with what they hold at the end
};

// The same to be looked into.
struct Recording : RawRecording {
  std::vector<nvram::Setting> config;  // the settings that it was given
  std::vector<std::string> commands;   // in order, without the runners' redirection
  sim::PacketFilter filter;            // what they make of an empty one; Rule::line
                                       // is a place in `commands`
  std::vector<std::string> writes;     // "set 1 KEY=VALUE" and "commit 1", in order
  // The settings it asked for, by space and key, and how many of its commands came before it,
  // or whoever made the device, first did.
  std::map<std::pair<int, std::string>, size_t> asked;
  std::vector<std::pair<int, std::string>> missing;  // and was not given, in order
  std::string errors;                                // what it printed on its standard error
  long long milliseconds = 0;                        // how long it and the ticks behind it took

  // The value of a setting that it was given, null for none.
  const std::string *value(int space, const std::string &key) const;
};

// Fills what a recording has of its events apart: commands, writes, printed and errors. How many
// commands there were before each event, and behind the last.
std::vector<size_t> readEvents(Recording &run);

constexpr long long kTickMilliseconds = 100;  // of the WPS monitors

// What the device has besides settings; called when those are in place.
using Prepare = std::function<void(sim::Device &)>;

// Calls an entry point in a process of its own, so that nothing which one call
// leaves in the library's memory (loaded modules, open descriptors) changes what
// the next one does, and a call that dies takes nothing with it. Behind the call
// that many `ticks` of 100 ms pass, for as long as the interval timer is armed.
// Throws BadArgument for the words and BadConfig when `prepare` does;
// std::runtime_error when the call died.
Recording record(const std::vector<nvram::Setting> &config, const std::string &entry,
                 const std::vector<std::string> &words, const Prepare &prepare,
                 long long ticks = 0);

// Its commands alone.
std::vector<std::string> recordCommands(const std::vector<nvram::Setting> &config,
                                        const std::string &entry,
                                        const std::vector<std::string> &words,
                                        const Prepare &prepare);

// One of hundreds of calls.
struct CallToMake {
  std::vector<nvram::Setting> config;
  std::string entry;
  std::vector<std::string> words;
};

// A call by its number, and what somebody who makes so many of them wants to know of the device
// behind one: as numbers, found in the process of the call.
using CallOf = std::function<CallToMake(size_t call)>;
using Look = std::function<std::vector<size_t>(size_t call, const sim::Device &device)>;

// Makes `count` calls, as many beside each other as there are processors, and gives what was seen
// of each. Throws as record() does.
std::vector<std::vector<size_t>> lookAtCalls(size_t count, const CallOf &callOf,
                                             const Prepare &prepare, const Look &look);

}  // namespace orba::tool

#endif
