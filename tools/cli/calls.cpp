// The subcommands that call entry points on the simulated device: plan, show and diff.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "tools/cli/device_options.h"
#include "tools/cli/subcommands.h"
#include "tools/device/config.h"
#include "tools/firewall/picture.h"
#include "tools/firewall/rule_words.h"
#include "tools/lab/lab.h"
#include "tools/play/difference.h"
#include "tools/play/effects.h"
#include "tools/play/origin.h"
#include "tools/play/recording.h"
#include "tools/rehearse/batch.h"
#include "tools/show/changes.h"
#include "tools/show/report.h"
#include "tools/show/statistics.h"
#include "tools/show/week.h"
#include "tools/text/json.h"
#include "tools/text/lines.h"
#include "tools/text/output.h"
#include "tools/traffic/change.h"
#include "tools/traffic/desk_router.h"
#include "tools/traffic/meanwhile.h"

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
  // Throws BadArgument.
  void checkWords() const;
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

void CallOptions::checkWords() const try {
  entryPointNamed(entry).checkWords(words);
} catch (const BadArgument &error) {
  // Where another subcommand takes a file, these take words.
  auto isFile = [](const std::string &word) { return access(word.c_str(), F_OK) == 0; };
  for (const std::string &word : words) {
    if (isFile(word)) throw BadArgument(error.what() + ("; settings are given as: -c " + word));
  }
  if (isFile(entry)) throw BadArgument(error.what() + ("; settings are given as: -c " + entry));
  throw;
}

Recording CallOptions::run(long long ticks) const {
  checkWords();
  return record(
      settings(), entry, words, [this](sim::Device &made) { prepare(made); }, ticks);
}

void writePicture(const std::string &path, const Recording &run, const Origins &origins,
                  const Difference *difference = nullptr) {
  writeWhole(path, firewallPicture(run, origins, difference));
}

// ---- plan ----

constexpr long long kMostTicks = 864'000;  // a day

struct PlanOptions : CallOptions {
  bool json = false;
  bool raw = false;
  long long ticks = 0;
  bool tables = false;
  bool in_words = false;
  bool origins = false;
  bool batch = false;
  size_t jobs = 1;
  std::string picture;
};

Exit plan(const PlanOptions &options) {
  options.confineToLab();
  if (options.batch) {
    answerBatch([&](sim::Device &device) { options.prepare(device); }, options.jobs);
    return kDone;
  }
  Recording run = options.run(options.ticks);
  std::optional<Origins> origins;
  if (options.origins || !options.picture.empty()) {
    origins = originsOf(run, [&](sim::Device &device) { options.prepare(device); });
  }
  const Origins *shown = origins ? &*origins : nullptr;
  const RuleWords words = options.in_words ? ruleInWords : nullptr;
  if (!options.picture.empty()) {
    writePicture(options.picture, run, *origins);
  } else if (options.json && options.tables) {
    printJson(std::cout, tablesAsJson(run, words));
  } else if (options.json) {
    printJson(std::cout, planAsJson(run, shown));
  } else if (options.raw) {
    printRaw(std::cout, run);
  } else if (options.tables) {
    printTables(std::cout, run, words);
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
    nlohmann::ordered_json all = week.asJson();
    all["differs_after_start"] = week.startsAsJson();
    if (!options.at.empty()) all["at"] = week.atAsJson(minuteOfWeek(options.at));
    printJson(std::cout, all);
    return kDone;
  }
  week.print(std::cout);
  if (!options.at.empty()) week.printAt(std::cout, minuteOfWeek(options.at));
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

constexpr char kFirewall[] = "firewall_init";

struct DiffOptions : DeviceOptions {
  std::string before;
  std::string after;
  std::string entry;  // empty: every one that reads what differs
  std::vector<std::string> words;
  std::string picture;
  bool json = false;
  bool meanwhile = false;

  std::string entryOrFirewall() const { return entry.empty() ? kFirewall : entry; }
};

// The entry point runs with the new settings on the router that the old ones have made.
Exit diffMeanwhile(const DiffOptions &options) {
  const Prepare prepare = [&](sim::Device &device) { options.prepare(device); };
  const DeskRouter before = deskRouter(readConfig(options.before), prepare);
  const Recording rebuild =
      record(readConfig(options.after), options.entryOrFirewall(), options.words, prepare);
  const Meanwhile meanwhile = [&] {
    ProgressLine progress("states");
    return meanwhileOf(before, rebuild, [&](size_t done, size_t all) { progress.show(done, all); });
  }();
  if (options.json) {
    printJson(std::cout, meanwhileAsJson(meanwhile, before));
  } else {
    printMeanwhile(std::cout, meanwhile, before, isatty(STDOUT_FILENO) != 0);
  }
  return meanwhile.windows.empty() ? kDone : kFound;
}

Exit diffPicture(const DiffOptions &options) {
  const Prepare prepare = [&](sim::Device &device) { options.prepare(device); };
  const auto run = [&](const std::string &path) {
    return record(readConfig(path), options.entryOrFirewall(), options.words, prepare);
  };
  const Recording before = run(options.before), after = run(options.after);
  const Difference difference = differenceOf(before, after);
  writePicture(options.picture, after, originsOf(after, prepare), &difference);
  return difference.none() ? kDone : kFound;
}

// What other settings make otherwise.
struct Changes {
  std::vector<ChangedSetting> settings;
  std::vector<Effect> effects;  // of the entry point that was asked for, or of every one
  std::optional<DeskRouter> router;
  std::optional<TrafficChanges> traffic;

  bool none() const { return settings.empty() && effects.empty() && (!traffic || traffic->none()); }
};

Changes changesOf(const DiffOptions &options) {
  const Prepare prepare = [&](sim::Device &device) { options.prepare(device); };
  const auto before = readConfig(options.before), after = readConfig(options.after);
  Changes changes;
  changes.settings = changedSettings(before, after);
  if (options.entry.empty()) {
    changes.effects = effectsOf(changes.settings, before, after, prepare);
  } else {
    Difference difference = differenceOf(record(before, options.entry, options.words, prepare),
                                         record(after, options.entry, options.words, prepare));
    if (!difference.none()) {
      changes.effects.push_back({options.entry, options.words, std::move(difference)});
    }
  }
  // Packets meet what the router's start has made.
  if (options.entry.empty() || (isOfStart(options.entry) && options.words.empty())) {
    changes.router = deskRouter(after, prepare);
    changes.traffic = trafficChanges(deskRouter(before, prepare), *changes.router, prepare);
  }
  return changes;
}

Exit diff(const DiffOptions &options) {
  options.confineToLab();
  if (options.meanwhile) return diffMeanwhile(options);
  if (!options.picture.empty()) return diffPicture(options);
  const Changes changes = changesOf(options);
  const bool coloured = isatty(STDOUT_FILENO) != 0;
  if (options.json) {
    nlohmann::ordered_json json = {{"settings", changedSettingsAsJson(changes.settings)},
                                   {"effects", effectsAsJson(changes.effects)}};
    if (changes.traffic) {
      json["traffic"] = trafficChangesAsJson(*changes.traffic, *changes.router);
    }
    printJson(std::cout, json);
  } else if (changes.none()) {
    std::cout << (options.entry.empty() ? "" : options.entry + ": ") << "no difference\n";
  } else {
    std::cout << "--- " << visible(nameOf(options.before)) << "\n+++ "
              << visible(nameOf(options.after)) << "\n\n";
    printChangedSettings(std::cout, changes.settings, coloured);
    printEffects(std::cout, changes.effects, coloured);
    if (changes.effects.empty()) {
      std::cout << "\n"
                << (options.entry.empty() ? "every entry point" : options.entry)
                << ": no difference\n";
    }
    if (changes.traffic) {
      std::cout << "\n";
      printTrafficChanges(std::cout, *changes.traffic, *changes.router, coloured);
    }
  }
  return changes.none() ? kDone : kFound;
}

}  // namespace

void addPlan(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<PlanOptions>();
  CLI::App &command = *app.add_subcommand(
      "plan", "Call an entry point on the simulated device and show what it would do");
  options->addTo(command, "ENTRY");
  CLI::Option *json = command.add_flag("--json", options->json, kForPrograms);
  CLI::Option *raw =
      command.add_flag("--raw", options->raw, "Only the exact lines given to the shell");
  CLI::Option *ticks = command.add_option(
      "--ticks", options->ticks, "Let so many tenths of a second pass and run the timer's handler");
  ticks->check(CLI::Range(0LL, kMostTicks));
  CLI::Option *tables =
      command.add_flag("--tables", options->tables, "The resulting chains, as packets meet them");
  command
      .add_flag("--words", options->in_words,
                "With --tables: below each rule what it does, in words")
      ->needs(tables);
  CLI::Option *origins = command.add_flag("--origins", options->origins,
                                          "Below each command the settings it comes from");
  CLI::Option *picture = command.add_option("--picture", options->picture,
                                            "Write the resulting chains to this file, as SVG");
  CLI::Option *batch = command.add_flag_callback(
      "--batch",
      [options, &command] {
        options->batch = true;
        command.get_option("ENTRY")->required(false);
      },
      "Answer requests, a line of JSON each, from standard input");
  batch->trigger_on_parse();
  command.add_option("--jobs", options->jobs, "Processes that answer them beside each other")
      ->check(CLI::Range(1, 1024))
      ->needs(batch);
  for (CLI::Option *other : {json, raw, ticks, tables, origins, picture}) batch->excludes(other);
  batch->excludes("ENTRY")->excludes("--config");
  raw->excludes(json)->excludes(tables)->excludes(origins)->excludes(picture);
  picture->excludes(json)->excludes(tables)->excludes(ticks);
  origins->excludes(tables)->excludes(ticks);
  command.callback([options, &exit] { exit = plan(*options); });
}

void addShow(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<ShowOptions>();
  CLI::App &command =
      *app.add_subcommand("show", "What a getter answers; 'show schedule': the radio's week");
  options->addTo(command, "GETTER");
  CLI::Option *json = command.add_flag("--json", options->json, kForPrograms);
  command.add_flag("--raw", options->raw, "The answer as the getter writes it")->excludes(json);
  command.callback([options, &exit] { exit = show(*options); });
}

void addDiff(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<DiffOptions>();
  CLI::App &command = *app.add_subcommand(
      "diff",
      "Which settings differ, and what that changes in commands, chains, answers and traffic");
  command.add_option("BEFORE", options->before, "The settings: KEY=VALUE lines, [1] and [2]")
      ->required();
  command.add_option("AFTER", options->after, "The changed settings")->required();
  command.add_option("ENTRY", options->entry,
                     "Only this entry point; otherwise every one that reads what differs");
  command.add_option("ARG", options->words, "Its arguments");
  auto *picture = command.add_option("--picture", options->picture,
                                     "Write the chains with what changes to this file, as SVG");
  command
      .add_flag("--meanwhile", options->meanwhile,
                "What gets through while the commands run, and neither before nor afterwards")
      ->excludes(picture);
  options->addTo(command);
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, &exit] { exit = diff(*options); });
}

}  // namespace orba::tool
