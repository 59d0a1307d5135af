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

// How many fields of two records say the same, and how many say anything.
struct Likeness {
  size_t common = 0, filled = 0;

  Likeness(const Form &form, const std::string &one, const std::string &other) {
    if (form.field_separator == '\0') return;
    const Lines left = splitAt(one, form.field_separator);
    const Lines right = splitAt(other, form.field_separator);
    for (size_t i = 0; i < std::max(left.size(), right.size()); i++) {
      const std::string a = i < left.size() ? left[i] : "", b = i < right.size() ? right[i] : "";
      filled += a.empty() && b.empty() ? 0 : 1;
      common += a.empty() || a != b ? 0 : 1;
    }
  }
  // In its place a record may have become another in half of its fields, elsewhere in one.
  bool isOne(bool in_place) const {
    return common > 0 && (common + 1 >= filled || (in_place && common * 2 >= filled));
  }
};

ChangedRecord recordOf(const Edit &edit) {
  switch (edit.kind) {
    case Edit::kAdded:
      return {ChangedRecord::kAdded, 0, edit.after, "", edit.text, {}};
    case Edit::kRemoved:
      return {ChangedRecord::kRemoved, edit.before, 0, edit.text, "", {}};
    default:
      return {ChangedRecord::kMoved, edit.before, edit.after, edit.text, edit.text, {}};
  }
}

// A record that goes and one like it that comes are one that changes.
std::vector<ChangedRecord> changedRecords(const Form &form, const Lines &before,
                                          const Lines &after) {
  std::vector<ChangedRecord> changed;
  std::vector<size_t> gaps;  // between which two kept ones each stands
  size_t gap = 0;
  for (const Edit &edit : editsWithMoves(before, after)) {
    if (edit.kind == Edit::kKept) {
      gap++;
    } else {
      changed.push_back(recordOf(edit));
      gaps.push_back(gap);
    }
  }
  std::vector<bool> replaced(changed.size());
  for (size_t i = 0; i < changed.size(); i++) {
    if (changed[i].kind != ChangedRecord::kAdded) continue;
    size_t nearest = changed.size(), most = 0;
    for (size_t j = 0; j < changed.size(); j++) {
      if (changed[j].kind != ChangedRecord::kRemoved || replaced[j]) continue;
      const Likeness likeness(form, changed[j].was, changed[i].is);
      if (!likeness.isOne(gaps[i] == gaps[j]) || likeness.common <= most) continue;
      nearest = j;
      most = likeness.common;
    }
    if (nearest == changed.size()) continue;
    replaced[nearest] = true;
    const ChangedRecord &old = changed[nearest];
    changed[i] = {ChangedRecord::kChanged, old.before,
                  changed[i].after,        old.was,
                  changed[i].is,           changedFields(form, old.was, changed[i].is)};
  }
  std::vector<ChangedRecord> told;
  for (size_t i = 0; i < changed.size(); i++) {
    if (!replaced[i]) told.push_back(std::move(changed[i]));
  }
  return told;
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
