#include "situations.h"

#include <cstdio>
#include <map>

#include "dice.h"
#include "src/net/interface_name.h"
#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/play/recording.h"

namespace judge {

namespace {

using Settings = std::map<std::string, std::string>;

// ---- settings ----

std::string text(uint64_t number) {
  return std::to_string(number);
}

std::string macOf(Dice &dice) {
  char mac[18];
  // Few different ones, so that records meet and ranges hold some.
  snprintf(mac, sizeof(mac), "%s:%02X:%02X:%02X", dice.pick({"00:0C:43", "02:1A:11"}),
           static_cast<int>(dice.pick({0x28, 0x30, 0xff})), static_cast<int>(dice.below(4)),
           static_cast<int>(dice.below(256)));
  return mac;
}

std::string hostOf(Dice &dice) {
  return "192.168.1." + text(dice.between(2, 254));
}

std::string farHostOf(Dice &dice) {
  return dice.pick({"198.51.100.", "203.0.113.", "8.8.8.", "10.8.0."}) + text(dice.below(256));
}

std::string networkOf(Dice &dice, bool near) {
  if (dice.chance(35)) return dice.chance(5) ? "any" : "any/0";
  std::string host = near ? hostOf(dice) : farHostOf(dice);
  switch (dice.below(3)) {
    case 0:
      return host;
    case 1:
      return host + "/" + text(dice.between(16, 32));
    default:
      return host + "/" + text(dice.between(0, 32));
  }
}

// Two fields: a first and a last port.
std::string portsOf(Dice &dice) {
  if (dice.chance(30)) return "0,0";
  uint64_t first = dice.chance(50) ? dice.pick({1ull, 21ull, 22ull, 25ull, 80ull, 443ull, 7547ull})
                                   : dice.between(1, 65535);
  if (dice.chance(40)) return text(first) + ",0";
  if (dice.chance(5)) return text(first) + "," + text(dice.between(1, first));
  return text(first) + "," + text(dice.chance(20) ? 65535 : dice.between(first, 65535));
}

// A first address and, for a range, a last one.
std::string macsOf(Dice &dice, unsigned int percent) {
  if (!dice.chance(percent)) return ",";
  std::string first = macOf(dice), last = macOf(dice);
  if (dice.chance(50)) return first + ",";
  return first < last || dice.chance(5) ? first + "," + last : last + "," + first;
}

std::string listOf(Dice &dice, uint64_t most, std::string (*record)(Dice &)) {
  std::string list;
  for (uint64_t left = dice.chance(15) ? 0 : dice.between(1, most); left > 0; left--) {
    list += (list.empty() ? "" : ";") + record(dice);
  }
  return list;
}

std::string filterOf(Dice &dice) {
  std::string source = networkOf(dice, dice.chance(70)), mask;
  if (source.find_first_of("/y") == source.npos && dice.chance(40)) {
    mask = dice.pick({"255.255.255.0", "255.255.255.192", "255.255.0.0", "24", "255.0.255.0"});
  }
  return source + "," + mask + "," + portsOf(dice) + "," + networkOf(dice, dice.chance(30)) + ",," +
         portsOf(dice) + "," + dice.pick({"1", "2", "1", "2", "4", "5"}) + ",1,name," +
         macsOf(dice, 25) + "," + macsOf(dice, 10);
}

std::string forwardOf(Dice &dice) {
  const uint64_t first =
      dice.chance(20) ? dice.pick({80ull, 7547ull, 161ull}) : dice.between(1, 65535);
  return hostOf(dice) + "," + text(first) + "," +
         (dice.chance(50) ? "0" : text(dice.between(first, 65535))) + "," +
         dice.pick({"TCP", "UDP", "TCP&UDP"});
}

std::string trustedOf(Dice &dice) {
  std::string network = dice.chance(60) ? "192.168.1." : "198.51.100.";
  uint64_t first = dice.below(256);
  if (dice.chance(50)) return network + text(first);
  return network + text(first) + "-" + network + text(dice.between(first, 255));
}

std::string policyOf(Dice &dice) {
  std::string address = dice.chance(60) ? hostOf(dice) : "";
  std::string mask = address.empty() || dice.chance(30)
                         ? ""
                         : dice.pick({"255.255.255.255", "255.255.255.0", "255.255.255.240"});
  std::string side = dice.pick({"WAN", "WAN2", "WAN3", "LAN"});
  return mask + "," + address + "," +
         (dice.chance(40) ? text(dice.pick<uint64_t>({25, 80, dice.between(1, 65535)})) : "0") +
         "," + (dice.chance(30) ? macOf(dice) : "") + "," + dice.pick({"-1", "6", "17", "1", "6"}) +
         "," + side + ",eth2.2,route" + text(dice.below(8));
}

std::string routeOf(Dice &dice) {
  const bool host = dice.chance(25), lan = dice.chance(60);
  std::string destination = dice.pick({"10.8.", "10.9.", "198.51."}) + text(dice.below(4) * 64);
  return destination + (host ? ".9,255.255.255.255," : ".0,") +
         (host ? "" : dice.pick({"255.255.255.0,", "255.255.192.0,"})) +
         (lan ? "192.168.1." + text(dice.between(250, 254)) + ",LAN,br0,,"
              : dice.pick({"203.0.113.1,WAN,eth2.2,,", ",WAN,ppp0,,", "203.0.113.9,WAN,ppp0,,"}));
}

std::string staticRouteOf(Dice &dice) {
  return dice.pick({"1", "1", "0"}) + std::string(",name,10.") + text(dice.between(7, 10)) + "." +
         (dice.chance(50) ? "0.0,255.255.0.0," : "128.0,255.255.128.0,") +
         (dice.chance(60) ? "192.168.1.253,br0" : dice.pick({",1", ",2", "203.0.113.7,3"}));
}

std::string macRecordOf(Dice &dice) {
  return macOf(dice);
}

Settings settingsOf(Dice &dice) {
  // The gateway with all that surrounds the firewall.
  Settings all = {
      {"OperationMode", dice.pick({"1", "1", "1", "1", "0", "0", "2", "3"})},
      {"wanConnectionMode", dice.pick({"DHCP", "STATIC", "PPPOE", "PPPOE", "L2TP"})},
      {"vlanEnabled", text(dice.below(2))},
      {"wan1Vid", dice.pick({"2", "10", "12"})},
      {"wan_gateway", "203.0.113.1"},
      {"default_wan", "1"},
      {"defaultRouteNum", dice.pick({"1", "1", "1", "2"})},
      {"natEnabled", "1"},
      {"wan_MTU_manaul", text(dice.below(2))},
      {"wan_MTU", text(dice.between(1300, 1500))},
      {"SIPALGEnable", text(dice.below(2))},
      {"firewallAction", dice.pick({"ACCEPT", "DROP", "DROP"})},
      {"SPIFWEnabled", text(dice.below(2))},
      {"DefaultFirewallPolicy", dice.pick({"0", "1", "2"})},
      {"IPPortFilterType", dice.pick({"WAN_TO_WAN", "LAN_TO_WAN"})},
      {"IPPortFilterRules", listOf(dice, dice.chance(20) ? 40 : 10, filterOf)},
      {"PortForwardRules", listOf(dice, 8, forwardOf)},
      {"DMZEnable", text(dice.below(3))},
      {"DMZAddress", hostOf(dice)},
      {"DMZAvoidTCPPort80", text(dice.below(2))},
      {"RMWWWServerPort", dice.pick({"80", "8080"})},
      {"RMWWWOldServerPort", "8080"},
      {"RMHTTPSServerPort", "8443"},
      {"RMTELNETServerPort", "2323"},
      {"RMFTPServerPort", "2121"},
      {"snmp_serverPort", "161"},
      {"RemoteManagement", text(dice.below(2))},
      {"aclMode", text(dice.below(2))},
      {"aclRules", listOf(dice, 6, trustedOf)},
      {"dhcpEnabled", text(dice.below(3))},
      {"MacFilterAction", dice.pick({"ACCEPT", "DROP"})},
      {"MACFilterRules", dice.chance(50) ? "" : listOf(dice, 6, macRecordOf)},
      {"websFilterTrustIP", dice.chance(50) ? "0.0.0.0" : hostOf(dice)},
      {"websURLFilters", dice.chance(50) ? "http://ads.example.com/banner;track.net" : ""},
      {"websHostFiltersEnable", text(dice.below(2))},
      {"websHostFilters", dice.chance(60) ? "casino.example.com;games.example.org" : ""},
      {"RoutingRules", listOf(dice, 4, routeOf)},
      {"StaticRoutingRules", listOf(dice, 4, staticRouteOf)},
      {"PolicyRoutingRules", dice.chance(50) ? "" : listOf(dice, 8, policyOf)}};
  for (const char *mode : {"http", "ftp", "telnet", "snmp", "icmp", "ssh", "tftp"}) {
    all[std::string(mode) + "Mode"] = text(dice.below(4));
  }
  for (const char *defence : {"WANPingFilter", "LANPingFilter", "BlockPortScan", "BlockSynFlood",
                              "BlockPingofDeath", "BlockLAND", "websFilterProxy", "websFilterJava",
                              "websFilterActivex", "websFilterCookies"}) {
    all[defence] = text(dice.below(2));
  }
  for (int wan = 1; wan <= 4; wan++) all["wan" + text(wan) + "Enable"] = "1";
  for (int wan = 2; wan <= 4; wan++) {
    all["wan" + text(wan) + "Vid"] = wan == 4 || dice.chance(30) ? "" : text(wan) + "0";
    all["wanConnectionMode" + text(wan)] = dice.pick({"DHCP", "STATIC", "PPPOE"});
    all["wan_gateway" + text(wan)] = "203.0.113.1";
  }
  // Ethernet of a WAN in the bridge, but for PPPoE.
  all["pppoeREnabled"] = dice.chance(30) ? "1" : "0";
  return all;
}

std::vector<nvram::Setting> inSpaceOne(const Settings &settings) {
  std::vector<nvram::Setting> all;
  for (const auto &[key, value] : settings) all.push_back({1, key, value, 0});
  return all;
}

// ---- interfaces ----

packets::Network networkOf(const std::vector<nvram::Setting> &settings, bool online,
                           bool sessions) {
  sim::Device device;
  orba::tool::putSettings(settings, device);
  orba::InterfaceName ethernet[orba::kWans], wan[orba::kWans];
  for (int i = 0; i < orba::kWans; i++) {
    orba::wanDevice(i + 1, ethernet[i]);
    orba::wanInterface(i + 1, wan[i]);
  }
  const std::string mode = device.setting("OperationMode").value_or("1");

  packets::Network network;
  uint64_t mac = 0x020000000000;
  const auto add = [&](const std::string &name, uint64_t address, const std::string &bridge) {
    if (name.empty() || network.find(name) != nullptr) return;
    constexpr uint64_t kFrame = 4000, kDialled = 1492;  // all of a packet in one frame
    const bool dialled = name.compare(0, 3, "ppp") == 0;
    packets::Interface interface {
      .name = name, .bridge = bridge, .mtu = dialled ? kDialled - 40 * (name[3] - '0') : kFrame
    };
    // What dials has no Ethernet below its packets.
    if (!dialled) interface.mac = mac++;
    if (address != 0) interface.addresses.push_back({address, 24});
    network.add(interface);
  };
  constexpr uint64_t kLan = 0xc0a80101, kInternet = 0xcb007101;
  if (mode == "2") {
    add("eth2", kLan, "");
  } else {
    add("br0", kLan, "");
    network.bridges = {"br0"};
    add("eth2.1", 0, "br0");
    add("ra0", 0, "br0");
    if (mode == "0") add("eth2.2", 0, "br0");
  }
  for (unsigned int i = 0; i < orba::kWans; i++) {
    add(wan[i].text(), kInternet + 1 + i, "");
    add(ethernet[i].text(), 0, "");
    const std::string key = "wanConnectionMode" + (i == 0 ? "" : text(i + 1));
    packets::Interface *session = network.find(wan[i].text());
    if (sessions && session != nullptr && session->mac == 0 && !ethernet[i].empty() &&
        !network.isBridge(ethernet[i].text()) && device.setting(key) == "PPPOE") {
      session->below = ethernet[i].text();
    }
  }
  packets::Route gateway{.gateway = kInternet, .device = wan[0].text()};
  if (gateway.device == "br0") gateway.gateway = kLan + 253;
  if (online) network.tables["main"].push_back(gateway);
  return network;
}

// ---- what the library makes of them ----

void play(const std::vector<nvram::Setting> &settings, const char *entry, Situation &made) {
  const orba::tool::DeskDevice desk;
  orba::tool::Recording run =
      orba::tool::record(settings, entry, {}, [&](sim::Device &device) { desk.prepare(device); });
  for (const sim::Event &event : run.events) {
    // The routes of policies are made through a pipe, which other programs only look through.
    const bool route = event.kind == sim::Event::kPipe && event.text.rfind("ip route ", 0) == 0;
    if (route || event.kind == sim::Event::kCommand) {
      made.lines.push_back(sim::withoutRunnerRedirection(event.text));
    }
  }
  auto names = run.files.find("/etc/iproute2/rt_tables");
  if (names == run.files.end()) return;
  made.tables.clear();
  for (size_t begin = 0, end; begin < names->second.size(); begin = end + 1) {
    end = std::min(names->second.find('\n', begin), names->second.size());
    made.tables.push_back(names->second.substr(begin, end - begin));
  }
}

}  // namespace

Situation situation(uint64_t seed, const std::string &examples, bool sessions) {
  static const char *const kExamples[] = {"gateway", "pppoe-gateway", "bridge", "repeater",
                                          "minimal"};
  Dice dice(seed);
  Situation made{.seed = seed};
  if (seed < std::size(kExamples)) {
    made.settings = orba::tool::readConfig(examples + "/" + kExamples[seed] + ".conf");
  } else {
    Settings settings = settingsOf(dice);
    if (sessions && dice.chance(80)) {
      const std::string wan = text(dice.between(1, 3));
      settings["OperationMode"] = "1";
      settings["pppoeREnabled"] = wan;
      settings["wanConnectionMode" + (wan == "1" ? "" : wan)] = "PPPOE";
      // The one number whose frames broute takes out of the bridge for the router's own session.
      if (wan == "1" && dice.chance(60)) settings["vlanEnabled"] = "1", settings["wan1Vid"] = "12";
    }
    made.settings = inSpaceOne(settings);
    if (dice.chance(15)) {  // in place of an older one, of the same interfaces
      Settings older = settingsOf(dice);
      for (const char *key : {"OperationMode", "wanConnectionMode", "vlanEnabled", "wan1Vid"}) {
        older[key] = settings[key];
      }
      play(inSpaceOne(older), "firewall_init", made);
    }
  }
  // Before its provider has told it of a gateway, every tenth.
  made.network = networkOf(made.settings, seed % 10 != 7, sessions);
  for (const char *entry : {"firewall_init", "orba_pppoeRelay", "RoutingInit", "executeStaticRoute",
                            "executePolicyRoute"}) {
    play(made.settings, entry, made);
  }
  // The library keeps nothing of what the router itself says from leaving; that a rule can is
  // judged with some of a person's own.
  if (seed % 3 == 2) {
    for (const char *line : {"iptables -A OUTPUT -m state --state INVALID -j DROP",
                             "iptables -A OUTPUT -p icmp -s 192.168.1.1 -j DROP",
                             "iptables -A OUTPUT -p tcp --sport 80 --tcp-flags SYN,ACK SYN,ACK "
                             "-m state --state ESTABLISHED -j DROP",
                             "iptables -A OUTPUT -p tcp --sport 22 -j DROP"}) {
      made.lines.push_back(line);
    }
  }
  return made;
}

}  // namespace judge
