// What every setting of the library is: its form, its meaning, and what happens
// without it.
#ifndef ORBA_TOOLS_CATALOG_SETTINGS_H
#define ORBA_TOOLS_CATALOG_SETTINGS_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/catalog/setting_form.h"

namespace orba::tool {

struct SettingDescription {
  std::string key;  // "wan%dVid" for a family of keys with a number
  int space = 1;
  int first = 0;  // the numbers of a family
  int last = 0;
  Form form;
  std::string example;
  std::string without;  // what the library does when it is missing
  std::string meaning;
  std::string group = {};  // the part of the router that it belongs to

  bool isFamily() const { return last != 0; }
  // The keys that it stands for, one or one for each number, with their examples.
  std::vector<std::pair<std::string, std::string>> keysWithExamples() const;
  std::string exampleOf(const std::string &its_key) const;
  // The value with which the library does the same as without the setting, where one does.
  std::optional<std::string> valueWithout() const;
  // A family also stands for what a number out of its range makes the library ask for.
  bool describes(const std::string &other_key, int other_space) const;
};

// In groups, as a person would read them.
const std::vector<SettingDescription> &settingDescriptions();
// Null when there is none.
const SettingDescription *descriptionOf(const std::string &key, int space);

}  // namespace orba::tool

#endif
