// The subcommands that answer questions about packets: trace.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "tools/cli/subcommands.h"
#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/text/lines.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/trace.h"

namespace orba::tool {

namespace {

struct TraceOptions : PacketQuestion {
  std::string config;
};

Exit trace(const TraceOptions &options) {
  const Prepare prepare = [](sim::Device &made) { DeskDevice{"", ""}.prepare(made); };
  const DeskRouter desk = deskRouter(readConfig(options.config), prepare);
  const Trace found = traceOf(options, desk);
  Blame blame(desk, prepare);
  std::cout << packetText(found.packet) << "\n";
  for (const packets::Step &step : found.way.steps) {
    if (step.kind == packets::Step::kEnter) {
      std::cout << placeText(step.at.place) << "\n";
    } else if (step.kind == packets::Step::kRule && step.matched) {
      std::cout << "  " << desk.router.chain(step.at.place)->rules[step.at.rule].text << "\n";
    }
  }
  std::cout << forReader(verdictSentence(found.way, desk, blame)) << "\n";
  return kDone;
}

}  // namespace

void addTrace(CLI::App &app, Exit &exit) {
  auto options = std::make_shared<TraceOptions>();
  CLI::App &command = *app.add_subcommand("trace", "What becomes of a packet, rule by rule");
  command.add_option("FROM", options->from, "lan, wifi, wan, wan2 ... or router")->required();
  command.add_option("SOURCE", options->source, "The sender's address")->required();
  command.add_option("DESTINATION", options->destination, "Whom it is for")->required();
  command.add_option("PROTOCOL", options->protocol, "tcp/25, udp/53, icmp")->required();
  command.add_option("-c,--config", options->config, "The settings")->required();
  command.callback([options, &exit] { exit = trace(*options); });
}

}  // namespace orba::tool
