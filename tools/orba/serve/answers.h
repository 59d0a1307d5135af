// What the page asks for, as JSON: the texts of the getters as they write them,
// and what a change of the configuration would do.
#ifndef ORBA_TOOLS_SERVE_ANSWERS_H
#define ORBA_TOOLS_SERVE_ANSWERS_H

#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/nvram/store_format.h"
#include "sim/device.h"
#include "tools/orba/serve/session.h"

namespace orba::tool {

using Json = nlohmann::ordered_json;

// The device on the bench, but for its settings.
struct Bench {
  std::string root;    // a folder with the device's files, or empty
  std::string device;  // a file with what it has and finds, or empty
  time_t started_at = 0;

  // When its settings are in place.
  void prepare(sim::Device &device) const;
};

// Each makes a device of its own, so they may be called in any order, but only
// one at a time.
Json statusAnswer(const Bench &bench, const Session &session, long long milliseconds);
Json networkAnswer(const Bench &bench, const Session &session);
Json radioAnswer(const Bench &bench, const Session &session);
Json settingsAnswer(const Session &session);
Json changesAnswer(const Session &session);
// The same with what comes of them: the commands that would be others, entry
// point by entry point, and what is newly wrong with the settings.
Json effectsAnswer(const Bench &bench, const Session &session);
// The firewall as an SVG; with the changes, what they add and take is marked.
std::string firewallAnswer(const Bench &bench, const Session &session, bool with_changes);

}  // namespace orba::tool

#endif
