// orba lab and orba apply: commands run for real.
#include "tools/lab/lab.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/cli/subcommands.h"
#include "tools/device/config.h"
#include "tools/lab/apply.h"
#include "tools/lab/confine.h"

namespace orba::tool {

namespace {

using Words = std::vector<std::string>;

constexpr char kMachine[] = "--machine";
constexpr char kBooted[] = "The router that is booted in an emulator, not the lab in namespaces";

// A subcommand of `lab`, the words that it is to be given, and which lab it is about.
struct LabOptions {
  Words words;
  bool machine = false;
  bool json = false;
};

struct TestOptions {
  Words names;
  bool list = false;
  bool json = false;
  bool machine = false;

  Words words() const {
    Words words;
    if (machine) words.emplace_back("test");
    if (list) words.emplace_back("--list");
    if (json) words.emplace_back("--json");
    words.insert(words.end(), names.begin(), names.end());
    return words;
  }
};

struct LabCommand {
  CLI::App &command;
  LabOptions &options;
};

LabCommand addLabCommand(CLI::App &lab, const char *name, const char *line,
                         void (*run)(const LabOptions &)) {
  auto options = std::make_shared<LabOptions>();
  CLI::App &command = *lab.add_subcommand(name, line);
  command.add_flag(kMachine, options->machine, kBooted);
  command.callback([options, run] { run(*options); });
  return {command, *options};
}

Words withFirst(const char *word, Words words) {
  words.insert(words.begin(), word);
  return words;
}

void make(const LabOptions &options) {
  std::vector<nvram::Setting> config;
  if (!options.words.empty()) config = readConfig(options.words.front());
  if (options.machine && options.json)
    throw BadArgument("--json and --machine: only the lab in namespaces tells what it has");
  if (options.machine && options.words.empty()) runBooted({"up"});
  if (options.machine) runBooted({"up", "/dev/stdin"}, &config);
  if (options.words.empty()) throw CLI::RequiredError("--config");
  confine();
  makeLab(config, options.json);
}

void takeAway(const LabOptions &options) {
  if (options.machine) runBooted({"down"});
  confine();
  runLabScript("down.sh", {});
}

void runOnHost(const LabOptions &options) {
  if (options.machine) runBooted(withFirst("shell", options.words));
  confine();
  runInLab(options.words);
}

void applyOnMachine(const ApplyOptions &options) {
  entryPointNamed(options.entry).checkWords(options.words);
  Words words = {"apply"};
  std::vector<nvram::Setting> config;
  if (options.json) words.emplace_back("--json");
  if (!options.config.empty()) {
    config = readConfig(options.config);
    words.insert(words.end(), {"--config", "/dev/stdin"});
  }
  words.push_back(options.entry);
  words.insert(words.end(), options.words.begin(), options.words.end());
  runBooted(words, options.config.empty() ? nullptr : &config);
}

}  // namespace

void addApply(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<ApplyOptions>();
  CLI::App &command =
      *app.add_subcommand("apply", "Call an entry point with real commands, in the lab's router");
  command.add_option("ENTRY", options->entry, "The entry point; 'orba list' shows them")
      ->required();
  command.add_option("ARG", options->words, "Its arguments");
  command.add_option("-c,--config", options->config, "The settings; the lab's when not given");
  auto booted = std::make_shared<bool>(false);
  CLI::Option *machine = command.add_flag(kMachine, *booted, kBooted);
  command
      .add_flag("--on-this-machine", options->on_this_machine,
                "Change this machine, not the lab; without --config by its own settings")
      ->excludes(machine);
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, booted, &exit] {
    if (*booted) applyOnMachine(*options);
    if (!options->on_this_machine) confine();
    exit = apply(*options) ? kDone : kFound;
  });
}

void addLab(CLI::App &app, Exit &) {
  CLI::App &lab =
      *app.add_subcommand("lab", "A router and two hosts on one machine, in network namespaces");
  lab.require_subcommand(1);
  LabCommand up = addLabCommand(lab, "up", "Make the lab", make);
  up.command
      .add_option("-c,--config,FILE", up.options.words,
                  "The settings that it is made for; a booted router has those of an example when "
                  "not given")
      ->expected(1);
  up.command.add_flag("--json", up.options.json, kForPrograms);
  addLabCommand(lab, "down", "Take it away", takeAway);
  LabCommand shell =
      addLabCommand(lab, "shell", "A shell, or a command, on one of its hosts", runOnHost);
  shell.command.add_option("HOST", shell.options.words,
                           "router, lan or internet, and the command with its words");
  // What the tests do is their maker's; each of their labs is confined by itself.
  auto options = std::make_shared<TestOptions>();
  CLI::App &test =
      *lab.add_subcommand("test", "The library's commands with real tools and packets");
  test.add_option("NAME", options->names, "Only these tests");
  CLI::Option *list = test.add_flag("--list", options->list, "Name the tests, and run none");
  test.add_flag("--json", options->json, kForPrograms)->needs(list);
  test.add_flag(kMachine, options->machine, kBooted);
  test.callback([options] {
    if (options->machine) runBooted(options->words());
    runLabScript("test.sh", options->words());
  });
}

void runLabShell(int argc, char **argv) {
  if (argc < 4 || argv[1] != std::string("lab") || argv[2] != std::string("shell")) return;
  const bool machine = argv[3] == std::string(kMachine);
  char **words = argv + (machine ? 4 : 3);
  const bool names_host = words < argv + argc && words[0][0] != '-';
  if (names_host) runOnHost({{words, argv + argc}, machine});
}

}  // namespace orba::tool
