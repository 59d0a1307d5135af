// What the page asks for, as JSON: the texts of the getters as they write them,
// and what a change of the configuration would do.
#ifndef ORBA_TOOLS_SERVE_VIEWS_H
#define ORBA_TOOLS_SERVE_VIEWS_H

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "platform/nvram/store_format.h"
#include "tools/device/desk_device.h"
#include "tools/serve/draft.h"

namespace orba::tool {

using Json = nlohmann::ordered_json;

// The settings that a device comes with; nothing when nobody said, and the library's own
// defaults count.
using Defaults = std::optional<std::map<Draft::Name, std::string>>;

// Each makes a device of its own, so they may be called in any order, but only
// one at a time.
Json statusView(const DeskDevice &desk, const Draft &draft, long long milliseconds);
Json networkView(const DeskDevice &desk, const Draft &draft);
Json radioView(const DeskDevice &desk, const Draft &draft);
// What may be set: the table of settings, its lists with their columns.
Json knownView();
// What is set, and what differs: from what is kept, from the file, from the default.
Json settingsView(const Draft &draft, const Defaults &defaults);

// What the changes are compared with.
enum class Against { kKept, kFile };
// How much is not kept yet, and what is kept in memory only.
Json pendingView(const Draft &draft);
// The settings that differ, by record.
Json changesView(const Draft &draft, Against against);
// What comes of them: the commands that would be others, entry point by entry point, and
// what is newly wrong with the settings.
Json effectsView(const DeskDevice &desk, const Draft &draft, Against against);
// What they do to traffic, in the words of `orba diff`.
Json trafficView(const DeskDevice &desk, const Draft &draft, Against against);

}  // namespace orba::tool

#endif
