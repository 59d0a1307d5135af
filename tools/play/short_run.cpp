#include "tools/play/short_run.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "tools/play/marked_list.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// Records; of shorter lists little is saved.
constexpr size_t kLong = 32;

// ---- kinds ----

// Calls `each` with every stretch of letters, digits, dots and colons, and with every other
// character alone.
template <typename Each>
void eachStretch(std::string_view text, const Each &each) {
  for (size_t at = 0; at < text.size();) {
    const std::string_view stretch = stretchAt(text, at, ".:");
    each(stretch);
    at += stretch.size();
  }
}

bool joins(char c) {
  return isalnum(static_cast<unsigned char>(c)) == 0;
}

// Its numbers and addresses alike, and its words where they are the record's own.
std::string kindOfText(std::string_view text, const std::set<std::string_view> &own) {
  std::string kind;
  eachStretch(text, [&](std::string_view stretch) {
    const bool none = stretch.find_first_not_of("0.:") == std::string_view::npos;
    const bool number = stretch.find_first_not_of("0123456789") == std::string_view::npos;
    const bool word = stretch.find_first_of("0123456789") == std::string_view::npos;
    if (joins(stretch[0]) || none || (word && !own.contains(stretch))) {
      kind += stretch;  // "0" is often no number at all
    } else if (word) {
      kind += 'w';
    } else if (number) {
      kind += '9';
    } else {  // of addresses, names and ranges what joins them
      kind += 'a';
      for (char c : stretch) {
        if (joins(c)) kind += c;
      }
    }
  });
  return kind;
}

std::set<std::string_view> stretchesOf(std::string_view record) {
  std::set<std::string_view> words;
  eachStretch(record, [&](std::string_view stretch) { words.insert(stretch); });
  return words;
}

// Of a field with few values its value.
std::string kindOfRecord(const std::string &record, const Form *form) {
  const std::set<std::string_view> own = stretchesOf(record);
  std::string kind;
  int number = 0;
  for (const std::string &text : splitAt(record, ',')) {
    const Field *field = form != nullptr ? form->field(++number) : nullptr;
    const bool few = field != nullptr && !field->form.values().empty();
    kind += (few ? text : kindOfText(text, own)) + ",";
  }
  return kind;
}

// ---- marks ----

// Of each line that carries marks of the list, its place and their records.
std::vector<size_t> marksIn(const std::vector<std::string> &lines, const MarkedList &list,
                            const std::vector<std::string> &whole) {
  std::vector<size_t> marks;
  if (lines.size() != whole.size()) return marks;
  for (size_t i = 0; i < lines.size(); i++) {
    if (lines[i] == whole[i]) continue;
    for (size_t record : list.carriedBy(lines[i], whole[i])) {
      marks.insert(marks.end(), {i, record});
    }
  }
  return marks;
}

}  // namespace

ShortRun::ShortRun(const Recording &whole, const Prepare &prepare) : lines_(whole.commands.size()) {
  run_.entry = whole.entry;
  run_.words = whole.words;
  run_.config = whole.config;
  std::vector<size_t> settings;
  std::vector<MarkedList> marked;
  for (size_t i = 0; i < whole.config.size(); i++) {
    const nvram::Setting &setting = whole.config[i];
    const auto records = std::count(setting.value.begin(), setting.value.end(), ';') + 1;
    const bool asked = whole.asked.contains({setting.space, setting.key});
    if (!asked || !isList(setting) || static_cast<size_t>(records) <= kLong) continue;
    settings.push_back(i);
    marked.emplace_back(splitAt(setting.value, ';'), formOf(setting));
  }
  const auto marks = lookAtCalls(
      settings.size(),
      [&](size_t i) {
        std::vector<nvram::Setting> config = whole.config;
        config[settings[i]].value = marked[i].text();
        return CallToMake{std::move(config), whole.entry, whole.words};
      },
      prepare,
      [&](size_t i, const sim::Device &device) {
        return marksIn(device.commands(), marked[i], whole.commands);
      });
  for (size_t i = 0; i < settings.size(); i++) shorten(settings[i], marks[i], whole, prepare);
  count(whole);
}

void ShortRun::shorten(size_t setting, const std::vector<size_t> &marks, const Recording &whole,
                       const Prepare &prepare) {
  const nvram::Setting &entry = whole.config[setting];
  const std::vector<std::string> records = splitAt(entry.value, ';');
  std::map<size_t, std::set<size_t>> of_lines;     // the records that a line carries
  std::map<size_t, std::vector<size_t>> lines_of;  // and the lines of a record
  std::set<size_t> needed;                         // records that share a line
  for (size_t i = 0; i < marks.size(); i += 2) of_lines[marks[i]].insert(marks[i + 1]);
  for (const auto &[line, its] : of_lines) {
    for (size_t record : its) lines_of[record].push_back(line);
    if (its.size() > 1) needed.insert(its.begin(), its.end());
  }
  List list = {setting, {}};
  Lines lines = lines_;
  std::map<std::string, size_t> firsts;  // records, by their kinds
  std::vector<std::string> stay;
  for (size_t record = 1; record <= records.size(); record++) {
    const std::string &text = records[record - 1];
    const auto its = lines_of.find(record);
    size_t first = record;
    if (its != lines_of.end() && !needed.contains(record)) {
      std::string kind = kindOfRecord(text, formOf(entry));
      const std::set<std::string_view> own = stretchesOf(text);
      for (size_t line : its->second) kind += "\n" + kindOfText(whole.commands[line], own);
      first = firsts.try_emplace(std::move(kind), record).first->second;
    }
    if (first == record) {
      list.records.push_back(static_cast<int>(record));
      stay.push_back(text);
      continue;
    }
    for (size_t i = 0; i < its->second.size(); i++) {
      lines[its->second[i]] = {lines_of[first][i], lists_.size(), static_cast<int>(record),
                               static_cast<int>(first)};
    }
  }
  // Whether nothing else goes with them is for a run to say.
  std::vector<nvram::Setting> config = run_.config;
  config[setting].value = joined(stay, ';');
  std::vector<std::string> expected;
  for (size_t i = 0; i < lines.size(); i++) {
    if (!lines[i]) expected.push_back(whole.commands[i]);
  }
  if (recordCommands(config, whole.entry, whole.words, prepare) != expected) return;
  run_.config = std::move(config);
  lines_ = std::move(lines);
  lists_.push_back(std::move(list));
}

// What stays, where it is then, and for how much it stands.
void ShortRun::count(const Recording &whole) {
  std::vector<size_t> before(1);  // by line, those in front of it that stay
  for (size_t i = 0; i < lines_.size(); i++) {
    if (!lines_[i]) run_.commands.push_back(whole.commands[i]);
    before.push_back(run_.commands.size());
  }
  weights_.assign(run_.commands.size(), 0);
  for (size_t i = 0; i < lines_.size(); i++) {
    places_.push_back(before[lines_[i] ? lines_[i]->line : i]);
    weights_[places_.back()]++;
  }
  for (const auto &[name, commands] : whole.asked) run_.asked[name] = before[commands];
}

Origin ShortRun::originOf(size_t line, Origin origin) const {
  for (size_t i = 0; i < lists_.size() && origin.record != 0; i++) {
    const auto &[setting, records] = lists_[i];
    const nvram::Setting &entry = run_.config[setting];
    if (entry.space != origin.space || entry.key != origin.key) continue;
    origin.record = records[static_cast<size_t>(origin.record) - 1];
    const std::optional<Instead> &gone = lines_[line];
    if (gone && gone->list == i && gone->its == origin.record) origin.record = gone->record;
    break;
  }
  return origin;
}

}  // namespace orba::tool
