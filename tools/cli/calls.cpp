// The subcommands that call entry points on the simulated device: plan, show and diff.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/cli/device_options.h"
#include "tools/cli/subcommands.h"
#include "tools/device/config.h"
#include "tools/firewall/picture.h"
#include "tools/lab/lab.h"
#include "tools/play/difference.h"
#include "tools/play/origin.h"
#include "tools/play/recording.h"
#include "tools/show/changes.h"
#include "tools/show/report.h"
#include "tools/show/statistics.h"
#include "tools/show/week.h"
#include "tools/text/json.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// ---- what they have in common ----

// Which entry point is called, with what settings.
struct CallOptions : DeviceOptions {
  std::string entry;
  std::vector<std::string> words;
  std::string config;  // empty: none, or the lab's

  void addTo(CLI::App &command, const char *entry_name);
  std::vector<nvram::Setting> settings() const;
  // Throws BadArgument for the words before any file is read.
  Recording run(long long ticks = 0) const;
};

void CallOptions::addTo(CLI::App &command, const char *entry_name) {
  command.add_option(entry_name, entry, "The entry point; 'orba list' shows them")->required();
  command.add_option("ARG", words, "Its arguments");
  command.add_option("-c,--config", config, "The settings: KEY=VALUE lines, [1] and [2]");
  DeviceOptions::addTo(command);
}

std::vector<nvram::Setting> CallOptions::settings() const {
  std::string path = config.empty() && in_lab ? labConfig() : config;
  return path.empty() ? std::vector<nvram::Setting>() : readConfig(path);
}

Recording CallOptions::run(long long ticks) const {
  entryPointNamed(entry).checkWords(words);
  return record(
      settings(), entry, words, [this](sim::Device &made) { prepare(made); }, ticks);
}

void writePicture(const std::string &path, const Recording &run, const Origins &origins,
                  const Difference *difference = nullptr) {
  std::ofstream file(path, std::ios::binary);
  file << firewallPicture(run, origins, difference) << std::flush;
  if (!file) throw BadArgument(path + ": " + strerror(errno));
}

// ---- plan ----

struct PlanOptions : CallOptions {
  bool json = false;
  bool raw = false;
  long long ticks = 0;
  bool tables = false;
  bool origins = false;
  std::string picture;
};

Exit plan(const PlanOptions &options) {
  options.confineToLab();
  Recording run = options.run(options.ticks);
  std::optional<Origins> origins;
  if (options.origins || !options.picture.empty()) {
    origins = originsOf(run, [&](sim::Device &device) { options.prepare(device); });
  }
  const Origins *shown = origins ? &*origins : nullptr;
  if (!options.picture.empty()) {
    writePicture(options.picture, run, *origins);
  } else if (options.json && options.tables) {
    printJson(std::cout, tablesAsJson(run));
  } else if (options.json) {
    printJson(std::cout, planAsJson(run, shown));
  } else if (options.raw) {
    printRaw(std::cout, run);
  } else if (options.tables) {
    printTables(std::cout, run);
  } else {
    printPlan(std::cout, run, shown);
  }
  return kDone;
}

// ---- show ----

struct ShowOptions : CallOptions {
  bool json = false;
  bool raw = false;
};

// Not an entry point, but what one of them makes of the radio's week.
constexpr char kSchedule[] = "schedule";

Exit showSchedule(const ShowOptions &options) {
  if (!options.words.empty()) throw BadArgument("usage: schedule (0 arguments)");
  sim::Device device;
  putSettings(options.settings(), device);
  options.prepare(device);
  Week week = plannedWeek(device);
  if (options.json) {
    printJson(std::cout, week.asJson());
  } else {
    week.print(std::cout);
  }
  return kDone;
}

// These answers are made for programs; people get them as a table.
constexpr char kStatistics[] = "getCurrentPacketStatistic";

Exit showAnswer(const ShowOptions &options) {
  Recording run = options.run();
  const auto &[returned, outputs] = run.result;
  if (options.json) {
    printJson(std::cout, {{"entry", run.entry},
                          {"returned", returned},
                          {"outputs", outputs},
                          {"printed", run.printed}});
    return kDone;
  }
  if (run.entry == kStatistics && !options.raw && !outputs[0].empty()) {
    printStatistics(std::cout, outputs[0]);
    return kDone;
  }
  std::cout << forReader(run.printed)
            << (run.printed.empty() || run.printed.back() == '\n' ? "" : "\n");
  for (const std::string &output : outputs) std::cout << forReader(output) << "\n";
  bool answered = !outputs.empty() || !run.printed.empty();
  if (!answered && !returned.empty()) std::cout << forReader(returned) << "\n";
  std::cerr << forReader(run.errors, STDERR_FILENO);
  if (returned != "-1") return kDone;
  std::cerr << "orba: " << run.entry << " returns -1\n";
  return kFound;
}

Exit show(const ShowOptions &options) {
  options.confineToLab();
  return options.entry == kSchedule ? showSchedule(options) : showAnswer(options);
}

// ---- diff ----

struct DiffOptions : DeviceOptions {
  std::string before;
  std::string after;
  std::string entry = "firewall_init";
  std::vector<std::string> words;
  std::string picture;
  bool json = false;
};

Exit diff(const DiffOptions &options) {
  options.confineToLab();
  Prepare prepare = [&](sim::Device &device) { options.prepare(device); };
  auto run = [&](const std::string &config) {
    return record(readConfig(config), options.entry, options.words, prepare);
  };
  Recording before = run(options.before), after = run(options.after);
  Difference difference = differenceOf(before, after);
  if (!options.picture.empty()) {
    writePicture(options.picture, after, originsOf(after, prepare), &difference);
  } else if (options.json) {
    printJson(std::cout, differenceAsJson(difference));
  } else if (difference.none()) {
    std::cout << options.entry << ": no difference\n";
  } else {
    std::cout << "--- " << visible(options.before) << "\n+++ " << visible(options.after) << "\n";
    printDifference(std::cout, difference, isatty(STDOUT_FILENO) != 0);
  }
  return difference.none() ? kDone : kFound;
}

}  // namespace

void addPlan(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<PlanOptions>();
  CLI::App &command = *app.add_subcommand(
      "plan", "Call an entry point on the simulated device and show what it would do");
  options->addTo(command, "ENTRY");
  command.add_flag("--json", options->json, kForPrograms);
  command.add_flag("--raw", options->raw, "Only the exact lines given to the shell");
  command.add_option("--ticks", options->ticks,
                     "Let so many tenths of a second pass and run the timer's handler");
  command.add_flag("--tables", options->tables, "The resulting chains, as packets meet them");
  command.add_flag("--origins", options->origins, "Below each command the settings it comes from")
      ->excludes("--ticks");
  command
      .add_option("--picture", options->picture, "Write the resulting chains to this file, as SVG")
      ->excludes("--ticks");
  command.callback([options, &exit] { exit = plan(*options); });
}

void addShow(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<ShowOptions>();
  CLI::App &command =
      *app.add_subcommand("show", "What a getter answers; 'show schedule': the radio's week");
  options->addTo(command, "GETTER");
  command.add_flag("--json", options->json, kForPrograms);
  command.add_flag("--raw", options->raw, "The answer as the getter writes it");
  command.callback([options, &exit] { exit = show(*options); });
}

void addDiff(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<DiffOptions>();
  CLI::App &command = *app.add_subcommand(
      "diff", "What changes in an entry point's commands and chains with the settings");
  command.add_option("BEFORE", options->before, "The settings: KEY=VALUE lines, [1] and [2]")
      ->required();
  command.add_option("AFTER", options->after, "The changed settings")->required();
  command.add_option("ENTRY", options->entry, "The entry point")->capture_default_str();
  command.add_option("ARG", options->words, "Its arguments");
  command.add_option("--picture", options->picture,
                     "Write the chains with what changes to this file, as SVG");
  options->addTo(command);
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, &exit] { exit = diff(*options); });
}

}  // namespace orba::tool
