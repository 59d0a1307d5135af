// The forms that settings are written in.
#ifndef ORBA_TOOLS_SETTINGS_H
#define ORBA_TOOLS_SETTINGS_H

#include <string>
#include <vector>

namespace orba::tool {

struct SettingForm {
  const char *key;
  int space;
  const char *pattern;  // a POSIX extended regular expression for the whole value
  const char *words;    // the same in words, behind "is not"

  bool matches(const std::string &value) const;
};

const std::vector<SettingForm> &settingForms();

}  // namespace orba::tool

#endif
