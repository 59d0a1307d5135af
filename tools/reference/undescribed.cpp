#include "tools/catalog/settings.h"
#include "tools/reference/pages.h"

namespace orba::reference {

using tool::SettingName;

std::vector<std::string> undescribed(const std::vector<Known> &all) {
  std::vector<std::string> complaints;
  for (const Known &known : all) {
    std::set<SettingName> used = known.behaviour.reads;
    used.insert(known.behaviour.writes.begin(), known.behaviour.writes.end());
    for (const auto &[space, key] : used) {
      if (tool::descriptionOf(key, space) != nullptr) continue;
      complaints.push_back(std::string(known.entry->name) + " uses " + key + " of space " +
                           std::to_string(space) +
                           ", which tools/catalog/setting_table.cpp does not have");
    }
  }
  return complaints;
}

}  // namespace orba::reference
