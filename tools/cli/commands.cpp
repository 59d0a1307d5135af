#include "tools/cli/commands.h"
#include <nlohmann/json.hpp>

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>

#include "tools/catalog/entry_point.h"
#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/device/this_machine.h"
#include "tools/firewall/picture.h"
#include "tools/lab/lab.h"
#include "tools/play/difference.h"
#include "tools/play/recording.h"
#include "tools/show/changes.h"
#include "tools/show/check.h"
#include "tools/show/report.h"
#include "tools/show/statistics.h"
#include "tools/show/week.h"
#include "tools/text/json.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// A new device's clock stands at the midnight that begins a Sunday.
void setClock(sim::Device &device, const std::string &at) {
  tm time = timeFrom(Parameter{"at"}, at);
  int minutes = (time.tm_wday * 24 + time.tm_hour) * 60 + time.tm_min;
  device.clock().set(device.clock().now() + time_t{60} * minutes);
}

std::vector<nvram::Entry> configOf(const Options &options) {
  std::string config = options.config;
  if (config.empty() && options.in_lab) config = labConfig();
  return config.empty() ? std::vector<nvram::Entry>() : readConfig(config);
}

// All but the settings.
void prepareDevice(sim::Device &device, const Options &options) {
  if (options.in_lab) enterLab("router");
  DeskDevice{options.root, options.device}.prepare(
      device, options.in_lab ? putThisMachine : setUpDeskDevice);
  if (!options.at.empty()) setClock(device, options.at);
}

void prepare(sim::Device &device, const Options &options) {
  putSettings(configOf(options), device);
  prepareDevice(device, options);
}

Call callOn(sim::Device &device, const Options &options) {
  const EntryPoint &entry = entryPointNamed(options.entry);
  entry.checkWords(options.words);
  prepare(device, options);
  Call call{entry, options.words, entry.call(options.words)};
  constexpr long long kTick = 100;  // of the WPS monitors, in milliseconds
  for (long long i = 0; i < options.ticks && device.clock().armed(); i++) device.advance(kTick);
  return call;
}

void writePicture(const std::string &path, const Recording &run, const Origins &origins,
                  const Difference *difference = nullptr) {
  std::ofstream file(path, std::ios::binary);
  file << firewallPicture(run, origins, difference) << std::flush;
  if (!file) throw BadArgument(path + ": " + strerror(errno));
}

// Not an entry point, but what one of them makes of the radio's week.
constexpr char kSchedule[] = "schedule";

Exit showSchedule(const Options &options) {
  if (!options.words.empty()) throw BadArgument("usage: schedule (0 arguments)");
  sim::Device device;
  prepare(device, options);
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

}  // namespace

Exit list(bool json) {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  std::string subsystem;
  for (const EntryPoint &entry : entryPoints()) {
    if (json) {
      all.push_back(
          {{"subsystem", entry.subsystem}, {"usage", entry.usage()}, {"line", entry.line}});
      continue;
    }
    if (subsystem != entry.subsystem) {
      std::cout << (subsystem.empty() ? "" : "\n") << entry.subsystem << "\n";
      subsystem = entry.subsystem;
    }
    std::cout << "  " << std::left << std::setw(44) << entry.usage() << " " << entry.line << "\n";
  }
  if (json) printJson(std::cout, all);
  return kDone;
}

Exit plan(const Options &options) {
  std::optional<Origins> origins;
  if (options.origins || !options.picture.empty()) {
    Prepare prepare = [&](sim::Device &device) { prepareDevice(device, options); };
    Recording run = record(configOf(options), options.entry, options.words, prepare);
    origins = originsOf(run, prepare);
    if (!options.picture.empty()) {
      writePicture(options.picture, run, *origins);
      return kDone;
    }
  }
  const Origins *shown = origins ? &*origins : nullptr;
  sim::Device device;
  Call call = callOn(device, options);
  if (options.json && options.tables) {
    printJson(std::cout, tablesAsJson(device));
  } else if (options.json) {
    printJson(std::cout, planAsJson(call, device, shown));
  } else if (options.raw) {
    printRaw(std::cout, device);
  } else if (options.tables) {
    printTables(std::cout, device);
  } else {
    printPlan(std::cout, call, device, shown);
  }
  return kDone;
}

Exit diff(const Options &options) {
  Prepare prepare = [&](sim::Device &device) { prepareDevice(device, options); };
  auto run = [&](const std::string &config) {
    return record(readConfig(config), options.entry, options.words, prepare);
  };
  Recording before = run(options.config), after = run(options.changed_config);
  Difference difference = differenceOf(before, after);
  if (!options.picture.empty()) {
    writePicture(options.picture, after, originsOf(after, prepare), &difference);
  } else if (options.json) {
    printJson(std::cout, differenceAsJson(difference));
  } else if (difference.none()) {
    std::cout << options.entry << ": no difference\n";
  } else {
    std::cout << "--- " << visible(options.config) << "\n+++ " << visible(options.changed_config)
              << "\n";
    printDifference(std::cout, difference, isatty(STDOUT_FILENO) != 0);
  }
  return difference.none() ? kDone : kFound;
}

Exit show(const Options &options) {
  if (options.entry == kSchedule) return showSchedule(options);
  sim::Device device;
  Call call = callOn(device, options);
  if (options.json) {
    nlohmann::ordered_json answer = {{"entry", call.entry.name},
                                     {"returned", call.result.returned},
                                     {"outputs", call.result.outputs},
                                     {"printed", device.printed()}};
    printJson(std::cout, answer);
    return kDone;
  }
  if (options.entry == kStatistics && !options.raw && !call.result.outputs[0].empty()) {
    printStatistics(std::cout, call.result.outputs[0]);
    return kDone;
  }
  std::string printed = device.printed();
  std::cout << forReader(printed) << (printed.empty() || printed.back() == '\n' ? "" : "\n");
  for (const std::string &output : call.result.outputs) std::cout << forReader(output) << "\n";
  bool answered = !call.result.outputs.empty() || !device.printed().empty();
  if (!answered && !call.result.returned.empty()) {
    std::cout << forReader(call.result.returned) << "\n";
  }
  std::cerr << forReader(device.errors(), STDERR_FILENO);
  if (call.result.returned != "-1") return kDone;
  std::cerr << "orba: " << options.entry << " returns -1\n";
  return kFound;
}

Exit check(const Options &options) {
  sim::Device device;
  putSettings(readConfig(options.config), device);
  std::vector<Finding> findings = checkSettings(device);
  std::string name = visible(options.config);
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Finding &finding : findings) {
    if (!options.json) std::cout << name << ": " << finding.line() << "\n";
    all.push_back({{"key", finding.key},
                   {"space", finding.space},
                   {"record", finding.record},
                   {"field", finding.field},
                   {"field_name", finding.fieldName()},
                   {"value", finding.value},
                   {"reason", finding.reason},
                   {"effect", finding.effect}});
  }
  if (options.json) printJson(std::cout, all);
  if (findings.empty() && !options.json) std::cout << name << ": nothing found\n";
  return findings.empty() ? kDone : kFound;
}

}  // namespace orba::tool
