// What other settings have every entry point do that reads one of them.
#ifndef ORBA_TOOLS_PLAY_EFFECTS_H
#define ORBA_TOOLS_PLAY_EFFECTS_H

#include <string>
#include <vector>

#include "tools/play/difference.h"
#include "tools/play/settings_change.h"

namespace orba::tool {

// A call that does or answers something else now.
struct Effect {
  std::string entry;
  std::vector<std::string> words;
  Difference difference;

  std::string call() const;  // "getWan2IfName 2"
};

// In the order of the table of entry points, each called with its sample words. `changed` is
// what differs between the settings.
std::vector<Effect> effectsOf(const std::vector<ChangedSetting> &changed,
                              const std::vector<nvram::Setting> &before,
                              const std::vector<nvram::Setting> &after, const Prepare &prepare);

// Whether all that is otherwise in one is so in the other too.
bool isWithin(const Difference &part, const Difference &whole);

}  // namespace orba::tool

#endif
