#include "tools/lab/apply.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>

#include "nvram.h"
#include "sim/temporary_folder.h"
#include "tools/catalog/entry_point.h"
#include "tools/device/config.h"
#include "tools/device/this_machine.h"
#include "tools/lab/expected_failures.h"
#include "tools/lab/lab.h"
#include "tools/lab/real_shell.h"
#include "tools/play/recording.h"
#include "tools/show/report.h"
#include "tools/text/json.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// What the lab's tools answer to an option of which today's have no like.
constexpr int kNoPresentForm = 125;

// A settings store that lasts as long as the call.
class ScratchStore {
 public:
  explicit ScratchStore(const std::vector<nvram::Setting> &settings) {
    setenv("ORBA_NVRAM_DIR", folder_.path().c_str(), 1);
    for (const nvram::Setting &entry : settings) {
      nvram_bufset(entry.space, entry.key.c_str(), entry.value.c_str());
    }
    for (int space : {1, 2}) nvram_commit(space);
  }

 private:
  sim::TemporaryFolder folder_{"orba-settings-"};
};

// Catches what the library itself prints, so that the answer for a program stays one
// piece, and a terminal is not told to do anything.
class Printed {
 public:
  Printed() : saved_(dup(STDOUT_FILENO)), text_(memfd_create("printed", MFD_CLOEXEC)) {
    std::cout.flush();
    fflush(stdout);
    dup2(text_, STDOUT_FILENO);
  }
  Printed(const Printed &) = delete;
  Printed &operator=(const Printed &) = delete;
  ~Printed() { close(text_); }

  std::string end() {
    fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    std::string text(static_cast<size_t>(lseek(text_, 0, SEEK_END)), '\0');
    if (pread(text_, text.data(), text.size(), 0) < 0) text.clear();
    return text;
  }

 private:
  int saved_;
  int text_;
};

void showProgress(size_t number, size_t of, const std::string &line) {
  constexpr size_t kWidth = 60;
  std::string text = visible(sim::withoutRunnerRedirection(line)).substr(0, kWidth);
  std::cerr << "\r[" << number << "/" << of << "] " << std::left << std::setw(kWidth) << text
            << std::flush;
}

struct Judgement {
  std::vector<const RanCommand *> failed;
  std::vector<std::pair<const RanCommand *, const char *>> harmless;
  std::vector<const RanCommand *> without_form;
};

Judgement judge(const std::vector<RanCommand> &ran) {
  Judgement judgement;
  for (const RanCommand &command : ran) {
    if (command.status == 0) continue;
    if (command.status == kNoPresentForm) {
      judgement.without_form.push_back(&command);
    } else if (const char *reason = harmlessBecause(command.command, command.said)) {
      judgement.harmless.emplace_back(&command, reason);
    } else {
      judgement.failed.push_back(&command);
    }
  }
  return judgement;
}

void print(const Call &call, const RealShell &runner, size_t expected, const Judgement &judgement) {
  std::cout << forReader(call.printed) << call.entry << ": " << runner.count()
            << (runner.count() == 1 ? " command (" : " commands (") << expected << " foreseen)";
  printAnswer(std::cout, call);

  std::map<std::string, int> reasons;
  for (const auto &[command, reason] : judgement.harmless) reasons[reason]++;
  for (const auto &[reason, count] : reasons) {
    std::cout << count << " failed as " << (count == 1 ? "it is" : "they are")
              << " meant to: " << reason << "\n";
  }
  std::map<std::string, int> forms;
  for (const RanCommand *command : judgement.without_form) forms[command->said]++;
  for (const auto &[said, count] : forms) {
    std::cout << count << " not run, " << visible(said) << "\n";
  }
  for (const RanCommand *command : judgement.failed) {
    std::cout << "failed with " << command->status << ": " << visible(command->command) << "\n    "
              << visible(command->said) << "\n";
  }
}

nlohmann::ordered_json asJson(const Call &call, const RealShell &runner, size_t expected,
                              const Judgement &judgement) {
  nlohmann::ordered_json json = answerAsJson(call);
  json["printed"] = call.printed;
  json["foreseen"] = expected;
  json["lines"] = runner.lines();
  std::map<const RanCommand *, const char *> harmless(judgement.harmless.begin(),
                                                      judgement.harmless.end());
  json["commands"] = nlohmann::ordered_json::array();
  for (const RanCommand &ran : runner.ran()) {
    nlohmann::ordered_json command = {{"text", ran.command}, {"status", ran.status}};
    if (ran.background) command["background"] = true;
    if (ran.status != 0) command["said"] = ran.said;
    if (harmless.count(&ran) != 0) command["harmless"] = harmless[&ran];
    json["commands"].push_back(command);
  }
  json["failed"] = judgement.failed.size();
  json["harmless"] = judgement.harmless.size();
  json["not_run"] = judgement.without_form.size();
  return json;
}

}  // namespace

bool apply(const ApplyOptions &options) {
  const EntryPoint &entry = entryPointNamed(options.entry);
  entry.checkWords(options.words);
  if (options.on_this_machine && geteuid() != 0) {
    throw BadArgument("--on-this-machine changes this machine's network and is for root only");
  }
  std::string config = options.config;
  if (config.empty() && !options.on_this_machine) config = labConfig();
  std::vector<nvram::Setting> settings;
  if (!config.empty()) settings = readConfig(config);
  if (!options.on_this_machine) enterLab("router");

  std::optional<ScratchStore> store;
  if (!config.empty()) store.emplace(settings);
  size_t expected = recordCommands(settings, options.entry, options.words, putThisMachine).size();
  bool watched = isatty(STDERR_FILENO) != 0;
  size_t number = 0;
  RealShell runner([&](const std::string &line) {
    if (watched) showProgress(++number, expected, line);
  });

  Printed printed;
  Call call{options.entry, options.words, entry.call(options.words), ""};
  call.printed = printed.end();
  if (watched) std::cerr << "\r" << std::string(75, ' ') << "\r";

  Judgement judgement = judge(runner.ran());
  if (options.json) {
    printJson(std::cout, asJson(call, runner, expected, judgement));
  } else {
    print(call, runner, expected, judgement);
  }
  return judgement.failed.empty();
}

}  // namespace orba::tool
