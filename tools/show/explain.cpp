#include "tools/show/explain.h"
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "tools/catalog/declarations.h"
#include "tools/catalog/peculiarities.h"
#include "tools/catalog/settings.h"
#include "tools/play/behaviour.h"
#include "tools/text/json.h"
#include "tools/text/lines.h"
#include "tools/text/near_names.h"

namespace orba::tool {

namespace {

using nlohmann::ordered_json;

constexpr size_t kWidth = 88;

// Words in lines of a terminal's width; every line but the first begins with `indent`.
std::string wrapped(const std::string &text, const std::string &indent) {
  std::istringstream words(text);
  std::string result;
  size_t column = indent.size();
  for (std::string word; words >> word;) {
    if (result.empty()) {
      result = word;
    } else if (column + 1 + word.size() <= kWidth) {
      result += " " + word;
      column++;
    } else {
      result += "\n" + indent + word;
      column = indent.size();
    }
    column += word.size();
  }
  return result;
}

void printItem(std::ostream &out, const char *name, const std::string &text) {
  const std::string indent(13, ' ');
  if (text.empty()) return;
  out << "  " << std::left << std::setw(11) << name << wrapped(text, indent) << "\n";
}

std::string inSpace(int space) {
  return space == 1 ? "" : " in space " + std::to_string(space);
}

template <typename Names>
std::string joined(const Names &names) {
  std::string text;
  for (const std::string &name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

std::vector<std::string> settingTexts(const std::set<SettingName> &names) {
  std::vector<std::string> texts;
  for (const auto &[space, key] : names) texts.push_back(key + inSpace(space));
  return texts;
}

// ---- settings ----

struct Users {
  std::vector<std::string> readers;
  std::vector<std::string> writers;
};

Users usersOf(const SettingName &setting) {
  Users users;
  for (const auto &[entry, behaviour] : everyBehaviour()) {
    if (behaviour.reads.count(setting) != 0) users.readers.emplace_back(entry->name);
    if (behaviour.writes.count(setting) != 0) users.writers.emplace_back(entry->name);
  }
  return users;
}

ordered_json asJson(const SettingDescription &description, const std::string &key) {
  ordered_json json = {{"key", key},
                       {"space", description.space},
                       {"group", description.group},
                       {"meaning", description.meaning},
                       {"form", description.form.inWords()},
                       {"example", description.exampleOf(key)},
                       {"without", description.without},
                       {"mind", peculiaritiesOf(description)}};
  int number = 1;
  for (const Field &field : description.form.fields) {
    if (field.name.empty()) continue;
    json["fields"].push_back({{"number", number},
                              {"count", field.count},
                              {"name", field.name},
                              {"form", field.form.inWords()},
                              {"meaning", field.meaning}});
    number += field.count;
  }
  return json;
}

}  // namespace

std::string inShort(const SettingDescription &setting) {
  const std::string &text = setting.meaning;
  size_t end = text.rfind('.');
  for (const char *mark : {". ", ": ", "; "}) end = std::min(end, text.find(mark));
  return text.substr(0, end);
}

namespace {

void listSettings(std::ostream &out, bool json) {
  ordered_json all = ordered_json::array();
  std::string group;
  for (const SettingDescription &description : settingDescriptions()) {
    if (!json && group != description.group) {
      out << (group.empty() ? "" : "\n") << description.group << "\n";
      group = description.group;
    }
    for (const auto &[key, example] : description.keysWithExamples()) {
      all.push_back(asJson(description, key));
    }
    const auto keys = description.keysWithExamples();
    std::string title = keys.front().first + (keys.size() > 1 ? " ... " + keys.back().first : "");
    if (!json) {
      out << "  " << std::left << std::setw(44) << title + inSpace(description.space) << " "
          << inShort(description) << "\n";
    }
  }
  if (json) printJson(out, all);
}

bool explainSetting(std::ostream &out, const std::string &key, bool json) {
  ordered_json all = ordered_json::array();
  for (int space : {1, 2}) {
    const SettingDescription *description = descriptionOf(key, space);
    if (description == nullptr) continue;
    Users users = usersOf({space, key});
    if (json) {
      ordered_json one = asJson(*description, key);
      one["read_by"] = users.readers;
      one["written_by"] = users.writers;
      all.push_back(one);
      continue;
    }
    out << key << inSpace(space) << " (" << description->group << ")\n";
    out << "  " << wrapped(description->meaning, "  ") << "\n\n";
    printItem(out, "is",
              description->form.inWords() + "; for example " + description->exampleOf(key));
    const char *name = "fields";
    for (const std::string &line : description->form.fieldLines()) {
      printItem(out, name, line);
      name = "";
    }
    printItem(out, "without it", description->without);
    for (const std::string &sentence : peculiaritiesOf(*description)) {
      printItem(out, "mind", sentence);
    }
    printItem(out, "read by", joined(users.readers));
    printItem(out, "written by", joined(users.writers));
    out << "\n";
    all.push_back(key);
  }
  if (json && !all.empty()) printJson(out, all);
  return !all.empty();
}

// ---- entry points ----

void explainEntry(std::ostream &out, const EntryPoint &entry, bool json) {
  const Behaviour behaviour = behaviourOf(entry);
  const Declaration &declaration = publicDeclarations().at(entry.name);
  if (json) {
    ordered_json deeds = ordered_json::array();
    for (const Deeds &each : behaviour.deeds) {
      deeds.push_back({{"call", each.call}, {"situation", each.situation}, {"lines", each.lines}});
    }
    printJson(out, {{"entry", entry.name},
                    {"subsystem", entry.subsystem},
                    {"line", entry.line},
                    {"prototype", declaration.text},
                    {"comment", declaration.comment},
                    {"reads", settingTexts(behaviour.reads)},
                    {"writes", settingTexts(behaviour.writes)},
                    {"files_read", behaviour.files_read},
                    {"files_written", behaviour.files_written},
                    {"deeds", deeds}});
    return;
  }
  out << entry.usage() << " (" << entry.subsystem << ")\n  " << entry.line << "\n\n";
  printItem(out, "in C", declaration.text);
  printItem(out, "", declaration.comment);
  printItem(out, "reads", joined(settingTexts(behaviour.reads)));
  printItem(out, "writes", joined(settingTexts(behaviour.writes)));
  printItem(out, "files read", joined(behaviour.files_read));
  printItem(out, "written", joined(behaviour.files_written));
  for (const Deeds &deeds : behaviour.deeds) {
    out << "\n" << deeds.call << (deeds.call.empty() || deeds.situation.empty() ? "" : ", ");
    out << (deeds.situation.empty() ? "" : "with " + deeds.situation + ":")
        << (deeds.call.empty() && deeds.situation.empty() ? "runs:" : "") << "\n";
    for (const std::string &line : deeds.lines) out << "  " << visible(line) << "\n";
  }
}

std::vector<std::string> everyName() {
  std::vector<std::string> names;
  for (const SettingDescription &description : settingDescriptions()) {
    for (const auto &[key, example] : description.keysWithExamples()) names.push_back(key);
  }
  for (const EntryPoint &entry : entryPoints()) names.emplace_back(entry.name);
  return names;
}

}  // namespace

void explain(std::ostream &out, const std::string &name, bool json) {
  if (name.empty()) return listSettings(out, json);
  if (explainSetting(out, name, json)) return;
  for (const EntryPoint &entry : entryPoints()) {
    if (entry.name == name) return explainEntry(out, entry, json);
  }
  throw BadArgument("there is no setting and no entry point '" + name + "'" +
                    didYouMean(name, everyName(), "'orba explain' shows all settings"));
}

}  // namespace orba::tool
