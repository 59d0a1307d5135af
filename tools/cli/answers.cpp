// The subcommands that need no device: list, explain, check and psk.
#include <bsd/readpassphrase.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "tools/catalog/entry_point.h"
#include "tools/cli/device_options.h"
#include "tools/cli/subcommands.h"
#include "tools/device/config.h"
#include "tools/show/check.h"
#include "tools/show/doubts.h"
#include "tools/show/explain.h"
#include "tools/text/json.h"
#include "tools/text/lines.h"
#include "tools/traffic/inquiry.h"
#include "tools/traffic/reach.h"

namespace orba::tool {

namespace {

struct ListOptions {
  bool json = false;
};

Exit list(const ListOptions &options) {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  std::string subsystem;
  for (const EntryPoint &entry : entryPoints()) {
    if (options.json) {
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
  if (options.json) printJson(std::cout, all);
  return kDone;
}

struct ExplainOptions {
  std::string name;  // empty: every setting
  bool json = false;
};

struct CheckOptions : DeviceOptions {
  std::string config;
  bool json = false;
};

// What the settings show, and what packets show of records that nothing was said of.
std::vector<Finding> findingsIn(const std::vector<nvram::Setting> &config, const Prepare &prepare) {
  sim::Device device;
  putSettings(config, device);
  prepare(device);
  std::vector<Finding> findings = misspeltSettings(config);
  for (Finding &finding : checkSettings(device)) findings.push_back(std::move(finding));
  std::set<std::pair<std::string, int>> told;
  for (const Finding &finding : findings) told.insert({finding.key, finding.record});
  Inquiry asked(config, prepare);
  for (Finding &finding : checkTraffic(asked.ways, asked.blame)) {
    if (!told.contains({finding.key, finding.record})) findings.push_back(std::move(finding));
  }
  return findings;
}

// Records and fields are numbered from 1; what is about more than one has no number.
nlohmann::ordered_json asJson(const Finding &finding) {
  nlohmann::ordered_json json = {{"key", finding.key}, {"space", finding.space}};
  if (finding.record != 0) json["record"] = finding.record;
  if (finding.field != 0) {
    json["field"] = finding.field;
    json["field_name"] = finding.fieldName();
  }
  json["value"] = finding.value;
  json["reason"] = finding.reason;
  json["effect"] = finding.effect;
  if (!finding.witness.empty()) {
    json["blocker"] = finding.blocker;
    json["witness"] = finding.witness;
  }
  return json;
}

Exit check(const CheckOptions &options) {
  options.confineToLab();
  const std::string name = nameOf(options.config);
  const std::vector<nvram::Setting> config = readConfig(options.config);
  if (config.empty()) throw BadConfig(name + ": holds no settings");
  const std::vector<Finding> findings =
      findingsIn(config, [&](sim::Device &device) { options.prepare(device); });
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Finding &finding : findings) {
    if (!options.json) std::cout << visible(name) << ": " << finding.line() << "\n";
    all.push_back(asJson(finding));
  }
  if (options.json) printJson(std::cout, all);
  if (findings.empty() && !options.json) std::cout << visible(name) << ": nothing found\n";
  return findings.empty() ? kDone : kFound;
}

struct PskOptions {
  std::string ssid;
  bool json = false;
};

// Reads a line from standard input, or unseen from the terminal when it is one.
std::string readSecret(const char *prompt) {
  std::string secret(1024, '\0');
  if (isatty(STDIN_FILENO) == 0) {
    std::getline(std::cin, secret);
  } else if (readpassphrase(prompt, secret.data(), secret.size(), RPP_ECHO_OFF) != nullptr) {
    secret.resize(strlen(secret.c_str()));
  } else {
    secret.clear();
  }
  return secret;
}

Exit psk(const PskOptions &options) {
  std::string passphrase = readSecret("Pass phrase: ");
  // IEEE 802.11i: 8 to 63 characters; the derivation itself takes shorter ones.
  if (passphrase.size() < 8 || passphrase.size() > 63) {
    throw BadArgument("a pass phrase has 8 to 63 characters, not " +
                      std::to_string(passphrase.size()));
  }
  const std::string key = entryPointNamed("PasswordHash").call({passphrase, options.ssid}).returned;
  if (options.json) {
    printJson(std::cout, {{"ssid", options.ssid}, {"key", key}});
  } else {
    std::cout << key << "\n";
  }
  explicit_bzero(passphrase.data(), passphrase.size());
  return kDone;
}

}  // namespace

void addList(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<ListOptions>();
  CLI::App &command = *app.add_subcommand("list", "Every entry point, by subsystem");
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, &exit] { exit = list(*options); });
}

void addExplain(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<ExplainOptions>();
  CLI::App &command = *app.add_subcommand(
      "explain", "What a setting or an entry point does; without a name, every setting");
  command.add_option("NAME", options->name, "Such as DMZEnable or iptablesDMZRun");
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, &exit] {
    explain(std::cout, options->name, options->json);
    exit = kDone;
  });
}

void addCheck(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<CheckOptions>();
  CLI::App &command = *app.add_subcommand(
      "check",
      "Records that are passed over, cut or reached by no packet, values out of form, misspelt names, open ports");
  command.add_option("-c,--config,FILE", options->config, "The settings")->required();
  options->addTo(command);
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, &exit] { exit = check(*options); });
}

void addPsk(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<PskOptions>();
  CLI::App &command =
      *app.add_subcommand("psk", "The WPA key of a network, from a pass phrase on standard input");
  command.add_option("SSID", options->ssid, "The network's name")->required();
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, &exit] { exit = psk(*options); });
}

}  // namespace orba::tool
