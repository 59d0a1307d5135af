#include "tools/play/origin.h"

#include <algorithm>
#include <set>
#include <utility>

#include "tools/catalog/settings.h"
#include "tools/text/edits.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

using Config = std::vector<nvram::Setting>;

// Longer lists are told as a whole, and of longer values the first words changed:
// each costs a run.
constexpr size_t kMostRecords = 200, kMostWords = 8;

// ---- other values to try ----

std::string joined(const std::vector<std::string> &parts, char separator) {
  std::string text;
  for (size_t i = 0; i < parts.size(); i++) {
    if (i > 0) text += separator;
    text += parts[i];
  }
  return text;
}

// The values with the last letter or digit of one of its words changed: an address
// stays an address, a name a name, an odd number becomes the even one below.
std::vector<std::string> neighboursOf(const std::string &value) {
  std::vector<std::string> neighbours, words = splitAt(value, ' ');
  auto stands = [](char c) { return isalnum(static_cast<unsigned char>(c)) != 0; };
  for (std::string &word : words) {
    if (neighbours.size() == kMostWords) break;
    auto last = std::find_if(word.rbegin(), word.rend(), stands);
    if (last == word.rend()) continue;
    char was = *last;
    *last = static_cast<char>(stands(static_cast<char>(was ^ 1)) ? was ^ 1 : was ^ 2);
    neighbours.push_back(joined(words, ' '));
    *last = was;
  }
  return neighbours;
}

// Values that a switch, a choice, a number, an address or a name might have instead.
std::vector<std::string> alternativesTo(const nvram::Setting &setting) {
  const SettingDescription *description = descriptionOf(setting.key, setting.space);
  const Form *form = description != nullptr ? &description->form : nullptr;
  bool number = setting.value.find_first_not_of("0123456789") == std::string::npos;
  std::vector<std::string> alternatives;
  auto add = [&](const std::string &value, bool otherwise) {
    bool likely = form != nullptr && form->limits() ? form->matches(value) : otherwise;
    if (likely && value != setting.value) alternatives.push_back(value);
  };
  for (const char *value : {"0", "1", "2", "3"}) add(value, number);
  for (const char *value : {"ACCEPT", "DROP"}) add(value, false);
  for (const std::string &value : neighboursOf(setting.value)) add(value, true);
  return alternatives;
}

// ---- trying them ----

// The commands of a run that are not there, or no longer the same, in another.
using Affected = std::vector<bool>;

void add(Affected &affected, const Affected &more) {
  for (size_t i = 0; i < affected.size(); i++) affected[i] = affected[i] || more[i];
}

// A possible origin, and what comes from it.
struct Effect {
  Origin origin;
  Affected affected;

  Effect(Origin from, Affected commands) : origin(std::move(from)), affected(std::move(commands)) {}
  long breadth() const { return std::count(affected.begin(), affected.end(), true); }
};

bool haveKeyOf(const std::vector<Origin> &origins, const Origin &one) {
  return std::any_of(origins.begin(), origins.end(), [&](const Origin &origin) {
    return origin.space == one.space && origin.key == one.key;
  });
}

class Trials {
 public:
  Trials(const Recording &run, const Prepare &prepare) : run_(run), prepare_(prepare) {}

  // Finds what a setting's records or value do, and its being there at all.
  void change(size_t setting);
  Origins origins();

 private:
  Edits editsWith(size_t setting, const std::string *value) const;
  Affected affectedIn(const Edits &edits) const;
  Affected carriedIn(const Edits &edits, const std::string &value, const std::string &other) const;
  bool isList(size_t setting) const;
  void changeRecords(size_t setting);
  void changeValue(size_t setting);
  void found(Origin::Role role, size_t setting, int record, Affected affected);

  const Recording &run_;
  const Prepare &prepare_;
  std::vector<Effect> effects_;
  std::vector<Effect> conditions_;  // settings that must only be there
};

// What another value of one setting, or none, makes of the commands.
Edits Trials::editsWith(size_t setting, const std::string *value) const {
  Config config = run_.config;
  if (value != nullptr) {
    config[setting].value = *value;
  } else {
    config.erase(config.begin() + static_cast<long>(setting));
  }
  return editsBetween(run_.commands, recordCommands(config, run_.entry, run_.words, prepare_));
}

Affected Trials::affectedIn(const Edits &edits) const {
  Affected affected(run_.commands.size());
  for (const Edit &edit : edits) {
    if (edit.kind == Edit::kRemoved) affected[edit.before - 1] = true;
  }
  return affected;
}

// Those of them that came back with the one value in place of the other.
Affected Trials::carriedIn(const Edits &edits, const std::string &value,
                           const std::string &other) const {
  Affected carried(run_.commands.size());
  if (value.empty()) return carried;
  std::set<std::string> added;
  for (const Edit &edit : edits) {
    if (edit.kind == Edit::kAdded) added.insert(edit.text);
  }
  for (const Edit &edit : edits) {
    if (edit.kind != Edit::kRemoved) continue;
    std::string text = edit.text;
    for (size_t at = text.find(value); at != std::string::npos; at = text.find(value, at)) {
      text.replace(at, value.size(), other);
      at += other.size();
    }
    carried[edit.before - 1] = added.count(text) != 0;
  }
  return carried;
}

// A list of one record can be told from a plain value when the record is given
// twice: then there is more of the same.
bool Trials::isList(size_t setting) const {
  const std::string &value = run_.config[setting].value;
  if (value.empty()) return false;
  if (value.find(';') != std::string::npos) return true;
  std::string twice = value + ";" + value;
  Edits edits = editsWith(setting, &twice);
  return changes(edits) && std::none_of(edits.begin(), edits.end(), [](const Edit &edit) {
           return edit.kind == Edit::kRemoved;
         });
}

void Trials::found(Origin::Role role, size_t setting, int record, Affected affected) {
  const nvram::Setting &entry = run_.config[setting];
  effects_.emplace_back(Origin{role, entry.space, entry.key, record}, std::move(affected));
}

void Trials::changeRecords(size_t setting) {
  std::vector<std::string> records = splitAt(run_.config[setting].value, ';');
  if (records.size() > kMostRecords) {
    std::string no_records;
    found(Origin::kValue, setting, 0, affectedIn(editsWith(setting, &no_records)));
    return;
  }
  for (size_t i = 0; i < records.size(); i++) {
    std::vector<std::string> others = records;
    others.erase(others.begin() + static_cast<long>(i));
    std::string shorter = joined(others, ';');
    found(Origin::kRecord, setting, static_cast<int>(i) + 1,
          affectedIn(editsWith(setting, &shorter)));
  }
}

void Trials::changeValue(size_t setting) {
  Affected carried(run_.commands.size()), affected(run_.commands.size());
  for (const std::string &other : alternativesTo(run_.config[setting])) {
    Edits edits = editsWith(setting, &other);
    add(affected, affectedIn(edits));
    add(carried, carriedIn(edits, run_.config[setting].value, other));
  }
  for (size_t i = 0; i < carried.size(); i++) affected[i] = affected[i] && !carried[i];
  found(Origin::kValue, setting, 0, carried);
  found(Origin::kBecause, setting, 0, affected);
}

void Trials::change(size_t setting) {
  if (isList(setting)) {
    changeRecords(setting);
  } else {
    changeValue(setting);
  }
  const nvram::Setting &entry = run_.config[setting];
  conditions_.emplace_back(Origin{Origin::kBecause, entry.space, entry.key},
                           affectedIn(editsWith(setting, nullptr)));
}

Origins Trials::origins() {
  auto closer = [](const Effect &a, const Effect &b) {
    return std::make_pair(a.origin.role, a.breadth()) < std::make_pair(b.origin.role, b.breadth());
  };
  std::stable_sort(effects_.begin(), effects_.end(), closer);
  Origins origins(run_.commands.size());
  for (size_t i = 0; i < origins.size(); i++) {
    for (const Effect &effect : effects_) {
      // Of a list, the record that the fewest commands come from: those behind
      // it in the list may only have changed their place.
      bool first = effect.origin.record == 0 || !haveKeyOf(origins[i], effect.origin);
      if (effect.affected[i] && first) origins[i].push_back(effect.origin);
    }
    if (!origins[i].empty()) continue;
    for (const Effect &effect : conditions_) {
      if (effect.affected[i]) origins[i].push_back(effect.origin);
    }
  }
  return origins;
}

}  // namespace

Origins originsOf(const Recording &run, const Prepare &prepare) {
  Trials trials(run, prepare);
  for (size_t i = 0; i < run.config.size(); i++) {
    if (run.asked.count({run.config[i].space, run.config[i].key}) != 0) trials.change(i);
  }
  return trials.origins();
}

const char *roleName(Origin::Role role) {
  switch (role) {
    case Origin::kRecord:
      return "record";
    case Origin::kValue:
      return "value";
    case Origin::kBecause:
      break;
  }
  return "because";
}

std::string nameOf(const Origin &origin) {
  std::string name = origin.key;
  if (origin.space != 1) name += " (space " + std::to_string(origin.space) + ")";
  if (origin.record != 0) name += ", record " + std::to_string(origin.record);
  return name;
}

std::string valueOf(const Origin &origin, const Recording &run) {
  const std::string *value = run.value(origin.space, origin.key);
  if (value == nullptr) return "";
  if (origin.record == 0) return *value;
  return splitAt(*value, ';').at(static_cast<size_t>(origin.record) - 1);
}

}  // namespace orba::tool
