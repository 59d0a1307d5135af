// What differs between the settings of two configurations: setting by setting, in a list record
// by record, in a record field by field.
#ifndef ORBA_TOOLS_PLAY_SETTINGS_CHANGE_H
#define ORBA_TOOLS_PLAY_SETTINGS_CHANGE_H

#include <optional>
#include <string>
#include <vector>

#include "platform/nvram/store_format.h"

namespace orba::tool {

struct ChangedField {
  int number;  // from 1
  std::string name;
  std::string before, after;
};

struct ChangedRecord {
  enum Kind { kAdded, kRemoved, kMoved, kChanged };
  Kind kind;
  size_t before = 0, after = 0;      // its places in the lists, from 1; 0 where it is not
  std::string was, is;               // empty where it is not
  std::vector<ChangedField> fields;  // of one that changed
};

struct ChangedSetting {
  int space;
  std::string key;
  std::optional<std::string> before, after;  // nothing: there is no such setting
  std::vector<ChangedRecord> records = {};   // of a list
  std::vector<ChangedField> fields = {};     // of a value that is one record
};

// In the order of the table of settings, and behind them those that it does not know. Of a key
// that stands twice in a space the last counts, as in the settings store.
std::vector<ChangedSetting> changedSettings(const std::vector<nvram::Setting> &before,
                                            const std::vector<nvram::Setting> &after);

}  // namespace orba::tool

#endif
