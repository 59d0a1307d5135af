#include "fuzz/settings_file.h"

#include "platform/nvram/store_format.h"

namespace orba::fuzz {

std::string checkSettingsFile(std::string_view text) {
  std::vector<nvram::Damage> damages;
  std::vector<nvram::Setting> read = nvram::parseSettings(text, &damages);
  nvram::Settings spaces[nvram::kLastSpace + 1];
  for (const nvram::Setting &entry : read) {
    if (entry.space < nvram::kFirstSpace || entry.space > nvram::kLastSpace) return "no such space";
    if (!nvram::validKey(entry.key)) return "a key that cannot be written: " + entry.key;
    if (!spaces[entry.space].emplace(entry.key, entry.value).second) return "a key twice";
  }
  for (const nvram::Settings &settings : spaces) {
    damages.clear();
    nvram::Settings again;
    for (const nvram::Setting &entry :
         nvram::parseSettings(nvram::printSettings(settings), &damages)) {
      again[entry.key] = entry.value;
    }
    if (!damages.empty()) return "what is written is damaged: " + damages[0].what;
    if (again != settings) return "what is written reads as something else";
  }
  return "";
}

}  // namespace orba::fuzz
