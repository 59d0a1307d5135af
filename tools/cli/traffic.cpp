// The subcommands that answer questions about packets: trace.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/cli/device_options.h"
#include "tools/cli/subcommands.h"
#include "tools/device/config.h"
#include "tools/text/json.h"
#include "tools/traffic/trace.h"
#include "tools/traffic/trace_report.h"

namespace orba::tool {

namespace {

struct TraceOptions : DeviceOptions {
  PacketQuestion question;
  std::string config;
  bool why = false;
  bool json = false;
};

Exit trace(const TraceOptions &options) {
  options.confineToLab();
  const Prepare prepare = [&](sim::Device &made) { options.prepare(made); };
  const DeskRouter desk = deskRouter(readConfig(options.config), prepare);
  const std::vector<FollowedWay> ways = waysOf(packetOf(options.question, desk), desk);
  Blame blame(desk, prepare);
  blame.askOf(commandsOf(ways, desk, blame));
  if (options.json) {
    printJson(std::cout, traceAsJson(ways, desk, blame));
  } else {
    printTrace(std::cout, ways, desk, blame, options.why);
  }
  return kDone;
}

}  // namespace

void addTrace(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<TraceOptions>();
  PacketQuestion &asked = options->question;
  CLI::App &command = *app.add_subcommand("trace", "What becomes of a packet, rule by rule");
  command.add_option("FROM", asked.from, "lan, wifi, wan, wan2 ... or router")->required();
  command.add_option("SOURCE", asked.source, "The sender's address, or router")->required();
  command.add_option("DESTINATION", asked.destination, "Whom it is for, or router")->required();
  command
      .add_option("PROTOCOL", asked.protocol,
                  "tcp/PORT, udp/PORT, icmp, icmp/TYPE, igmp, esp ... or a number")
      ->required();
  command.add_option("-c,--config", options->config, "The settings: KEY=VALUE lines, [1] and [2]")
      ->required();
  options->addTo(command);
  command.add_option("--state", asked.state, "new, established, related or invalid");
  command.add_option("--flags", asked.flags, "Of TCP, such as SYN,ACK, or NONE");
  command.add_option("--mac", asked.mac, "The sender's MAC address");
  command.add_option("--source-port", asked.source_port, "The sender's port");
  command.add_option("--length", asked.length, "Of the packet, in bytes");
  command.add_flag("--why", options->why, "Each rule that did not match too, and why");
  command.add_flag("--json", options->json, kForPrograms);
  command.callback([options, &exit] { exit = trace(*options); });
}

}  // namespace orba::tool
