// The subcommand that tries a change on every configuration that there is.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "tools/cli/device_options.h"
#include "tools/cli/subcommands.h"
#include "tools/rehearse/calls.h"
#include "tools/rehearse/rehearsal.h"
#include "tools/rehearse/report.h"
#include "tools/text/json.h"

namespace orba::tool {

namespace {

constexpr char kThis[] = "this", kMerge[] = "merge";

struct RehearseOptions {
  std::vector<std::string> words;  // BEFORE AFTER CONFIGURATION...
  Rehearsal rehearsal = {.own_version = ORBA_VERSION,
                         .folder = "rehearsal",
                         .jobs = std::max(1u, std::thread::hardware_concurrency())};
  std::string shard;
  bool json = false;
};

std::string programOf(const std::string &word) {
  if (word == kThis) return "";
  if (access(word.c_str(), X_OK) != 0) {
    throw BadArgument(word + ": is no program; 'this' stands for the one that runs");
  }
  return word;
}

// "2/8"
void readShard(const std::string &text, Rehearsal &rehearsal) {
  if (text.empty()) return;
  int end = 0;
  const bool read =
      sscanf(text.c_str(), "%zu/%zu%n", &rehearsal.shard, &rehearsal.shards, &end) == 2 &&
      static_cast<size_t>(end) == text.size() && rehearsal.shard >= 1 &&
      rehearsal.shard <= rehearsal.shards;
  if (!read) throw BadArgument("--shard: I/N is wanted, I from 1 to N");
}

Exit rehearse(RehearseOptions &options) {
  std::vector<std::string> words = options.words;
  const bool merges = !words.empty() && words[0] == kMerge;
  if (merges) words.erase(words.begin());
  if (words.size() < 3) {
    throw BadArgument(merges ? "rehearse merge: BEFORE, AFTER and SHARD are wanted"
                             : "rehearse: BEFORE, AFTER and CONFIGURATION are wanted");
  }
  Rehearsal &rehearsal = options.rehearsal;
  rehearsal.sides.before = programOf(words[0]);
  rehearsal.sides.after = programOf(words[1]);
  words.erase(words.begin(), words.begin() + 2);
  for (std::string &entry : rehearsal.sides.entries) entry = entryCall(entry).text;
  readShard(options.shard, rehearsal);
  rehearsal.progress = isatty(STDERR_FILENO) != 0;
  const Prepare prepare = [](sim::Device &device) { DeviceOptions().prepare(device); };
  nlohmann::ordered_json report;
  if (merges) {
    report = mergeShards(words, rehearsal, prepare);
  } else {
    rehearsal.configurations = words;
    report = orba::tool::rehearse(rehearsal, prepare);
  }
  if (report.is_null()) return kDone;  // of a shard
  if (options.json) {
    printJson(std::cout, report);
  } else {
    std::cout << reportText(report);
  }
  const bool nothing_read = report["configurations"] == 0 && report["not_read"] != 0;
  return nothing_read ? kConfig : report["groups"].empty() ? kDone : kFound;
}

}  // namespace

void addRehearse(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<RehearseOptions>();
  CLI::App &command = *app.add_subcommand(
      "rehearse", "What a change does to every configuration that there is, in groups");
  command
      .add_option(
          "BEFORE", options->words,
          "A program of the old version, or 'this'; AFTER likewise; then configurations:"
          " files, folders, archives (.tar, .tar.gz, .tgz, .tar.zst), '-' for a list of them."
          " 'merge' BEFORE AFTER SHARD...: the report of shards")
      ->required()
      ->type_name("AFTER CONFIGURATION...");
  Rehearsal &rehearsal = options->rehearsal;
  const auto addEdit = [&](const char *name, SettingEdit::Kind kind, const char *form,
                           const char *help) {
    command
        .add_option_function<std::vector<std::string>>(
            name,
            [options, kind](const std::vector<std::string> &texts) {
              for (const std::string &text : texts) {
                options->rehearsal.sides.edits.push_back(settingEdit(kind, text));
              }
            },
            help)
        ->type_name(form)
        ->expected(1)
        ->take_all();
  };
  addEdit("--set", SettingEdit::kSet, "KEY=VALUE", "AFTER has this setting");
  addEdit("--default", SettingEdit::kDefault, "KEY=VALUE", "The same where it has no such setting");
  addEdit("--unset", SettingEdit::kUnset, "KEY", "AFTER lacks this setting");
  addEdit("--replace-record", SettingEdit::kReplaceRecord, "KEY:OLD=NEW",
          "AFTER has this record of a list in place of that one");
  command
      .add_option("--entry", rehearsal.sides.entries,
                  "Only this entry point, or these, with their words: 'getIfIp br0';"
                  " else all that need none")
      ->expected(1)
      ->take_all();
  command.add_flag("--traffic", rehearsal.sides.traffic, "What becomes of packets too");
  command.add_option("-o,--out", rehearsal.folder, "The report's folder, in which it also goes on")
      ->capture_default_str();
  command.add_option("--jobs", rehearsal.jobs, "Processes beside each other")
      ->check(CLI::Range(1, 1024));
  command.add_option("--shard", options->shard, "I/N: only the configurations of this part");
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, &exit] { exit = rehearse(*options); });
}

}  // namespace orba::tool
