#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

#include "tools/catalog/settings.h"
#include "tools/reference/pages.h"

namespace orba::reference {

namespace {

// A key, or what stands in front of a number in a family of them.
bool isDescribed(const std::string &word) {
  const auto &all = tool::settingDescriptions();
  return std::any_of(all.begin(), all.end(), [&](const tool::SettingDescription &description) {
    return description.key == word || description.key == word + "%d" ||
           description.describes(word, description.space);
  });
}

// Words of the driver's that look like keys.
bool isOfDriver(const std::string &word) {
  return word == "AuthType";
}

// A text that is the argument of a call which takes a key, or that has a capital
// in its midst, as most keys have and nothing else in the sources but the names
// of exported functions.
void checkLine(const std::string &line, const std::string &where,
               const std::vector<Symbol> &symbols, std::vector<std::string> &complaints) {
  static const std::regex of_call(
      "(?:[sS]etting|(?:nvram|Setting)\\w*|STFs?|[a-z]\\w*(?:Setting|CountOf)|store\\w*)\\("
      "(?:[^()\"]*,)?\\s*\"(\\w+(?:%d)?)\"");
  static const std::regex with_capital("\"([A-Za-z][A-Za-z0-9_]*[a-z][A-Z][A-Za-z0-9_]*(?:%d)?)\"");
  for (const std::regex &form : {of_call, with_capital}) {
    for (std::sregex_iterator at(line.begin(), line.end(), form), end; at != end; ++at) {
      std::string word = (*at)[1];
      bool exported = std::any_of(symbols.begin(), symbols.end(),
                                  [&](const Symbol &symbol) { return symbol.name == word; });
      if (!exported && !isOfDriver(word) && !isDescribed(word)) {
        complaints.push_back(where + ": \"" + word + "\" is no setting of setting_table.cpp");
      }
    }
  }
}

}  // namespace

std::vector<std::string> undescribed(const std::vector<Known> &all, const std::string &folder,
                                     const std::vector<Symbol> &symbols) {
  std::vector<std::string> complaints;
  for (const Known &known : all) {
    std::set<tool::SettingName> used = known.behaviour.reads;
    used.insert(known.behaviour.writes.begin(), known.behaviour.writes.end());
    for (const auto &[space, key] : used) {
      if (tool::descriptionOf(key, space) != nullptr) continue;
      complaints.push_back(std::string(known.entry->name) + " uses " + key + " of space " +
                           std::to_string(space) + ", which setting_table.cpp does not have");
    }
  }
  for (const auto &file : std::filesystem::recursive_directory_iterator(folder)) {
    std::string extension = file.path().extension();
    if (extension != ".cpp" && extension != ".h") continue;
    std::istringstream lines(readFile(file.path()));
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
      std::string where = file.path().string() + ":" + std::to_string(++number);
      checkLine(line, where, symbols, complaints);
    }
  }
  return complaints;
}

}  // namespace orba::reference
