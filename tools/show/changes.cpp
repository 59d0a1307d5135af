#include "tools/show/changes.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/catalog/settings.h"
#include "tools/show/explain.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

struct Mark {
  const char *sign;
  const char *colour;
  const char *in_json;
};

Mark markOf(Edit::Kind kind) {
  switch (kind) {
    case Edit::kAdded:
      return {"+", "\033[32m", "added"};
    case Edit::kRemoved:
      return {"-", "\033[31m", "removed"};
    case Edit::kMoved:
      return {"~", "\033[33m", "moved"};
    case Edit::kKept:
      break;
  }
  return {" ", "", "kept"};
}

// The same of what a setting or one of its records was and is.
Mark markOf(ChangedRecord::Kind kind) {
  switch (kind) {
    case ChangedRecord::kAdded:
      return markOf(Edit::kAdded);
    case ChangedRecord::kRemoved:
      return markOf(Edit::kRemoved);
    case ChangedRecord::kMoved:
      return markOf(Edit::kMoved);
    case ChangedRecord::kChanged:
      break;
  }
  return {"~", "\033[33m", "changed"};
}

ChangedRecord::Kind kindOf(const ChangedSetting &setting) {
  if (!setting.before) return ChangedRecord::kAdded;
  return setting.after ? ChangedRecord::kChanged : ChangedRecord::kRemoved;
}

constexpr char kHeading[] = "\033[1m", kPlain[] = "\033[0m";

class Printer {
 public:
  Printer(std::ostream &out, bool coloured) : out_(out), coloured_(coloured) {}

  void heading(const std::string &text) { line(kHeading, (begun_ ? "\n" : "") + text); }

  void line(const Mark &mark, const std::string &text) {
    line(mark.colour, mark.sign + (" " + text));
  }
  void line(const std::string &text) { line("", text); }

  // What changes, with `around` lines of what does not on both sides.
  void edits(const Edits &edits, size_t around) {
    if (!changes(edits)) return;
    size_t shown = 0;  // edits before this one are told or passed over
    for (size_t i = 0; i < edits.size(); i++) {
      if (edits[i].kind == Edit::kKept) continue;
      size_t begin = std::max(shown, i - std::min(i, around));
      if (begin > shown) line("", "       ...");
      for (; begin < i; begin++) edit(edits[begin]);
      for (shown = i; shown < edits.size() && shown <= i + around; shown++) {
        if (edits[shown].kind != Edit::kKept) i = shown;
        edit(edits[shown]);
      }
    }
    if (shown < edits.size()) line("", "       ...");
  }

 private:
  void line(const char *colour, const std::string &text) {
    begun_ = true;
    bool paint = coloured_ && *colour != '\0';
    out_ << (paint ? colour : "") << text << (paint ? kPlain : "") << "\n";
  }

  void edit(const Edit &edit) {
    std::string number = std::to_string(edit.after != 0 ? edit.after : edit.before);
    std::string text = markOf(edit.kind).sign;
    text += std::string(5 - std::min<size_t>(5, number.size()), ' ') + number + "  ";
    text += visible(edit.text);
    if (edit.kind == Edit::kMoved) text += "  (was " + std::to_string(edit.before) + ")";
    line(markOf(edit.kind).colour, text);
  }

  std::ostream &out_;
  bool coloured_;
  bool begun_ = false;
};

// ---- settings ----

// "\"1\" (rules)"
std::string valueText(const Form &form, const std::string &value) {
  std::string text = "\"" + visible(value) + "\"";
  for (const Choice &choice : form.choices) {
    if (choice.value == value && !choice.meaning.empty()) text += " (" + choice.meaning + ")";
  }
  return text;
}

std::string changeText(const Form &form, const std::string &before, const std::string &after) {
  return valueText(form, before) + ", now " + valueText(form, after);
}

// Of a setting that the table does not know nothing is said.
const SettingDescription &describe(const ChangedSetting &setting) {
  static const SettingDescription kUnknown;
  const SettingDescription *known = descriptionOf(setting.key, setting.space);
  return known != nullptr ? *known : kUnknown;
}

std::string nameOf(const ChangedSetting &setting) {
  return visible(setting.key) +
         (setting.space == 1 ? "" : " (space " + std::to_string(setting.space) + ")");
}

// "DMZEnable: \"0\" (off), now \"1\" (rules)"
std::string titleOf(const ChangedSetting &setting, const Form &form) {
  std::string text = nameOf(setting);
  if (!setting.before || !setting.after) {
    const std::string &value = setting.before ? *setting.before : *setting.after;
    if (setting.records.empty()) text += ": " + valueText(form, value);
    return text + (setting.after ? ", which was not set" : ", which is not set now");
  }
  if (!setting.records.empty()) return text;
  return text + ": " + changeText(form, *setting.before, *setting.after);
}

std::string textOf(const ChangedRecord &record) {
  const size_t place = record.after != 0 ? record.after : record.before;
  std::string text = "record " + std::to_string(place) + ": ";
  text += visible(record.after != 0 ? record.is : record.was);
  if (record.after != 0 && record.before != 0 && record.after != record.before) {
    text += "  (was record " + std::to_string(record.before) + ")";
  }
  return text;
}

void printFields(Printer &printer, const Form &form, const std::vector<ChangedField> &fields) {
  for (const ChangedField &field : fields) {
    const Field *known = form.field(field.number);
    std::string text = "        field " + std::to_string(field.number);
    if (!field.name.empty()) text += " (" + field.name + ")";
    printer.line(text + ": " +
                 changeText(known != nullptr ? known->form : Form(), field.before, field.after));
  }
}

nlohmann::ordered_json asJson(const std::vector<ChangedField> &fields) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const ChangedField &field : fields) {
    json.push_back({{"field", field.number},
                    {"name", field.name},
                    {"before", field.before},
                    {"after", field.after}});
  }
  return json;
}

nlohmann::ordered_json asJson(const ChangedRecord &record) {
  nlohmann::ordered_json json = {{"change", markOf(record.kind).in_json}};
  if (record.before != 0) json["before"] = {{"record", record.before}, {"text", record.was}};
  if (record.after != 0) json["after"] = {{"record", record.after}, {"text", record.is}};
  if (!record.fields.empty()) json["fields"] = asJson(record.fields);
  return json;
}

// ---- what an entry point does ----

std::string headingOf(const ChainDifference &chain) {
  std::string text = chain.program + " " + chain.table + " " + visible(chain.chain);
  if (!chain.was) return text + " (new)";
  if (!chain.is) return text + " (gone)";
  if (chain.policy_before != chain.policy_after) {
    auto orNone = [](const std::string &policy) { return policy.empty() ? "none" : policy; };
    text += " (policy " + orNone(chain.policy_before) + ", now " + orNone(chain.policy_after) + ")";
  }
  return text;
}

nlohmann::ordered_json asJson(const Edits &edits) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const Edit &edit : edits) {
    if (edit.kind == Edit::kKept) continue;
    nlohmann::ordered_json one = {{"change", markOf(edit.kind).in_json}, {"text", edit.text}};
    if (edit.before != 0) one["before"] = edit.before;
    if (edit.after != 0) one["after"] = edit.after;
    json.push_back(std::move(one));
  }
  return json;
}

}  // namespace

void printChangedSettings(std::ostream &out, const std::vector<ChangedSetting> &changed,
                          bool coloured) {
  Printer printer(out, coloured);
  if (!changed.empty()) printer.heading("settings");
  for (const ChangedSetting &setting : changed) {
    const SettingDescription &description = describe(setting);
    printer.line(markOf(kindOf(setting)), titleOf(setting, description.form));
    if (!inShort(description).empty()) printer.line("      " + inShort(description));
    printFields(printer, description.form, setting.fields);
    for (const ChangedRecord &record : setting.records) {
      printer.line(markOf(record.kind), "  " + textOf(record));
      printFields(printer, description.form, record.fields);
      if (record.kind == ChangedRecord::kChanged && record.fields.empty()) {
        printer.line("        was: " + visible(record.was));
      }
    }
  }
}

nlohmann::ordered_json changedSettingsAsJson(const std::vector<ChangedSetting> &changed) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const ChangedSetting &setting : changed) {
    const SettingDescription &description = describe(setting);
    nlohmann::ordered_json one = {{"space", setting.space},
                                  {"key", setting.key},
                                  {"change", markOf(kindOf(setting)).in_json},
                                  {"group", description.group},
                                  {"meaning", description.meaning}};
    if (setting.before) one["before"] = *setting.before;
    if (setting.after) one["after"] = *setting.after;
    if (!setting.fields.empty()) one["fields"] = asJson(setting.fields);
    for (const ChangedRecord &record : setting.records) one["records"].push_back(asJson(record));
    json.push_back(std::move(one));
  }
  return json;
}

void printDifference(std::ostream &out, const Difference &difference, bool coloured) {
  Printer printer(out, coloured);
  if (changes(difference.commands)) {
    printer.heading("commands");
    printer.edits(difference.commands, 2);
  }
  for (const ChainDifference &chain : difference.chains) {
    printer.heading(headingOf(chain));
    printer.edits(chain.rules, 1);
  }
  if (changes(difference.writes)) {
    printer.heading("settings written");
    printer.edits(difference.writes, 1);
  }
  for (const FileDifference &file : difference.files) {
    printer.heading(visible(file.path));
    printer.edits(file.lines, 2);
  }
  if (changes(difference.others)) {
    printer.heading("besides");
    printer.edits(difference.others, 1);
  }
}

nlohmann::ordered_json differenceAsJson(const Difference &difference) {
  nlohmann::ordered_json json = {{"commands", asJson(difference.commands)},
                                 {"chains", nlohmann::ordered_json::array()},
                                 {"settings", asJson(difference.writes)},
                                 {"files", nlohmann::ordered_json::object()},
                                 {"besides", asJson(difference.others)}};
  for (const ChainDifference &chain : difference.chains) {
    nlohmann::ordered_json one = {
        {"program", chain.program}, {"table", chain.table}, {"chain", chain.chain}};
    if (chain.was != chain.is) one["change"] = chain.is ? "added" : "removed";
    if (chain.policy_before != chain.policy_after) {
      one["policy"] = {{"before", chain.policy_before}, {"after", chain.policy_after}};
    }
    one["rules"] = asJson(chain.rules);
    json["chains"].push_back(std::move(one));
  }
  for (const FileDifference &file : difference.files) json["files"][file.path] = asJson(file.lines);
  return json;
}

void printEffects(std::ostream &out, const std::vector<Effect> &effects, bool coloured) {
  const auto isTold = [&](size_t number) {
    const Difference &difference = effects[number].difference;
    for (size_t i = 0; i < effects.size(); i++) {
      if (i == number || !isWithin(difference, effects[i].difference)) continue;
      // Of two that are the same the first is told.
      if (i < number || !isWithin(effects[i].difference, difference)) return false;
    }
    return true;
  };
  std::string others;
  for (size_t i = 0; i < effects.size(); i++) {
    const std::string call = visible(effects[i].call());
    if (!isTold(i)) {
      others += (others.empty() ? "" : ", ") + call;
      continue;
    }
    out << "\n" << (coloured ? kHeading : "") << "== " << call << (coloured ? kPlain : "") << "\n";
    printDifference(out, effects[i].difference, coloured);
  }
  if (!others.empty()) out << "\nA part of these changes: " << others << "\n";
}

nlohmann::ordered_json effectsAsJson(const std::vector<Effect> &effects) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const Effect &effect : effects) {
    json.push_back({{"entry", effect.entry},
                    {"arguments", effect.words},
                    {"difference", differenceAsJson(effect.difference)}});
  }
  return json;
}

}  // namespace orba::tool
