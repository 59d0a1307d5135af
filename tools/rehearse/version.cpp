#include "tools/rehearse/version.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>
#include <type_traits>

#include "tools/device/config.h"
#include "tools/play/event_words.h"
#include "tools/rehearse/batch.h"
#include "tools/rehearse/calls.h"
#include "tools/text/lines.h"
#include "tools/traffic/desk_router.h"

namespace orba::tool {

namespace {

using nlohmann::json;
using sim::Event;

constexpr char kHello[] = "{\"id\":\"hello\",\"entries\":[]}\n";
// A longer line is no answer.
constexpr size_t kMostOfAnswer = size_t{64} << 20;
constexpr int kStartMilliseconds = 20'000;

// ---- what programs answer ----

struct NoAnswer : Died {
  using Died::Died;
};

Event::Kind kindNamed(const std::string &name) {
  for (int kind = Event::kCommand; kind <= Event::kRequest; kind++) {
    if (name == nameOf(static_cast<Event::Kind>(kind))) return static_cast<Event::Kind>(kind);
  }
  throw NoAnswer("answers with what is no kind of event");
}

// Of what `plan --json` prints.
Recording recordingIn(const json &plan) {
  Recording run;
  run.entry = plan.value("entry", "");
  run.result = {plan.value("returned", ""), plan.value("outputs", std::vector<std::string>())};
  for (const json &event : plan.at("events")) {
    run.events.push_back({kindNamed(event.at("kind")), event.at("text"), event.value("ms", 0LL)});
  }
  run.files = plan.value("files", std::map<std::string, std::string>());
  readEvents(run);
  return run;
}

// A program with a pipe to it and one from it.
class Program {
 public:
  Program(const std::string &path, const std::vector<std::string> &words) : path_(path) {
    int to[2], from[2];
    if (pipe2(to, O_CLOEXEC) != 0 || pipe2(from, O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category(), "pipe");
    }
    std::vector<char *> arguments = {path_.data()};
    std::vector<std::string> copies = words;
    for (std::string &word : copies) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int failed[2];
    if (pipe2(failed, O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category(), "pipe");
    }
    child_ = fork();
    if (child_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);  // one that hangs would stay
      dup2(to[0], STDIN_FILENO);
      dup2(from[1], STDOUT_FILENO);
      dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
      execv(path_.c_str(), arguments.data());
      const int error = errno;
      _exit(::write(failed[1], &error, sizeof error) == sizeof error ? 127 : 126);
    }
    int error = child_ < 0 ? errno : 0;
    close(failed[1]);
    if (child_ > 0 && ::read(failed[0], &error, sizeof error) < 0) error = errno;
    close(failed[0]);
    close(to[0]);
    close(from[1]);
    to_ = to[1];
    from_ = fdopen(from[0], "r");
    if (error != 0) {
      end();
      throw BadArgument(path + ": " + strerror(error));
    }
  }
  Program(const Program &) = delete;
  Program &operator=(const Program &) = delete;
  ~Program() {
    if (child_ > 0) kill(child_, SIGKILL);  // nobody waits for what it still does
    end();
  }

  bool write(const std::string &text) {
    for (size_t sent = 0; sent < text.size();) {
      const ssize_t now = ::write(to_, text.data() + sent, text.size() - sent);
      if (now < 0 && errno != EINTR) return false;
      if (now > 0) sent += static_cast<size_t>(now);
    }
    return true;
  }

  // Whether it says something, or ends, within the time that a start may take.
  bool answersSoon() const {
    pollfd from = {fileno(from_), POLLIN, 0};
    return poll(&from, 1, kStartMilliseconds) > 0;
  }

  // Nothing at the end; a line that is too long has none.
  std::optional<std::string> line() {
    std::string line;
    for (int c; line.size() <= kMostOfAnswer && (c = getc_unlocked(from_)) != EOF;) {
      line += static_cast<char>(c);
      if (c == '\n') break;
    }
    if (line.empty()) return std::nullopt;
    return line;
  }

  // Nothing more is written to it.
  std::string rest() {
    if (to_ >= 0) close(to_);
    to_ = -1;
    std::string all;
    while (all.size() <= kMostOfAnswer) {
      std::optional<std::string> more = line();
      if (!more) break;
      all += *more;
    }
    return all;
  }

  // Its status, as waitpid() says it.
  int end() {
    if (to_ >= 0) close(to_);
    if (from_ != nullptr) fclose(from_);
    to_ = -1;
    from_ = nullptr;
    int status = 0;
    while (child_ > 0 && waitpid(child_, &status, 0) < 0 && errno == EINTR) continue;
    child_ = -1;
    return status;
  }

 private:
  std::string path_;
  pid_t child_ = -1;
  int to_ = -1;
  FILE *from_ = nullptr;
};

std::string causeOf(int status) {
  return WIFSIGNALED(status) ? strsignal(WTERMSIG(status))
                             : "exit code " + std::to_string(WEXITSTATUS(status));
}

// ---- `plan --batch` ----

class BatchVersion : public Version {
 public:
  BatchVersion(const std::string &program, const std::vector<std::string> &entries)
      : program_(program) {
    for (const std::string &text : entries) entries_.push_back(asked(text));
  }

  Digests digests(const std::vector<nvram::Setting> &settings) override {
    nlohmann::ordered_json request = requestFor(settings);
    request["digests"] = true;
    if (!entries_.empty()) request["entries"] = entries_;
    const std::string answered = ask(request);
    // Most configurations get the same of both versions.
    const std::string head = "{\"id\":" + std::to_string(asked_) + ",";
    if (answered.starts_with(head) && answered.substr(head.size()) == last_answer_) {
      return last_digests_;
    }
    return read(answered, [&](const json &answer) {
      Digests digests;
      for (const json &run : answer.at("runs")) {
        const std::string entry =
            callText(run.at("entry"), run.value("arguments", std::vector<std::string>()));
        if (run.contains("digest")) digests[entry] = run["digest"];
        if (run.contains("died")) digests[entry] = kDied + std::string(run["died"]);
      }
      if (answered.starts_with(head)) last_answer_ = answered.substr(head.size());
      return last_digests_ = std::move(digests);
    });
  }

  Recording record(const std::vector<nvram::Setting> &settings, const std::string &entry) override {
    nlohmann::ordered_json request = requestFor(settings);
    request["entries"] = json::array({asked(entry)});
    return read(ask(request), [](const json &answer) {
      const json &run = answer.at("runs").at(0);
      if (run.contains("died")) throw Died(run["died"]);
      return recordingIn(run);
    });
  }

  bool isExact() const override { return true; }

 private:
  // A call, as the protocol has it.
  static json asked(const std::string &text) {
    const EntryCall call = entryCall(text);
    json list = {call.entry->name};
    for (const std::string &word : call.words) list.push_back(word);
    return call.words.empty() ? list[0] : list;
  }

  nlohmann::ordered_json requestFor(const std::vector<nvram::Setting> &settings) {
    return {{"id", ++asked_}, {"config", asciiConfig(settings)}};
  }

  // What `found` finds in the answer. Whoever has answered something else is not asked again.
  template <typename Found>
  std::invoke_result_t<Found, const json &> read(const std::string &line, const Found &found) {
    try {
      const json answer = json::parse(line);
      if (answer.at("id") != asked_) throw NoAnswer("answers something else than it was asked");
      if (answer.contains("error")) throw NoAnswer("answers by an error");
      return found(answer);
    } catch (const json::exception &) {
      running_.reset();
      throw NoAnswer("answers with what is no answer");
    } catch (const NoAnswer &) {
      running_.reset();
      throw;
    }
  }

  // One that is gone is started once more.
  std::string ask(const nlohmann::ordered_json &request) {
    const std::string line = lineOf(request);
    for (int i = 0; i < 2; i++) {
      if (!running_) running_ = std::make_unique<Program>(program_, kWords);
      if (running_->write(line)) {
        if (std::optional<std::string> answered = running_->line()) return *answered;
      }
      running_.reset();
    }
    throw Died("ends in the middle of a batch");
  }

  static inline const std::vector<std::string> kWords = {"plan", "--batch"};
  std::string program_;
  std::vector<json> entries_;
  std::unique_ptr<Program> running_;
  uint64_t asked_ = 0;                     // the last request's id
  static inline std::string last_answer_;  // of whichever version, behind its id
  static inline Digests last_digests_;
};

// ---- `plan --json`, a process for each call ----

class OneByOneVersion : public Version {
 public:
  OneByOneVersion(const std::string &program, std::vector<std::string> entries)
      : program_(program), entries_(std::move(entries)) {
    if (file_ < 0) throw std::system_error(errno, std::generic_category(), "memfd_create");
    if (!entries_.empty()) return;
    for (const EntryCall &call : wordlessCalls()) {
      if (isOfStart(call.text)) entries_.push_back(call.text);
    }
  }
  ~OneByOneVersion() override { close(file_); }

  Digests digests(const std::vector<nvram::Setting> &settings) override {
    Digests digests;
    for (const std::string &entry : entries_) {
      try {
        digests[entry] = digestOf(record(settings, entry));
      } catch (const Died &error) {
        digests[entry] = kDied + std::string(error.what());
      }
    }
    return digests;
  }

  Recording record(const std::vector<nvram::Setting> &settings, const std::string &entry) override {
    const std::string config = asciiConfig(settings);
    if (config != config_) {
      runs_.clear();
      put(config);
      config_ = config;
    }
    auto known = runs_.find(entry);
    if (known == runs_.end()) known = runs_.emplace(entry, call(entry)).first;
    return known->second;
  }

 private:
  void put(const std::string &config) const {
    const auto size = static_cast<ssize_t>(config.size());
    if (ftruncate(file_, 0) == 0 && pwrite(file_, config.data(), config.size(), 0) == size) return;
    throw std::system_error(errno, std::generic_category(), "a configuration in memory");
  }

  Recording call(const std::string &entry) {
    const EntryCall asked = entryCall(entry);
    std::vector<std::string> words = {"plan", "--json", "--config", path_, "--", asked.entry->name};
    words.insert(words.end(), asked.words.begin(), asked.words.end());
    Program program(program_, words);
    const std::string plan = program.rest();
    if (const int status = program.end(); status != 0) throw Died(causeOf(status));
    try {
      return recordingIn(json::parse(plan));
    } catch (const json::exception &) {
      throw NoAnswer("answers with what is no plan");
    }
  }

  std::string program_;
  std::vector<std::string> entries_;
  // In memory: nothing of a configuration is left behind, whatever ends this process.
  const int file_ = memfd_create("configuration", MFD_CLOEXEC);
  const std::string path_ = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(file_);
  std::string config_;
  std::map<std::string, Recording> runs_;
};

}  // namespace

std::string asciiConfig(const std::vector<nvram::Setting> &settings) {
  std::string text;
  for (char c : printConfig(settings)) {
    if (static_cast<unsigned char>(c) < 0x80) {
      text += c;
      continue;
    }
    char escaped[8];
    snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
    text += escaped;
  }
  return text;
}

std::unique_ptr<Version> programVersion(const std::string &program,
                                        const std::vector<std::string> &entries) {
  Program tried(program, {"plan", "--batch"});
  tried.write(kHello);
  const json answer = json::parse(tried.line().value_or(""), nullptr, false);
  if (answer.is_object() && answer.contains("runs")) {
    return std::make_unique<BatchVersion>(program, entries);
  }
  return std::make_unique<OneByOneVersion>(program, entries);
}

std::string versionOf(const std::string &program) {
  Program batch(program, {"plan", "--batch"});
  batch.write(kHello);
  if (!batch.answersSoon()) throw BadArgument(program + ": does not answer plan --batch");
  Program tried(program, {"--version"});
  if (!tried.answersSoon()) throw BadArgument(program + ": does not answer --version");
  std::string version = tried.rest();
  if (tried.end() != 0 || version.empty()) throw BadArgument(program + ": is no orba");
  return linesIn(version).front();
}

// ---- edits ----

SettingEdit settingEdit(SettingEdit::Kind kind, const std::string &text) {
  SettingEdit edit{kind};
  std::string rest = text;
  if (rest.size() > 1 && rest[1] == ':' && rest[0] >= '0' && rest[0] <= '9') {
    if (rest[0] < '0' + nvram::kFirstSpace || rest[0] > '0' + nvram::kLastSpace) {
      throw BadArgument(text + ": there is no such space");
    }
    edit.space = rest[0] - '0';
    rest = rest.substr(2);
  }
  const auto cut = [&](char at, const char *form) {
    const size_t place = rest.find(at);
    if (place == std::string::npos || place == 0) throw BadArgument(text + ": " + form);
    const std::string first = rest.substr(0, place);
    rest = rest.substr(place + 1);
    return first;
  };
  switch (kind) {
    case SettingEdit::kUnset:
      edit.key = rest;
      break;
    case SettingEdit::kReplaceRecord:
      edit.key = cut(':', "KEY:OLD=NEW is wanted");
      edit.record = cut('=', "KEY:OLD=NEW is wanted");
      edit.value = rest;
      break;
    default:
      edit.key = cut('=', "KEY=VALUE is wanted");
      edit.value = rest;
  }
  if (!nvram::validKey(edit.key)) throw BadArgument(text + ": a key is wanted");
  return edit;
}

std::string SettingEdit::text() const {
  const std::string name = (space == 1 ? "" : std::to_string(space) + ":") + key;
  switch (kind) {
    case kSet:
      return "--set " + name + "=" + value;
    case kDefault:
      return "--default " + name + "=" + value;
    case kUnset:
      return "--unset " + name;
    case kReplaceRecord:
      break;
  }
  return "--replace-record " + name + ":" + record + "=" + value;
}

std::vector<nvram::Setting> edited(std::vector<nvram::Setting> settings,
                                   const std::vector<SettingEdit> &edits) {
  for (const SettingEdit &edit : edits) {
    const auto found =
        std::find_if(settings.begin(), settings.end(), [&](const nvram::Setting &each) {
          return each.space == edit.space && each.key == edit.key;
        });
    const bool there = found != settings.end();
    if (edit.kind == SettingEdit::kUnset) {
      if (there) settings.erase(found);
    } else if (edit.kind == SettingEdit::kReplaceRecord) {
      if (!there) continue;
      std::vector<std::string> records = splitAt(found->value, ';');
      // A record that becomes nothing is gone.
      if (edit.value.empty()) std::erase(records, edit.record);
      std::replace(records.begin(), records.end(), edit.record, edit.value);
      found->value = joined(records, ';');
    } else if (!there) {
      settings.push_back({edit.space, edit.key, edit.value, 0});
    } else if (edit.kind == SettingEdit::kSet) {
      found->value = edit.value;
    }
  }
  return settings;
}

}  // namespace orba::tool
