#include "tools/play/behaviour.h"

#include "tools/catalog/sample_calls.h"
#include "tools/play/value_names.h"

namespace orba::tool {

namespace {

using sim::Device;
using sim::Event;
using Words = std::vector<std::string>;

struct Exited {};

// The line that shows an event; empty for an event that has none.
std::string lineOf(const Event &event) {
  switch (event.kind) {
    case Event::kCommand:
      return sim::withoutRunnerRedirection(event.text);
    case Event::kPipe:
      return event.text + " |";
    case Event::kTimer:
      return "(timer) " + event.text;
    case Event::kSignal:
      return "(signal) " + event.text;
    case Event::kRequest:
      return "(driver) " + event.text;
    default:
      return "";
  }
}

// Settings that the caller names are not the entry point's own.
std::set<std::string> namedByCaller(const EntryPoint &entry, const Words &words) {
  std::set<std::string> keys;
  size_t next = 0;
  for (const Parameter &parameter : entry.parameters) {
    if (!parameter.isWord() || next >= words.size()) continue;
    if (parameter.name == "key") keys.insert(words[next]);
    next++;
  }
  return keys;
}

// "/var/SESS_1804289383" is one of many.
std::string withoutNumber(std::string path) {
  size_t digits = path.find_last_not_of("0123456789") + 1;
  if (path.size() - digits >= 4) path.replace(digits, std::string::npos, "N");
  return path;
}

// Whether `command` is `text` with a redirection behind it.
bool ranIntoFile(const std::string &command, const std::string &text) {
  if (command.compare(0, text.size(), text) != 0) return false;
  size_t behind = command.find_first_not_of(' ', text.size());
  return behind != std::string::npos && command[behind] == '>';
}

class Explorer {
 public:
  explicit Explorer(const EntryPoint &entry) : entry_(entry), calls_(sampleCalls(entry)) {}

  Behaviour explore() {
    for (const TrialDevice &each : trialDevices()) {
      exploreIn(each);
    }
    return behaviour_;
  }

 private:
  void exploreIn(const TrialDevice &where) {
    size_t known_before = known();
    std::vector<std::vector<Change>> waiting(1);
    for (size_t next = 0; next < waiting.size(); next++) {
      const std::vector<Change> changes = waiting[next];
      std::set<SettingName> asked;
      for (const Words &words : calls_) asked.merge(call(where, changes, words));
      // Surroundings that make a difference are worth every setting once more.
      if (next == 0 && known() != known_before) varied_.clear();
      for (const SettingName &setting : asked) {
        if (!varied_.insert(setting).second) continue;
        for (const Change &change : changesOf(setting)) {
          waiting.push_back(changes);
          waiting.back().push_back(change);
        }
      }
    }
  }

  size_t known() const {
    return kinds_.size() + behaviour_.reads.size() + behaviour_.files_read.size();
  }

  // Returns the settings that were asked for.
  std::set<SettingName> call(const TrialDevice &where, const std::vector<Change> &changes,
                             const Words &words) {
    Device device;
    device.onExit([](int) { throw Exited(); });
    putTrial(where, changes, device);
    const std::set<std::string> looked_before = device.root().looked();
    try {
      entry_.call(words);
    } catch (const Exited &) {
    } catch (const BadArgument &) {
    }
    const std::set<std::string> callers = namedByCaller(entry_, words);
    for (const SettingName &setting : device.asked()) {
      if (callers.count(setting.second) == 0) behaviour_.reads.insert(setting);
    }
    for (const std::string &path : device.root().looked()) {
      if (looked_before.count(path) == 0) behaviour_.files_read.insert(withoutNumber(path));
    }
    for (const Event &event : device.events()) {
      if (event.kind == Event::kCommand || event.kind == Event::kPipe) {
        behaviour_.commands.insert({event.text, event.kind == Event::kPipe});
      }
      if (event.kind == Event::kFile) behaviour_.files_written.insert(withoutNumber(event.text));
      if (event.kind == Event::kSet || event.kind == Event::kBufset) {
        std::string key = event.text.substr(2, event.text.find('=') - 2);
        if (callers.count(key) == 0) behaviour_.writes.insert({event.text[0] - '0', key});
      }
    }
    std::string situation = where.words;
    for (const Change &change : changes)
      situation += (situation.empty() ? "" : ", ") + change.words();
    noteLines(linesOf(device, words), {calls_.size() == 1 ? "" : spelled(words), situation, {}});
    return device.asked();
  }

  std::vector<std::string> linesOf(const Device &device, const Words &words) const {
    const ValueNames arguments = namesOfWords(entry_, words);
    std::vector<std::string> lines;
    std::string before;
    for (const Event &event : device.events()) {
      std::string line = lineOf(event);
      // A line that was run into a file is fetched again when its shell lost the text.
      bool again = event.kind == Event::kPipe && ranIntoFile(before, event.text);
      if (event.kind == Event::kCommand) before = event.text;
      if (line.empty() || again) continue;
      lines.push_back(namesOfExamples().in(arguments.in(line)));
    }
    return lines;
  }

  // On the device as it comes every line is told, in any other situation only
  // what is of a new kind.
  void noteLines(const std::vector<std::string> &lines, Deeds deeds) {
    bool usual = deeds.situation.empty();
    if (usual && behaviour_.usual.empty()) behaviour_.usual = lines;
    for (const std::string &line : lines) {
      bool new_form = forms_.insert(line).second;
      bool new_kind = kinds_.insert(kindOf(line)).second;
      if (usual ? new_form : new_kind) deeds.lines.push_back(line);
    }
    if (!deeds.lines.empty()) behaviour_.deeds.push_back(deeds);
  }

  std::string spelled(const Words &words) const {
    std::string call = entry_.name;
    for (const std::string &word : words) call += " " + (word.empty() ? "\"\"" : word);
    return call;
  }

  const EntryPoint &entry_;
  std::vector<Words> calls_;
  std::set<SettingName> varied_;
  std::set<std::string> forms_;
  std::set<std::string> kinds_;
  Behaviour behaviour_;
};

}  // namespace

Behaviour behaviourOf(const EntryPoint &entry) {
  return Explorer(entry).explore();
}

const std::vector<Known> &everyBehaviour() {
  static const std::vector<Known> all = [] {
    std::vector<Known> found;
    for (const EntryPoint &entry : entryPoints()) found.push_back({&entry, behaviourOf(entry)});
    return found;
  }();
  return all;
}

}  // namespace orba::tool
