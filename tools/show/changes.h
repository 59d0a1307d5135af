// What changes between two configurations and between two runs, for people and for programs.
#ifndef ORBA_TOOLS_SHOW_CHANGES_H
#define ORBA_TOOLS_SHOW_CHANGES_H

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <vector>

#include "tools/play/difference.h"
#include "tools/play/effects.h"
#include "tools/play/settings_change.h"

namespace orba::tool {

// Each setting with what it was and is, what it is for, and of a list the records.
void printChangedSettings(std::ostream &out, const std::vector<ChangedSetting> &changed,
                          bool coloured);
nlohmann::ordered_json changedSettingsAsJson(const std::vector<ChangedSetting> &changed);

// For people, only what changes and a little around it.
void printDifference(std::ostream &out, const Difference &difference, bool coloured);
nlohmann::ordered_json differenceAsJson(const Difference &difference);

// Each call with its difference; of those that do a part of what another does, only the names.
void printEffects(std::ostream &out, const std::vector<Effect> &effects, bool coloured);
nlohmann::ordered_json effectsAsJson(const std::vector<Effect> &effects);

}  // namespace orba::tool

#endif
