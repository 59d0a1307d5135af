// What every setting of the library is: its form, its meaning, and what happens
// without it.
#ifndef ORBA_TOOLS_CATALOG_SETTINGS_H
#define ORBA_TOOLS_CATALOG_SETTINGS_H

#include <string>
#include <utility>
#include <vector>

namespace orba::tool {

struct SettingDescription {
  std::string key;  // "wan%dVid" for a family of keys with a number
  int space;
  std::string pattern;  // a POSIX extended regular expression for the whole value; "": any text
  std::string form;     // the same in words, as they stand behind "is" or "is not"
  std::string example;
  std::string fallback;  // what the library does when it is missing
  std::string meaning;
  int first = 0;  // the numbers of a family
  int last = 0;
  std::string group = {};  // the part of the router that it belongs to

  bool isFamily() const { return last != 0; }
  // The keys that it stands for, one or one for each number, with their examples.
  std::vector<std::pair<std::string, std::string>> keysWithExamples() const;
  std::string exampleOf(const std::string &its_key) const;
  // A family also stands for what a number out of its range makes the library ask for.
  bool describes(const std::string &other_key, int other_space) const;
};

// In groups, as a person would read them.
const std::vector<SettingDescription> &settingDescriptions();
// Null when there is none.
const SettingDescription *descriptionOf(const std::string &key, int space);

// One key whose values can be checked.
struct SettingForm {
  std::string key;
  int space;
  std::string pattern;
  std::string words;  // behind "is not"

  bool matches(const std::string &value) const;
};

const std::vector<SettingForm> &settingForms();

}  // namespace orba::tool

#endif
