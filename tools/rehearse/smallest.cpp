#include "tools/rehearse/smallest.h"

#include <algorithm>

#include "tools/text/lines.h"

namespace orba::tool {

namespace {

constexpr size_t kMostTrials = 4'000;

// Delta debugging of a list of parts.
template <typename Part>
void leaveOut(std::vector<Part> &parts, size_t &trials,
              const std::function<bool(const std::vector<Part> &)> &shows) {
  for (size_t length = (parts.size() + 1) / 2; length > 0 && !parts.empty();) {
    bool less = false;
    for (size_t begin = 0; begin < parts.size();) {
      std::vector<Part> rest = parts;
      const size_t end = std::min(begin + length, parts.size());
      rest.erase(rest.begin() + static_cast<long>(begin), rest.begin() + static_cast<long>(end));
      if (trials == 0) return;
      trials--;
      if (shows(rest)) {
        parts = std::move(rest);
        less = true;
      } else {
        begin = end;
      }
    }
    // What could not go by itself may go when others have gone.
    if (length > 1) {
      length = std::min((length + 1) / 2, std::max<size_t>(parts.size(), 1));
    } else if (!less) {
      return;
    }
  }
}

}  // namespace

std::vector<nvram::Setting> smallestThatShows(std::vector<nvram::Setting> settings,
                                              const Shows &shows) {
  size_t trials = kMostTrials;
  if (!shows(settings)) return settings;
  leaveOut<nvram::Setting>(settings, trials, shows);
  for (size_t i = 0; i < settings.size(); i++) {
    if (settings[i].value.find(';') == std::string::npos) continue;
    std::vector<std::string> records = splitAt(settings[i].value, ';');
    const auto with = [&](const std::vector<std::string> &those) {
      std::vector<nvram::Setting> changed = settings;
      changed[i].value = joined(those, ';');
      return changed;
    };
    leaveOut<std::string>(records, trials, [&](const std::vector<std::string> &those) {
      return !those.empty() && shows(with(those));
    });
    settings = with(records);
  }
  return settings;
}

}  // namespace orba::tool
