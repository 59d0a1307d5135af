// The subcommands about all packets: ports and expect.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/cli/device_options.h"
#include "tools/cli/subcommands.h"
#include "tools/device/config.h"
#include "tools/text/json.h"
#include "tools/text/progress.h"
#include "tools/traffic/expect.h"
#include "tools/traffic/inquiry.h"
#include "tools/traffic/ports.h"

namespace orba::tool {

namespace {

struct PortsOptions : DeviceOptions {
  PortsQuestion question;
  std::string config;
  bool witnesses = false;
  bool json = false;
};

Exit ports(const PortsOptions &options) {
  options.confineToLab();
  const Prepare prepare = [&](sim::Device &made) { options.prepare(made); };
  Inquiry asked(readConfig(options.config), prepare);
  asked.blame.askAhead("firewall_init");
  const Ports found = portsOf(asked.ways, asked.blame, options.question);
  if (options.json) {
    printJson(std::cout, portsAsJson(found, asked.desk));
  } else {
    printPorts(std::cout, found, asked.desk, options.witnesses, isatty(STDOUT_FILENO) != 0);
  }
  return found.leaks.empty() ? kDone : kFound;
}

struct ExpectOptions : DeviceOptions {
  std::vector<std::string> files;
  std::string config;
  bool coverage = false;
  bool json = false;
};

Exit expect(const ExpectOptions &options) {
  options.confineToLab();
  const Prepare prepare = [&](sim::Device &made) { options.prepare(made); };
  Inquiry asked(readConfig(options.config), prepare);
  std::vector<Expectation> all;
  for (const std::string &file : options.files) {
    for (Expectation &each : readExpectations(file, asked.desk)) all.push_back(std::move(each));
  }
  Expected expected;
  for (const Expectation &each : all)
    expected.judgements.push_back(judge(each, asked.ways, asked.blame));
  if (options.coverage) {
    ProgressLine progress("rules");
    expected.coverage = coverageOf(
        all, asked.ways, [&](size_t done, size_t of_all) { progress.show(done, of_all); });
  }
  if (options.json) {
    printJson(std::cout, expectedAsJson(all, expected, asked.desk, asked.blame));
  } else {
    printExpected(std::cout, all, expected, asked.desk, asked.blame);
  }
  const bool held = std::all_of(expected.judgements.begin(), expected.judgements.end(),
                                [](const Judgement &each) { return each.holds; });
  return held ? kDone : kFound;
}

constexpr char kGrammar[] =
    "One expectation a line, '#' begins a comment:\n"
    "  SIDE [ADDRESS] [with mac MAC] can|cannot reach TO [PROTOCOL[/PORT[-PORT]]]...\n"
    "A SIDE is lan, wifi, wan, wan2 ...; TO is router, a SIDE, an ADDRESS, or both;\n"
    "an ADDRESS is a host or a network such as 192.168.1.0/24. Without a PROTOCOL (tcp,\n"
    "udp, icmp, 47) every one is spoken of. Ports are those where a packet arrives.\n"
    "  wan cannot reach router tcp/80\n"
    "  lan 192.168.1.20 cannot reach wan tcp/25\n"
    "  wan can reach 192.168.1.10 tcp/443";

}  // namespace

void addExpect(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<ExpectOptions>();
  CLI::App &command =
      *app.add_subcommand("expect", "Whether what a router is to hold is so, for all packets");
  command.add_option("FILE", options->files, "The expectations")->required();
  command.add_option("-c,--config", options->config, "The settings: KEY=VALUE lines, [1] and [2]")
      ->required();
  options->addTo(command);
  command.add_flag("--coverage", options->coverage,
                   "Also the rules that none of the expectations would miss");
  command.add_flag("--json", options->json, kForPrograms);
  command.footer(kGrammar);
  command.callback([options, &exit] { exit = expect(*options); });
}

void addPorts(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<PortsOptions>();
  CLI::App &command = *app.add_subcommand(
      "ports", "What the Internet reaches, on the router and behind it, and the LAN on the router");
  command.add_option("-c,--config", options->config, "The settings: KEY=VALUE lines, [1] and [2]")
      ->required();
  options->addTo(command);
  command.add_option("--from", options->question.from, "Only from lan, wifi, wan, wan2 ...");
  command.add_option("--to", options->question.to, "Only to router, or to hosts of lan, wan ...");
  command.add_flag("--witness", options->witnesses, "Below each line a packet that gets through");
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, &exit] { exit = ports(*options); });
}

}  // namespace orba::tool
