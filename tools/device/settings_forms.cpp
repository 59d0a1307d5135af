#include "tools/device/settings_forms.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>

#include "store.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

std::string fileOf(const std::string &folder, int space) {
  return folder + (folder.ends_with('/') ? "" : "/") + "space" + std::to_string(space) + ".conf";
}

std::vector<int> spacesOf(const std::string &folder) {
  std::vector<int> spaces;
  for (int space = nvram::kFirstSpace; space <= nvram::kLastSpace; space++) {
    std::error_code ignored;
    if (std::filesystem::exists(fileOf(folder, space), ignored)) spaces.push_back(space);
  }
  return spaces;
}

bool hasBlankEnds(const std::string &text) {
  auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
  return !text.empty() && (isBlank(text.front()) || isBlank(text.back()));
}

// Why no plain line can hold a setting, null when one can.
const char *whyNotPlain(const nvram::Setting &setting) {
  if (hasBlankEnds(setting.key)) return "has a blank at an end of its key, which would be lost";
  if (setting.value.find('\n') != std::string::npos) return "has a line end in its value";
  if (setting.value.ends_with('\r'))
    return "has a carriage return at the end of its value, which would be lost";
  return nullptr;
}

// Why a plain line is no setting, null when it is one.
const char *whyNoSetting(const std::string &line, const std::string &key) {
  if (line.find('\0') != std::string::npos) return "holds a NUL byte";
  if (line.front() == '[') return "names a space, and plain lines are of one";
  if (key.size() == line.size()) return "has no '='";
  if (key.empty()) return "has no key before '='";
  if (hasBlankEnds(key)) return "has a blank at an end of its key";
  return nullptr;
}

}  // namespace

bool isStoreFolder(const std::string &folder) {
  return !spacesOf(folder).empty();
}

Understood storeSettings(const std::string &folder) {
  Understood all;
  for (int space : spacesOf(folder)) {
    const std::string path = fileOf(folder, space);
    Understood found = understood(configText(path), path, space);
    for (nvram::Setting &setting : found.settings) {
      if (setting.space == space) {
        all.settings.push_back(std::move(setting));
      } else {
        all.not_understood.push_back({path + ":" + std::to_string(setting.line),
                                      visible(setting.key), "belongs to another space"});
      }
    }
    for (LeftOut &fault : found.not_understood) all.not_understood.push_back(std::move(fault));
  }
  return all;
}

std::vector<int> spacesThere(const std::string &folder,
                             const std::vector<nvram::Setting> &settings) {
  std::vector<int> spaces = spacesOf(folder);
  std::erase_if(spaces, [&](int space) {
    return std::none_of(settings.begin(), settings.end(),
                        [&](const nvram::Setting &setting) { return setting.space == space; });
  });
  return spaces;
}

void putIntoStore(const std::string &folder, const std::vector<nvram::Setting> &settings) {
  std::map<int, nvram::Settings> spaces;
  for (const nvram::Setting &setting : settings) spaces[setting.space][setting.key] = setting.value;
  try {
    nvram::Store store(std::filesystem::absolute(folder));
    for (auto &[space, content] : spaces) store.replace(space, std::move(content));
  } catch (const std::system_error &error) {
    throw BadConfig(folder + ": cannot be written: " + error.what());
  }
}

Understood plainSettings(const std::string &text, const std::string &path, int space) {
  std::vector<std::string> lines = linesIn(text);
  const bool from_terminal = std::all_of(
      lines.begin(), lines.end(), [](const std::string &line) { return line.ends_with('\r'); });
  Understood found;
  std::map<std::string, int> line_of;
  for (size_t i = 0; i < lines.size(); i++) {
    std::string &line = lines[i];
    const int number = static_cast<int>(i) + 1;
    if (from_terminal) line.pop_back();
    if (line.empty() || line.front() == '#') continue;
    const std::string key = line.substr(0, line.find('='));
    auto leaveOut = [&](const std::string &why) {
      found.not_understood.push_back(
          {nameOf(path) + ":" + std::to_string(number), keyIn(line), why});
    };
    if (const char *why = whyNoSetting(line, key)) {
      leaveOut(why);
      continue;
    }
    if (int &earlier = line_of[key]; earlier != 0) {
      leaveOut("sets the key of line " + std::to_string(earlier) + " again");
      std::erase_if(found.settings,
                    [&](const nvram::Setting &setting) { return setting.key == key; });
    }
    line_of[key] = number;
    found.settings.push_back({space, key, line.substr(key.size() + 1), number});
  }
  return found;
}

std::string printPlain(const std::vector<nvram::Setting> &settings, int space,
                       std::vector<LeftOut> *left_out) {
  std::string text;
  for (const nvram::Setting &setting : settings) {
    if (setting.space != space) continue;
    if (const char *why = whyNotPlain(setting)) {
      left_out->push_back({"space " + std::to_string(space), visible(setting.key), why});
    } else {
      text += setting.key + "=" + setting.value + "\n";
    }
  }
  return text;
}

}  // namespace orba::tool
