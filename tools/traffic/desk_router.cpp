#include "tools/traffic/desk_router.h"

#include <algorithm>
#include <cstdlib>

#include "net/interface_name.h"
#include "orba_util.h"
#include "tools/device/config.h"

namespace orba::tool {

namespace {

// What start-up programs call, so far as it concerns packets.
constexpr const char *kStart[] = {"firewall_init", "RoutingInit", "executeStaticRoute",
                                  "executePolicyRoute", "orba_pppoeRelay"};

// The port of the LAN's bridge for the first network of the radio.
constexpr const char *kRadioPort = "ra0";

// A port of the switch for a bridge: the first that is none yet and no WAN's.
std::string freePort(const packets::Network &network) {
  for (int vlan = 1;; vlan++) {
    const std::string port = "eth2." + std::to_string(vlan);
    bool taken = network.find(port) != nullptr;
    for (int wan = 1; wan <= kWans; wan++) {
      InterfaceName ethernet;
      wanDevice(wan, ethernet);
      taken = taken || ethernet.is(port.c_str());
    }
    if (!taken) return port;
  }
}

int prefixOf(const std::string &netmask) {
  uint64_t mask = 0;
  if (!packets::readAddress(netmask, mask)) return 24;
  return __builtin_popcountll(mask);
}

packets::Interface interfaceOf(sim::Device &device, const std::string &name) {
  packets::Interface made{.name = name};
  const sim::Interface &known = device.interface(name);
  packets::readMac(known.mac(), made.mac);
  uint64_t address;
  if (packets::readAddress(known.address(), address)) {
    made.addresses.push_back({address, prefixOf(known.netmask())});
  }
  return made;
}

}  // namespace

packets::Network deskNetwork(sim::Device &device, std::vector<Side> &sides) {
  packets::Network network;
  auto add = [&](const std::string &name, const std::string &bridge = "") {
    if (network.find(name) != nullptr) return;
    packets::Interface made = interfaceOf(device, name);
    made.bridge = bridge;
    network.add(std::move(made));
  };
  const std::string lan = getLanIfName();
  add(lan);
  std::string wired = lan, bridge;
  if (lan.rfind("br", 0) == 0) {
    network.bridges.push_back(lan);
    bridge = lan;
    wired = freePort(network);
    add(wired, lan);
    add(kRadioPort, lan);
  }
  sides.push_back({"lan", wired, "a host of the LAN"});
  if (!bridge.empty()) sides.push_back({"wifi", kRadioPort, "a station of the 2.4 GHz radio"});
  for (int wan = 1; wan <= kWans; wan++) {
    InterfaceName name, ethernet;
    wanInterface(wan, name);
    wanDevice(wan, ethernet);
    if (name.empty()) continue;
    std::string outside = name.text(), wire;
    if (outside == lan) {  // a bridge: the Internet side is a port of it
      outside = freePort(network);
      add(outside, bridge);
    } else {
      const bool by_link = !ethernet.empty() && !ethernet.is(name.text());
      if (by_link && network.find(ethernet.text()) == nullptr) wire = ethernet.text();
      if (!ethernet.empty()) add(ethernet.text());
      add(outside);
    }
    const std::string number = wan == 1 ? "" : std::to_string(wan);
    sides.push_back(
        {"wan" + number, outside, "the Internet" + (wan == 1 ? "" : " behind WAN " + number)});
    if (wire.empty()) continue;
    sides.push_back({wireOf("wan" + number), wire,
                     "the Ethernet below the link of WAN " + std::to_string(wan)});
  }
  InterfaceName default_wan;
  wanInterface(std::max(1, atoi(device.setting("default_wan").value_or("1").c_str())), default_wan);
  const packets::Interface *out = network.find(default_wan.text());
  if (out != nullptr && !out->addresses.empty()) {
    packets::Route route{.device = out->name};
    // The provider's router is the first host of its network.
    const packets::Address &own = out->addresses[0];
    if (own.prefix < 31 && out->name.rfind("ppp", 0) != 0) {
      route.gateway = (own.address & (0xffffffffull << (32 - own.prefix))) + 1;
    }
    network.tables["main"].push_back(route);
  }
  return network;
}

bool isWan(const std::string &side) {
  return side.rfind("wan", 0) == 0;
}

std::string wireOf(const std::string &wan) {
  return wan + "-wire";
}

bool isWire(const std::string &side) {
  return side.ends_with(wireOf(""));
}

const Side *DeskRouter::side(const std::string &name) const {
  auto found =
      std::find_if(sides.begin(), sides.end(), [&](const Side &each) { return each.name == name; });
  return found != sides.end() ? &*found : nullptr;
}

const packets::Interface &DeskRouter::own(const Side &side) const {
  const packets::Network &network = router.network();
  const packets::Interface &port = *network.find(side.interface);
  return port.bridge.empty() ? port : *network.find(port.bridge);
}

packets::IntervalSet DeskRouter::routed(
    const std::function<bool(const packets::Route &)> &wanted) const {
  constexpr uint64_t kAll = 0xffffffff;
  // The first route that contains an address is its route.
  packets::IntervalSet found, known;
  for (const packets::Route &route : router.network().routesFor(0)) {
    const uint64_t rest = kAll >> route.prefix, first = route.destination & ~rest;
    const packets::IntervalSet these =
        packets::IntervalSet::range(first, first | rest).intersection(known.complement(kAll));
    for (const packets::Interval &each : these.intervals()) {
      if (wanted(route)) found.add(each);
      known.add(each);
    }
  }
  return found;
}

packets::IntervalSet DeskRouter::networksOf(const Side &side) const {
  return routed([&](const packets::Route &route) {
    return route.kind == packets::Route::kUnicast && route.prefix > 0 &&
           route.device == own(side).name;
  });
}

const Recording &DeskRouter::run(const std::string &entry) const {
  return *std::find_if(runs.begin(), runs.end(),
                       [&](const Recording &each) { return each.entry == entry; });
}

std::string DeskRouter::text(size_t command) const {
  const auto &[run, at] = commands.at(command);
  return commandsOf(runs[run].commands[at.line])[at.part];
}

bool isOfStart(const std::string &entry) {
  return std::find(std::begin(kStart), std::end(kStart), entry) != std::end(kStart);
}

DeskRouter deskRouter(const std::vector<nvram::Setting> &config, const Prepare &prepare) {
  return deskRouter(config, prepare,
                    [&](const std::string &entry) { return record(config, entry, {}, prepare); });
}

DeskRouter deskRouter(const std::vector<nvram::Setting> &config, const Prepare &prepare,
                      const RunOf &runOf) {
  std::vector<Side> sides;
  packets::Network network;
  {
    sim::Device device;
    putSettings(config, device);
    prepare(device);
    network = deskNetwork(device, sides);
  }
  DeskRouter made{{}, {}, std::move(sides), packets::Router(std::move(network))};
  for (const char *entry : kStart) {
    made.runs.push_back(runOf(entry));
    const Recording &run = made.runs.back();
    size_t line = 0;
    for (const sim::Event &event : run.events) {
      if (event.kind == sim::Event::kPipe && event.text.rfind("ip ", 0) == 0) {
        // The route of a policy, which stands behind the rule of the same record.
        made.router.run(event.text, made.commands.size() - 1);
      }
      if (event.kind != sim::Event::kCommand) continue;
      const std::vector<std::string> parts = commandsOf(run.commands[line]);
      for (size_t part = 0; part < parts.size(); part++) {
        made.router.run(parts[part], made.commands.size());
        made.commands.push_back({made.runs.size() - 1, {line, part}});
      }
      line++;
    }
  }
  return made;
}

}  // namespace orba::tool
