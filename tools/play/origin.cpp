#include "tools/play/origin.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "sim/line_splitter.h"
#include "tools/play/marked_list.h"
#include "tools/play/short_run.h"
#include "tools/text/edits.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

using Config = std::vector<nvram::Setting>;
using Lines = std::vector<std::string>;

// How many records are tried one by one, and of how many words of a value the last
// letter is changed: each costs a run.
constexpr size_t kMostRecords = 200, kMostWords = 8;

// ---- other values to try ----

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
  const Form *form = formOf(setting);
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

// Commands of a run, by their places among those of all its lines, in order.
using Commands = std::vector<size_t>;

using Texts = std::unordered_set<std::string_view>;

// One setting that holds something else, or is missing.
struct Trial {
  size_t setting;
  std::optional<std::string> value;
  const MarkedList *marked = nullptr;  // whose text the value is
  std::vector<size_t> seen = {};       // what came of it, as Search::look() says
};
using Trials = std::vector<Trial>;

// A possible origin, and what comes from it.
struct Effect {
  Origin origin;
  Commands commands;
  size_t extent;  // how many commands of the whole run that is
};

class Search {
 public:
  Search(const ShortRun &short_run, const Prepare &prepare);

  // For each line of the run, those of each of its commands.
  Origins origins();

 private:
  void chooseSettings();
  void make(Trials &trials) const;
  std::vector<size_t> look(const Trial &trial, const Lines &lines) const;
  std::vector<size_t> lookForMarks(const MarkedList &list, const Lines &commands) const;
  bool carries(size_t command, const Trial &trial, const Texts &added) const;
  void changeValues();
  void tryBeginnings(size_t setting, const Commands &commands,
                     const std::map<size_t, Commands> &marked);
  void changeRecords();
  void leaveOut(std::vector<CommandOrigins> &origins);
  void found(Origin::Role role, size_t setting, size_t record, Commands commands);

  const Recording &run_;
  const Prepare &prepare_;
  Lines commands_;
  std::vector<size_t> firsts_;          // by line its first command, and behind the last line
  std::vector<size_t> weights_;         // for how many of the whole run a command stands
  std::vector<size_t> lists_, values_;  // the settings that are tried
  std::vector<Effect> effects_;
};

Lines commandsOfAll(const Lines &lines) {
  Lines commands;
  for (const std::string &line : lines) {
    for (std::string &command : commandsOf(line)) commands.push_back(std::move(command));
  }
  return commands;
}

Search::Search(const ShortRun &short_run, const Prepare &prepare)
    : run_(short_run.run()),
      prepare_(prepare),
      commands_(commandsOfAll(run_.commands)),
      firsts_(1) {
  for (size_t line = 0; line < run_.commands.size(); line++) {
    firsts_.push_back(firsts_.back() + commandsOf(run_.commands[line]).size());
    weights_.resize(firsts_.back(), short_run.weights()[line]);
  }
}

// Those that were asked for: not behind the last command, which nothing comes from then.
void Search::chooseSettings() {
  for (size_t i = 0; i < run_.config.size(); i++) {
    auto asked = run_.asked.find({run_.config[i].space, run_.config[i].key});
    if (asked == run_.asked.end() || asked->second == run_.commands.size()) continue;
    (isList(run_.config[i]) ? lists_ : values_).push_back(i);
  }
}

void Search::make(Trials &trials) const {
  auto callOf = [&](size_t i) {
    Config config = run_.config;
    const auto &[setting, value, marked, seen] = trials[i];
    if (value) {
      config[setting].value = *value;
    } else {
      config.erase(config.begin() + static_cast<long>(setting));
    }
    return CallToMake{std::move(config), run_.entry, run_.words};
  };
  auto looked = lookAtCalls(
      trials.size(), callOf, prepare_,
      [&](size_t i, const sim::Device &device) { return look(trials[i], device.commands()); });
  for (size_t i = 0; i < trials.size(); i++) trials[i].seen = std::move(looked[i]);
}

// Two numbers for each command that is gone or another: its place, and 1 where it came back
// with the other value in place of the one that it carries. With a marked list, of each that
// carries a mark the place and the record.
std::vector<size_t> Search::look(const Trial &trial, const Lines &lines) const {
  if (lines == run_.commands) return {};
  Lines commands = commandsOfAll(lines);
  if (trial.marked != nullptr) return lookForMarks(*trial.marked, commands);
  Places kept = keptLines(commands_, commands);
  std::vector<bool> is_added(commands.size(), true);
  for (size_t place : kept) {
    if (place != kNowhere) is_added[place] = false;
  }
  Texts added;
  for (size_t i = 0; i < commands.size(); i++) {
    if (is_added[i]) added.insert(commands[i]);
  }
  std::vector<size_t> seen;
  for (size_t i = 0; i < kept.size(); i++) {
    if (kept[i] != kNowhere) continue;
    seen.insert(seen.end(), {i, size_t{carries(i, trial, added)}});
  }
  return seen;
}

std::vector<size_t> Search::lookForMarks(const MarkedList &list, const Lines &commands) const {
  std::vector<size_t> seen;
  if (commands.size() != commands_.size()) return seen;
  for (size_t i = 0; i < commands.size(); i++) {
    if (commands[i] == commands_[i]) continue;
    for (size_t record : list.carriedBy(commands[i], commands_[i])) {
      seen.insert(seen.end(), {i, record});
    }
  }
  return seen;
}

bool Search::carries(size_t command, const Trial &trial, const Texts &added) const {
  const std::string &value = run_.config[trial.setting].value;
  if (value.empty() || !trial.value) return false;
  std::string text = commands_[command];
  size_t at = text.find(value);
  if (at == std::string::npos) return false;
  for (; at != std::string::npos; at = text.find(value, at + trial.value->size())) {
    text.replace(at, value.size(), *trial.value);
  }
  return added.count(text) != 0;
}

Commands affectedIn(const Trial &trial) {
  Commands commands;
  for (size_t i = 0; i < trial.seen.size(); i += 2) commands.push_back(trial.seen[i]);
  return commands;
}

void Search::found(Origin::Role role, size_t setting, size_t record, Commands commands) {
  if (commands.empty()) return;
  const nvram::Setting &entry = run_.config[setting];
  // No other record makes what a record makes.
  size_t extent = 0;
  for (size_t command : commands) extent += role == Origin::kRecord ? 1 : weights_[command];
  effects_.push_back(
      {{role, entry.space, entry.key, static_cast<int>(record)}, std::move(commands), extent});
}

// ---- values ----

void Search::changeValues() {
  Trials trials;
  for (size_t setting : values_) {
    for (std::string &other : alternativesTo(run_.config[setting])) {
      trials.push_back({setting, std::move(other)});
    }
  }
  make(trials);
  for (auto trial = trials.begin(); trial != trials.end();) {
    size_t setting = trial->setting;
    std::map<size_t, bool> carried;  // by command
    for (; trial != trials.end() && trial->setting == setting; ++trial) {
      for (size_t i = 0; i < trial->seen.size(); i += 2) {
        carried[trial->seen[i]] |= trial->seen[i + 1] != 0;
      }
    }
    Commands with_value, because;
    for (auto [command, carries] : carried) (carries ? with_value : because).push_back(command);
    found(Origin::kValue, setting, 0, std::move(with_value));
    found(Origin::kBecause, setting, 0, std::move(because));
  }
}

// ---- records ----

// The records whose beginnings are tried: all, or of a long list those that no mark was seen
// of; none of them when there are too many.
std::vector<size_t> recordsToTry(size_t count, const std::map<size_t, Commands> &marked) {
  std::vector<size_t> records;
  for (size_t i = 0; i < count; i++) {
    if (count <= kMostRecords || marked.count(i + 1) == 0) records.push_back(i);
  }
  if (records.size() > kMostRecords) records.clear();
  return records;
}

// Lists are read from left to right: the first of a list's beginnings with which a command is
// there, and stays, ends with its record.
void Search::tryBeginnings(size_t setting, const Commands &commands,
                           const std::map<size_t, Commands> &marked) {
  const std::vector<std::string> all = splitAt(run_.config[setting].value, ';');
  const std::vector<size_t> records = recordsToTry(all.size(), marked);
  if (records.empty()) return found(Origin::kValue, setting, 0, commands);
  Trials beginnings;
  for (size_t record : records) {
    std::vector<std::string> before(all.begin(), all.begin() + static_cast<long>(record));
    beginnings.push_back({setting, joined(before, ';')});
  }
  make(beginnings);
  std::map<size_t, size_t> lasts;  // by command, the last trial that it is not in
  for (size_t i = 0; i < records.size(); i++) {
    for (size_t command : affectedIn(beginnings[i])) lasts[command] = i;
  }
  std::vector<Commands> of_records(records.size());
  for (size_t command : commands) {
    if (auto last = lasts.find(command); last != lasts.end()) {
      of_records[last->second].push_back(command);
    }
  }
  for (size_t i = 0; i < records.size(); i++) {
    found(Origin::kRecord, setting, records[i] + 1, std::move(of_records[i]));
  }
}

// What carries a record's mark is its. Whether that is all that comes from the list, shows
// the empty list.
void Search::changeRecords() {
  std::deque<MarkedList> lists;
  Trials trials;
  for (size_t setting : lists_) {
    const nvram::Setting &entry = run_.config[setting];
    lists.emplace_back(splitAt(entry.value, ';'), formOf(entry));
    trials.push_back({setting, ""});
    trials.push_back({setting, lists.back().text(), &lists.back()});
  }
  make(trials);
  for (size_t i = 0; i < trials.size(); i += 2) {
    const Trial &emptied = trials[i], &marked = trials[i + 1];
    std::map<size_t, Commands> marks;  // by record
    std::set<size_t> marked_commands;
    for (size_t k = 0; k < marked.seen.size(); k += 2) {
      marks[marked.seen[k + 1]].push_back(marked.seen[k]);
      marked_commands.insert(marked.seen[k]);
    }
    Commands others;
    for (size_t command : affectedIn(emptied)) {
      if (marked_commands.count(command) == 0) others.push_back(command);
    }
    if (!others.empty()) tryBeginnings(emptied.setting, others, marks);
    for (auto &[record, commands] : marks) {
      found(Origin::kRecord, emptied.setting, record, std::move(commands));
    }
  }
}

// ---- and both ----

// Every setting that is asked for, for commands that nothing closer was found for.
void Search::leaveOut(std::vector<CommandOrigins> &origins) {
  Trials trials;
  for (size_t setting : lists_) trials.push_back({setting, std::nullopt});
  for (size_t setting : values_) trials.push_back({setting, std::nullopt});
  std::sort(trials.begin(), trials.end(),
            [](const Trial &a, const Trial &b) { return a.setting < b.setting; });
  make(trials);
  std::vector<CommandOrigins> needed(origins.size());
  for (const Trial &trial : trials) {
    const nvram::Setting &entry = run_.config[trial.setting];
    for (size_t command : affectedIn(trial)) {
      if (!origins[command].empty()) continue;
      needed[command].push_back({Origin::kBecause, entry.space, entry.key});
    }
  }
  for (size_t i = 0; i < origins.size(); i++) {
    if (origins[i].empty()) origins[i] = std::move(needed[i]);
  }
}

Origins Search::origins() {
  chooseSettings();
  changeValues();
  changeRecords();
  std::stable_sort(effects_.begin(), effects_.end(), [](const Effect &a, const Effect &b) {
    return std::make_pair(a.origin.role, a.extent) < std::make_pair(b.origin.role, b.extent);
  });
  std::vector<CommandOrigins> origins(commands_.size());
  for (const Effect &effect : effects_) {
    for (size_t command : effect.commands) origins[command].push_back(effect.origin);
  }
  bool missing = std::any_of(origins.begin(), origins.end(),
                             [](const CommandOrigins &each) { return each.empty(); });
  if (missing) leaveOut(origins);
  Origins of_lines;
  for (size_t line = 0; line < run_.commands.size(); line++) {
    auto begin = origins.begin() + static_cast<long>(firsts_[line]);
    auto end = origins.begin() + static_cast<long>(firsts_[line + 1]);
    of_lines.emplace_back(std::make_move_iterator(begin), std::make_move_iterator(end));
  }
  return of_lines;
}

}  // namespace

std::vector<std::string> commandsOf(const std::string &line) {
  if (strpbrk(line.c_str(), ";&\n") == nullptr) return {line};
  std::vector<std::string> commands;
  for (sim::ShellCommand &command : sim::splitLine(line)) {
    commands.push_back(std::move(command.whole));
  }
  if (commands.size() <= 1) return {line};
  return commands;
}

Origins originsOf(const Recording &run, const Prepare &prepare) {
  const ShortRun short_run(run, prepare);
  const Origins found = Search(short_run, prepare).origins();
  Origins origins;
  for (size_t line = 0; line < run.commands.size(); line++) {
    origins.push_back(found[short_run.lineFor(line)]);
    for (CommandOrigins &command : origins.back()) {
      for (Origin &origin : command) origin = short_run.originOf(line, std::move(origin));
    }
  }
  return origins;
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
  size_t begin = 0;
  for (int record = 1; record < origin.record; record++) begin = value->find(';', begin) + 1;
  return value->substr(begin, value->find(';', begin) - begin);
}

}  // namespace orba::tool
