// What the page asks for, as JSON: the texts of the getters as they write them,
// and what a change of the configuration would do.
#ifndef ORBA_TOOLS_SERVE_VIEWS_H
#define ORBA_TOOLS_SERVE_VIEWS_H

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "platform/nvram/store_format.h"
#include "tools/device/desk_device.h"
#include "tools/serve/draft.h"

namespace orba::tool {

using Json = nlohmann::ordered_json;

// Each makes a device of its own, so they may be called in any order, but only
// one at a time.
Json statusView(const DeskDevice &desk, const Draft &draft, long long milliseconds);
Json networkView(const DeskDevice &desk, const Draft &draft);
Json radioView(const DeskDevice &desk, const Draft &draft);
Json settingsView(const Draft &draft);
Json changesView(const Draft &draft);
// The same with what comes of them: the commands that would be others, entry
// point by entry point, and what is newly wrong with the settings.
Json effectsView(const DeskDevice &desk, const Draft &draft);

}  // namespace orba::tool

#endif
