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

// A subcommand of `lab`, and the words that it is to be given.
struct LabCommand {
  CLI::App &command;
  Words &words;
};

struct UpOptions {
  std::string config;
  bool json = false;
};

struct TestOptions {
  Words names;
  bool list = false;
  bool json = false;

  Words words() const {
    Words words;
    if (list) words.emplace_back("--list");
    if (json) words.emplace_back("--json");
    words.insert(words.end(), names.begin(), names.end());
    return words;
  }
};

LabCommand addLabCommand(CLI::App &lab, const char *name, const char *line,
                         void (*run)(const Words &)) {
  auto words = std::make_shared<Words>();
  CLI::App &command = *lab.add_subcommand(name, line);
  command.callback([words, run] { run(*words); });
  return {command, *words};
}

void runConfined(const char *script, const Words &words) {
  confine();
  runLabScript(script, words);
}

void makeConfined(const std::string &path, bool json) {
  const std::vector<nvram::Setting> config = readConfig(path);
  confine();
  makeLab(config, json);
}

void runConfinedInLab(const Words &words) {
  confine();
  runInLab(words);
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
  command.add_flag("--on-this-machine", options->on_this_machine,
                   "Change this machine, not the lab; without --config by its own settings");
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, &exit] {
    if (!options->on_this_machine) confine();
    exit = apply(*options) ? kDone : kFound;
  });
}

void addLab(CLI::App &app, Exit &) {
  CLI::App &lab =
      *app.add_subcommand("lab", "A router and two hosts on one machine, in network namespaces");
  lab.require_subcommand(1);
  auto made = std::make_shared<UpOptions>();
  CLI::App &up = *lab.add_subcommand("up", "Make the lab");
  up.add_option("-c,--config,FILE", made->config, "The settings that it is made for")->required();
  up.add_flag("--json", made->json, kForPrograms);
  up.callback([made] { makeConfined(made->config, made->json); });
  addLabCommand(lab, "down", "Take it away",
                [](const Words &words) { runConfined("down.sh", words); });
  LabCommand shell =
      addLabCommand(lab, "shell", "A shell, or a command, on one of its hosts", runConfinedInLab);
  shell.command.add_option("HOST", shell.words,
                           "router, lan or internet, and the command with its words");
  // What the tests do is their maker's; each of their labs is confined by itself.
  auto options = std::make_shared<TestOptions>();
  CLI::App &test =
      *lab.add_subcommand("test", "The library's commands with real tools and packets");
  test.add_option("NAME", options->names, "Only these tests");
  CLI::Option *list = test.add_flag("--list", options->list, "Name the tests, and run none");
  test.add_flag("--json", options->json, kForPrograms)->needs(list);
  test.callback([options] { runLabScript("test.sh", options->words()); });
}

void runLabShell(int argc, char **argv) {
  bool is_shell = argc > 3 && argv[1] == std::string("lab") && argv[2] == std::string("shell") &&
                  argv[3][0] != '-';
  if (is_shell) runConfinedInLab({argv + 3, argv + argc});
}

}  // namespace orba::tool
