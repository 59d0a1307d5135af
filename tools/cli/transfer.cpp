// The subcommands that bring settings from one form into another: import and export.
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/catalog/entry_point.h"
#include "tools/cli/subcommands.h"
#include "tools/device/settings_forms.h"
#include "tools/text/json.h"
#include "tools/text/lines.h"
#include "tools/text/output.h"

namespace orba::tool {

namespace {

constexpr char kInput[] = "-";

struct TransferOptions {
  std::string from;
  std::string to;
  int space = 0;  // 0: none named
  bool plain = false;
  bool replace = false;
  bool json = false;

  void addTo(CLI::App &command);
  int spaceOrFirst() const { return space != 0 ? space : nvram::kFirstSpace; }
};

void TransferOptions::addTo(CLI::App &command) {
  command.add_option("-s,--space", space, "The space, 1 to 9")
      ->check(CLI::Range(nvram::kFirstSpace, nvram::kLastSpace));
  command.add_flag("--json", json, kForPrograms);
}

std::map<int, size_t> countsOf(const std::vector<nvram::Setting> &settings) {
  std::map<int, size_t> counts;
  for (const nvram::Setting &setting : settings) counts[setting.space]++;
  return counts;
}

std::string inWords(int space, size_t count) {
  return "space " + std::to_string(space) + ": " + std::to_string(count) +
         (count == 1 ? " setting" : " settings");
}

// Names what is left out, and says by the exit code whether anything is.
Exit tell(const std::vector<LeftOut> &left_out) {
  for (const LeftOut &each : left_out)
    std::cerr << "orba: " << forReader(each.text(), STDERR_FILENO) << "\n";
  return left_out.empty() ? kDone : kFound;
}

nlohmann::ordered_json asJson(const Understood &found) {
  nlohmann::ordered_json spaces = nlohmann::ordered_json::object(),
                         left_out = nlohmann::ordered_json::array();
  for (const nvram::Setting &setting : found.settings)
    spaces[std::to_string(setting.space)][setting.key] = setting.value;
  for (const LeftOut &each : found.not_understood) {
    left_out.push_back({{"where", each.where}, {"key", each.key}, {"why", each.why}});
  }
  return {{"spaces", spaces}, {"left_out", left_out}};
}

Understood readAnyForm(const TransferOptions &options) {
  if (isStoreFolder(options.from)) return storeSettings(options.from);
  const std::string text = configText(options.from);
  Understood found = options.plain ? plainSettings(text, options.from, options.spaceOrFirst())
                                   : understood(text, options.from, options.spaceOrFirst());
  if (found.settings.empty()) {
    throw BadConfig(
        nameOf(options.from) + ": holds no settings" +
        (found.not_understood.empty() ? "" : "\n" + found.not_understood.front().text()));
  }
  return found;
}

// ---- import ----

Exit import(const TransferOptions &options) {
  Understood found = readAnyForm(options);
  const bool into_store = !options.to.empty();
  if (into_store) {
    const std::vector<int> there = spacesThere(options.to, found.settings);
    if (!there.empty() && !options.replace) {
      throw BadArgument(options.to + ": has a space " + std::to_string(there.front()) +
                        " already; --replace puts these settings in its place");
    }
    putIntoStore(options.to, found.settings);
  }
  if (options.json) {
    printJson(std::cout, asJson(found));
  } else if (into_store) {
    for (const auto &[space, count] : countsOf(found.settings))
      std::cout << inWords(space, count) << "\n";
  } else {
    std::cout << forReader(printConfig(found.settings));
  }
  return tell(found.not_understood);
}

// ---- export ----

// What becomes of the settings; those that cannot are added to what is left out.
std::string exported(const TransferOptions &options, Understood &found) {
  if (options.space != 0) {
    std::erase_if(found.settings,
                  [&](const nvram::Setting &setting) { return setting.space != options.space; });
  }
  return options.plain ? printPlain(found.settings, options.spaceOrFirst(), &found.not_understood)
                       : printConfig(found.settings);
}

Exit exportSettings(const TransferOptions &options) {
  TransferOptions source = options;
  source.plain = false;  // it says what is written, not what is read
  source.space = 0;
  Understood found = readAnyForm(source);
  const std::map<int, size_t> counts = countsOf(found.settings);
  if (options.space != 0 && counts.count(options.space) == 0) {
    throw BadConfig(options.from + ": has no space " + std::to_string(options.space));
  }
  const std::string text = exported(options, found);
  if (!options.to.empty()) {
    writeWhole(options.to, text);
  } else if (!options.json) {
    std::cout << forReader(text);
  }
  if (options.json) printJson(std::cout, asJson(found));
  Exit exit = tell(found.not_understood);
  // Plain lines are of one space, which is no reason to be silent about the others.
  for (const auto &[space, count] : counts) {
    if (!options.plain || options.space != 0 || space == nvram::kFirstSpace) continue;
    std::cerr << "orba: left out is " << inWords(space, count) << "; --space " << space
              << " exports it\n";
    exit = kFound;
  }
  return exit;
}

}  // namespace

void addImport(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<TransferOptions>();
  CLI::App &command = *app.add_subcommand(
      "import", "Settings from a configuration or a device's plain lines, into a settings store");
  command.add_option("FILE", options->from, "The settings; '-' is standard input")->required();
  command.add_option("FOLDER", options->to, "The store; without one, print a configuration");
  command.add_flag("--plain", options->plain,
                   "The file is what a device printed of one space, each byte as it is");
  command.add_flag("--replace", options->replace,
                   "In place of the settings that the store has in these spaces");
  options->addTo(command);
  command.callback([options, &exit] { exit = import(*options); });
}

void addExport(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<TransferOptions>();
  CLI::App &command = *app.add_subcommand(
      "export", "Settings from a settings store or a configuration, as one configuration");
  command.add_option("FROM", options->from, "The store's folder, or a configuration")->required();
  command.add_option("FILE", options->to, "Written, where it is not printed");
  command.add_flag("--plain", options->plain, "As a device prints one space, each byte as it is");
  options->addTo(command);
  command.callback([options, &exit] { exit = exportSettings(*options); });
}

}  // namespace orba::tool
