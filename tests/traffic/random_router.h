// Routers of random settings, and packets that they may meet.
#ifndef ORBA_TESTS_TRAFFIC_RANDOM_ROUTER_H
#define ORBA_TESTS_TRAFFIC_RANDOM_ROUTER_H

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tools/device/config.h"
#include "tools/traffic/side_ways.h"

inline std::string settingsText(const std::vector<nvram::Setting> &config) {
  std::string text;
  for (const nvram::Setting &each : config) text += each.key + "=" + each.value + "\n";
  return text;
}

template <typename Value>
const Value &anyOf(std::mt19937 &random, const std::vector<Value> &values) {
  return values[random() % values.size()];
}

// Settings that go together well and badly.
inline std::vector<nvram::Setting> randomConfig(std::mt19937 &random) {
  static const std::vector<std::string> kBits = {"0", "1"}, kModes = {"0", "1", "2", "3"};
  static const std::pair<std::vector<const char *>, std::vector<std::string>> kPools[] = {
      {{"OperationMode"}, {"1", "1", "1", "0", "2", "3"}},
      {{"wanConnectionMode"}, {"DHCP", "STATIC", "PPPOE", "L2TP", "PPTP"}},
      {{"wanConnectionMode2"}, {"", "DHCP", "PPPOE"}},
      {{"wan2Vid"}, {"", "20"}},
      {{"wan1Vid"}, {"1", "2"}},
      {{"default_wan", "defaultRouteNum"}, {"1", "1", "2"}},
      {{"firewallAction", "MacFilterAction"}, {"DROP", "ACCEPT"}},
      {{"IPPortFilterType"}, {"LAN_TO_WAN", "WAN_TO_WAN", "WAN_TO_LAN"}},
      {{"vlanEnabled", "natEnabled", "SPIFWEnabled", "DefaultFirewallPolicy", "PortForwardEnable",
        "SinglePortForwardEnable", "DMZAvoidTCPPort80", "BlockPingofDeath", "BlockPortScan",
        "BlockSynFlood", "BlockLAND", "WANPingFilter", "LANPingFilter", "aclMode",
        "RemoteManagement", "websFilterJava", "websHostFiltersEnable"},
       kBits},
      {{"httpMode", "ftpMode", "telnetMode", "snmpMode", "icmpMode", "sshMode", "tftpMode"},
       kModes},
      {{"RMWWWServerPort", "RMFTPServerPort"}, {"80", "8080", "21"}},
      {{"DMZEnable"}, {"0", "0", "1", "2"}},
      {{"DMZAddress"}, {"192.168.1.50", ""}},
      {{"aclRules"}, {"", "192.168.1.2", "198.51.100.0/24;192.168.1.32-192.168.1.63", "0.0.0.0/0"}},
      {{"MACFilterRules"}, {"", "00:0C:43:66:66:66;02:00:00:00:00:07"}},
      {{"websURLFilters", "websHostFilters"}, {"", "ads.example.com"}},
      {{"PolicyRoutingRules"},
       {"", "255.255.255.0,192.168.1.0,0,,17,WAN2,eth2.20,a;,192.168.1.20,0,,-1,WAN,eth2.2,b"}},
      {{"StaticRoutingRules"}, {"", "1,branch,10.50.0.0,255.255.0.0,192.168.1.7,br0"}},
  };
  std::vector<nvram::Setting> config;
  for (const auto &[keys, values] : kPools) {
    for (const char *key : keys) {
      if (random() % 12 != 0) config.push_back({1, key, anyOf(random, values)});
    }
  }
  static const std::vector<std::string> kAddresses = {"any/0",          "192.168.1.20",
                                                      "192.168.1.0/25", "198.51.100.0/24",
                                                      "203.0.113.2",    "any"},
                                        kPorts = {"0", "22", "80", "443", "8080", "26"},
                                        kProtocols = {"1", "2", "4", "5"},
                                        kMacs = {"", "", "", "00:0C:43:66:66:66"},
                                        kHosts = {"192.168.1.10", "192.168.1.20", "192.168.1.1"},
                                        kForwarded = {"TCP", "UDP", "TCP&UDP"};
  std::string filters, forwards;
  for (size_t i = random() % 4; i > 0; i--) {
    filters += anyOf(random, kAddresses) + ",,0,0," + anyOf(random, kAddresses) + ",," +
               anyOf(random, kPorts) + "," + anyOf(random, kPorts) + "," +
               anyOf(random, kProtocols) + ",1,r," + anyOf(random, kMacs) + ",,," +
               (i > 1 ? ";" : "");
    forwards += anyOf(random, kHosts) + "," + anyOf(random, kPorts) + "," + anyOf(random, kPorts) +
                "," + anyOf(random, kForwarded) + (i > 1 ? ";" : "");
  }
  config.push_back({1, "IPPortFilterRules", filters});
  config.push_back({1, "PortForwardRules", forwards});
  return config;
}

// One of those that begin something, from hosts that a side has, neighbours, forged ones and
// others whose answers no route leads back, to all kinds of destinations.
inline packets::Packet randomPacket(std::mt19937 &random, const orba::tool::Side &side,
                                    orba::tool::SideWays &ways) {
  using namespace packets;
  static const std::vector<uint64_t> kProtocols = {kTcp, kTcp, kUdp, kIcmp, kIgmp, 47},
                                     kPorts = {1,  21,  22,  23,   26,   69,
                                               80, 161, 443, 6881, 7547, 8080};
  std::vector<uint64_t> addresses = {0,          0x0a320006, 0xc6336407, 0x08080808, 0xe0000001,
                                     0xe0000002, 0xffffffff, 0x7f000001, 0xf0000001};
  for (const Interface &each : ways.desk().router.network().interfaces) {
    for (const Address &own : each.addresses) {
      const uint64_t rest = 0xffffffffull >> own.prefix, first = own.address & ~rest;
      addresses.insert(addresses.end(), {own.address, first, first | rest});
      for (uint64_t host : {2, 7, 10, 20, 50, 100, 200}) addresses.push_back(first | (host & rest));
    }
  }
  Packet packet = ways.witness(side, ways.beginnings(side));
  packet[kProtocol] = anyOf(random, kProtocols);
  const bool has_ports = packet[kProtocol] == kTcp || packet[kProtocol] == kUdp;
  packet[kTcpFlags] = packet[kProtocol] == kTcp ? kSyn : 0;
  packet[kIcmpType] = packet[kProtocol] == kIcmp ? 8 : 0;
  packet[kSourcePort] = has_ports ? 1024 + random() % 60000 : 0;
  packet[kDestinationPort] = !has_ports          ? 0
                             : random() % 4 == 0 ? random() % 65536
                                                 : anyOf(random, kPorts);
  if (random() % 2 == 0) packet[kSource] = anyOf(random, addresses);
  if (random() % 2 == 0) packet[kDestination] = anyOf(random, addresses);
  if (random() % 4 == 0) packet[kSourceMac] = 0x000c43666666;
  return packet;
}

#endif
