// What may be set, and what is set.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "tools/catalog/settings.h"
#include "tools/serve/view_parts.h"
#include "tools/serve/views.h"

namespace orba::tool {

namespace {

std::string textOf(char separator) {
  return separator == '\0' ? "" : std::string(1, separator);
}

Json formAsJson(const Form &form) {
  Json json = {{"words", form.inWords()}, {"choices", Json::array()}};
  for (const std::string &value : form.values()) {
    auto choice = std::find_if(form.choices.begin(), form.choices.end(),
                               [&](const Choice &each) { return each.value == value; });
    const std::string meaning = choice != form.choices.end() ? choice->meaning : "";
    json["choices"].push_back({{"value", value}, {"meaning", meaning}});
  }
  return json;
}

// A list's records have columns, and so has a record that stands alone.
Json tableOf(const Form &form) {
  if (form.kind != Form::kRecords && form.kind != Form::kRecord && form.kind != Form::kPerNetwork) {
    return {};
  }
  Json columns = Json::array();
  for (const Field &field : form.fields) {
    for (int number = 1; number <= field.count; number++) {
      Json column = formAsJson(field.form);
      column["name"] = field.count > 1 ? field.name + " " + std::to_string(number) : field.name;
      if (form.field_separator == '\0') column["name"] = form.words;
      column["meaning"] = field.meaning;
      columns.push_back(column);
    }
  }
  return {{"records", textOf(form.record_separator)},
          {"fields", textOf(form.field_separator)},
          {"of", form.kind == Form::kPerNetwork ? "network" : "record"},
          {"columns", columns}};
}

Draft::Value valueIn(const std::map<Draft::Name, std::string> &settings, const Draft::Name &name) {
  auto there = settings.find(name);
  return there != settings.end() ? Draft::Value(there->second) : std::nullopt;
}

// Whether a value is known not to be the default, which is told then.
bool differsFromDefault(const Draft::Name &name, const Draft::Value &value,
                        const Defaults &defaults, Draft::Value &usual) {
  if (defaults) {
    usual = valueIn(*defaults, name);
    return usual != value;
  }
  const SettingDescription *known = descriptionOf(name.second, name.first);
  if (known != nullptr) usual = known->valueWithout();
  return usual && value && usual != value;
}

}  // namespace

Json knownView() {
  Json known = Json::array();
  for (const SettingDescription &description : settingDescriptions()) {
    for (const auto &[key, example] : description.keysWithExamples()) {
      Json one = formAsJson(description.form);
      one["space"] = description.space;
      one["key"] = key;
      one["group"] = description.group;
      one["meaning"] = description.meaning;
      one["without"] = description.without;
      one["example"] = example;
      one["table"] = tableOf(description.form);
      known.push_back(one);
    }
  }
  return {{"longest", Draft::kLongestValue}, {"settings", known}};
}

Json settingsView(const Draft &draft, const Defaults &defaults) {
  const auto now = byName(draft.changed()), kept = byName(draft.kept()),
             saved = byName(draft.saved());
  std::set<Draft::Name> names;
  for (const auto *settings : {&now, &kept, &saved}) {
    for (const auto &setting : *settings) names.insert(setting.first);
  }
  if (defaults) {
    for (const auto &setting : *defaults) names.insert(setting.first);
  }
  Json answer = stateOf(draft);
  answer["settings"] = Json::array();
  for (const Draft::Name &name : names) {
    const Draft::Value value = valueIn(now, name);
    Json one = {{"space", name.first}, {"key", name.second}, {"value", valueAsJson(value)}};
    if (value && !isUtf8(*value)) one["bytes"] = true;
    if (valueIn(kept, name) != value) one["kept"] = valueAsJson(valueIn(kept, name));
    if (valueIn(saved, name) != value) one["file"] = valueAsJson(valueIn(saved, name));
    if (Draft::Value usual; differsFromDefault(name, value, defaults, usual)) {
      one["default"] = valueAsJson(usual);
    }
    answer["settings"].push_back(one);
  }
  answer["findings"] = Json::array();
  for (const Finding &finding : findingsIn(draft.changed())) {
    answer["findings"].push_back({{"space", finding.space},
                                  {"key", finding.key},
                                  {"record", finding.record},
                                  {"field", finding.field},
                                  {"reason", finding.reason + ", " + finding.effect},
                                  {"line", finding.line()}});
  }
  return answer;
}

}  // namespace orba::tool
