#include "tools/play/settings_change.h"

#include <algorithm>
#include <map>

#include "tools/catalog/settings.h"
#include "tools/text/edits.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

using Lines = std::vector<std::string>;

// Of an unknown list the fields are not known.
const Form kUnknown = {};
const Form kUnknownList = {.kind = Form::kRecords, .record_separator = ';'};

const Form &formOf(const ChangedSetting &setting) {
  const SettingDescription *known = descriptionOf(setting.key, setting.space);
  if (known != nullptr) return known->form;
  const bool is_list =
      (setting.before.value_or("") + setting.after.value_or("")).find(';') != std::string::npos;
  return is_list ? kUnknownList : kUnknown;
}

// An empty list has no record.
Lines recordsOf(const std::optional<std::string> &list, char separator) {
  return list.value_or("").empty() ? Lines() : splitAt(*list, separator);
}

std::vector<ChangedField> changedFields(const Form &form, const std::string &was,
                                        const std::string &is) {
  std::vector<ChangedField> changed;
  if (form.field_separator == '\0') return changed;
  const Lines before = splitAt(was, form.field_separator),
              after = splitAt(is, form.field_separator);
  for (size_t i = 0; i < std::max(before.size(), after.size()); i++) {
    const std::string old_text = i < before.size() ? before[i] : "";
    const std::string text = i < after.size() ? after[i] : "";
    if (old_text == text) continue;
    const int number = static_cast<int>(i) + 1;
    const Field *field = form.field(number);
    changed.push_back({number, field != nullptr ? field->name : "", old_text, text});
  }
  return changed;
}

// How many fields two records have in common, or none when that is less than half of them.
size_t likeness(const Form &form, const std::string &one, const std::string &other) {
  if (form.field_separator == '\0') return 0;
  const Lines left = splitAt(one, form.field_separator),
              right = splitAt(other, form.field_separator);
  size_t filled = 0, common = 0;
  for (size_t i = 0; i < std::max(left.size(), right.size()); i++) {
    const std::string a = i < left.size() ? left[i] : "", b = i < right.size() ? right[i] : "";
    filled += a.empty() && b.empty() ? 0 : 1;
    common += a.empty() || a != b ? 0 : 1;
  }
  return common * 2 >= filled ? common : 0;
}

// A record that goes, and one like it that comes in its place, are one that changes.
std::vector<ChangedRecord> changedRecords(const Form &form, const Lines &before,
                                          const Lines &after) {
  std::vector<ChangedRecord> changed;
  size_t behind_kept = 0;  // those from here on stand between the same two kept ones
  for (const Edit &edit : editsWithMoves(before, after)) {
    switch (edit.kind) {
      case Edit::kKept:
        behind_kept = changed.size();
        break;
      case Edit::kRemoved:
        changed.push_back({ChangedRecord::kRemoved, edit.before, 0, edit.text, "", {}});
        break;
      case Edit::kMoved:
        changed.push_back(
            {ChangedRecord::kMoved, edit.before, edit.after, edit.text, edit.text, {}});
        break;
      case Edit::kAdded: {
        ChangedRecord *replaced = nullptr;
        size_t most = 0;
        for (size_t i = behind_kept; i < changed.size(); i++) {
          if (changed[i].kind != ChangedRecord::kRemoved) continue;
          const size_t alike = likeness(form, changed[i].was, edit.text);
          if (alike > most) replaced = &changed[i], most = alike;
        }
        if (replaced == nullptr) {
          changed.push_back({ChangedRecord::kAdded, 0, edit.after, "", edit.text, {}});
        } else {
          *replaced = {ChangedRecord::kChanged,
                       replaced->before,
                       edit.after,
                       replaced->was,
                       edit.text,
                       changedFields(form, replaced->was, edit.text)};
        }
      }
    }
  }
  return changed;
}

// Where a record is for whoever has its number, such as a network of the radio.
std::vector<ChangedRecord> changedPlaces(const Lines &before, const Lines &after) {
  std::vector<ChangedRecord> changed;
  for (size_t i = 0; i < std::max(before.size(), after.size()); i++) {
    if (i >= before.size()) {
      changed.push_back({ChangedRecord::kAdded, 0, i + 1, "", after[i], {}});
    } else if (i >= after.size()) {
      changed.push_back({ChangedRecord::kRemoved, i + 1, 0, before[i], "", {}});
    } else if (before[i] != after[i]) {
      changed.push_back({ChangedRecord::kChanged, i + 1, i + 1, before[i], after[i], {}});
    }
  }
  return changed;
}

void lookInto(ChangedSetting &setting) {
  const Form &form = formOf(setting);
  if (form.record_separator == '\0') {
    setting.fields = changedFields(form, setting.before.value_or(""), setting.after.value_or(""));
    return;
  }
  const Lines before = recordsOf(setting.before, form.record_separator);
  const Lines after = recordsOf(setting.after, form.record_separator);
  setting.records = form.kind == Form::kPerNetwork ? changedPlaces(before, after)
                                                   : changedRecords(form, before, after);
}

// Its place in the table of settings; behind all of them when it is not there.
size_t placeOf(const ChangedSetting &setting) {
  const std::vector<SettingDescription> &all = settingDescriptions();
  const SettingDescription *known = descriptionOf(setting.key, setting.space);
  return known != nullptr ? static_cast<size_t>(known - all.data()) : all.size();
}

}  // namespace

std::vector<ChangedSetting> changedSettings(const std::vector<nvram::Setting> &before,
                                            const std::vector<nvram::Setting> &after) {
  using Value = std::optional<std::string>;
  std::map<std::pair<int, std::string>, std::pair<Value, Value>> values;
  for (const nvram::Setting &each : before) values[{each.space, each.key}].first = each.value;
  for (const nvram::Setting &each : after) values[{each.space, each.key}].second = each.value;
  std::vector<ChangedSetting> changed;
  for (const auto &[name, pair] : values) {
    if (pair.first == pair.second) continue;
    changed.push_back({name.first, name.second, pair.first, pair.second});
    lookInto(changed.back());
  }
  std::stable_sort(
      changed.begin(), changed.end(),
      [](const ChangedSetting &a, const ChangedSetting &b) { return placeOf(a) < placeOf(b); });
  return changed;
}

}  // namespace orba::tool
