#include "tools/catalog/sample_calls.h"

#include <algorithm>
#include <cstring>

namespace orba::tool {

namespace {

struct Sample {
  const char *entry;  // empty for every entry point with such a parameter
  const char *parameter;
  std::vector<std::string> words;  // one for each call, from the start again when there are more
};

// What stands for one entry point goes before what stands for all.
const Sample kSamples[] = {
    {"setNthValue", "record", {"9,9,9"}},
    {"STF", "record", {"9,9,9"}},
    {"STFs", "record", {"9,9,9"}},
    {"getNums", "value", {"a,b,c"}},
    {"OidSetInformation", "value", {"1"}},
    {"reg_write", "value", {"1"}},
    {"getField", "n", {"0", "2"}},
    {"racat", "n", {"1"}},
    {"getWlanMac", "n", {"0", "1"}},
    {"doPolicyRoutingAction", "mac", {"", "00:0C:43:00:00:01"}},
    {"doPolicyRoutingAction", "ifname", {"eth2.2"}},
    {"doPolicyRoutingAction", "ip", {"192.168.1.10"}},
    {"doPolicyRoutingAction", "n", {"0", "1", "2"}},
    {"doPolicyRoutingAction", "port", {"0", "80"}},
    {"makeIPPortFilterRule", "protocol", {"1", "2", "3", "4", "5"}},
    {"makeIPPortFilterRule", "action", {"0", "1"}},
    {"isQueueBeReference", "queue", {"3"}},
    {"setServiceControl", "mode", {"0", "1", "2", "3"}},
    {"setServiceControl", "port", {"80"}},
    {"setServiceControl", "protocol", {"tcp", "udp", "icmp"}},
    {"getGatewayByInterface", "ifname", {"br0", "eth2.2", "eth2.20", "eth2.30"}},
    {"getWANTxPacketASP", "wan", {"1", "2", "3"}},
    {"getWANRxPacketASP", "wan", {"1", "2", "3"}},
    {"getWANTxByteASP", "wan", {"1", "2", "3"}},
    {"getWANRxByteASP", "wan", {"1", "2", "3"}},
    {"backupRecoverSettings", "mode", {"0", "1", "2"}},
    {"gpioLedSet", "on", {"1"}},
    {"ledWps", "state", {"1", "2", "3", "4", "5", "6", "7"}},
    {"getSwitchBytes", "low", {"4048"}},
    {"wlan_schedule_cfg", "record", {"1 0 23 1 6 0", "1 1m 8 0 18 1"}},

    {"", "command", {"echo hello"}},
    {"", "text", {"hello & <b>", "41424344"}},
    {"", "prefix", {"wlanSchedule"}},
    {"", "value", {"1,2;3,4;5,6", ""}},
    {"", "separator", {","}},
    {"", "index", {"0", "1"}},
    {"", "record", {"1 0 23 1 6 0", "1 1 8 0 18 1"}},
    {"", "key", {"PortForwardRules"}},
    {"", "space", {"1", "2"}},
    {"", "delimiters", {" "}},
    {"", "n", {"2", "3", "4"}},
    {"", "microseconds", {"100000"}},
    {"", "seconds", {"1"}},
    {"", "ifname", {"br0", "eth2.2", "ra0", "apcli0"}},
    {"", "ip", {"192.168.1.10"}},
    {"", "dest", {"192.168.5.0", "10.8.0.1", "0.0.0.0"}},
    {"", "netmask", {"255.255.255.0", "255.255.255.255", "0.0.0.0"}},
    {"", "gateway", {"192.168.1.254", "", "203.0.113.1"}},
    {"", "add", {"1", "0"}},
    {"", "mask", {"255.255.255.0"}},
    {"", "port", {"80"}},
    {"", "proto", {"-1", "6", "17"}},
    {"", "side", {"WAN", "LAN"}},
    {"", "name", {"office"}},
    {"", "table", {"5"}},
    {"", "action", {"1", "2", "0"}},
    {"", "src_mac", {"00:0C:43:00:00:01", ""}},
    {"", "src_mac_end", {""}},
    {"", "dst_mac", {""}},
    {"", "dst_mac_end", {""}},
    {"", "src_ip", {"192.168.1.10", "any"}},
    {"", "src_mask", {"192.168.1.20", "0"}},
    {"", "src_port", {"0", "1000"}},
    {"", "src_port_end", {"0", "2000"}},
    {"", "dst_ip", {"203.0.113.9", "any"}},
    {"", "dst_mask", {"24"}},
    {"", "dst_port", {"80"}},
    {"", "dst_port_end", {"0", "90"}},
    {"", "protocol", {"1"}},
    {"", "mac", {"00:0C:43:00:00:01", "no address"}},
    {"", "address", {"192.168.1.10", "any/0", "300.1.1.1"}},
    {"", "wan", {"eth2.2", "1"}},
    {"", "host", {"192.168.1.50"}},
    {"", "mode", {"1"}},
    {"", "file", {"ftp.pat"}},
    {"", "oid", {"1297", "1872"}},
    {"", "rssi", {"-40", "-70", "-95"}},
    {"", "configured", {"1"}},
    {"", "enrollee", {"1"}},
    {"", "bits", {"1", "8", "32"}},
    {"", "signal", {"14"}},
    {"", "result", {"1", "0"}},
    {"", "day", {"0", "1", "7"}},
    {"", "now", {"Mon 22:45", "Sun 06:00"}},
    {"", "direction", {"1", "0"}},
    {"", "url", {"/index.asp"}},
    {"", "level", {"1", "2"}},
    {"", "register", {"80", "108"}},
    {"", "unicast", {"4010"}},
    {"", "multicast", {"4014"}},
    {"", "broadcast", {"4018"}},
    {"", "alignment", {"4020"}},
    {"", "crc", {"4024"}},
    {"", "undersize", {"4028"}},
    {"", "fragments", {"402C"}},
    {"", "oversize", {"4030"}},
    {"", "jabbers", {"4034"}},
    {"", "high", {"404C"}},
    {"", "wan_port", {"0", "4"}},
    {"", "event", {"0", "3", "8"}},
    {"", "a", {"1,voice,5"}},
    {"", "b", {"1,voice,5", "1,video,3"}},
    {"", "which", {"0", "2"}},
    {"", "flag", {"1"}},
    {"", "gpio", {"14"}},
    {"", "on", {"1", "0"}},
    {"", "off", {"2"}},
    {"", "blinks", {"3"}},
    {"", "rests", {"4"}},
    {"", "repeats", {"5"}},
    {"", "passphrase", {"correct horse"}},
    {"", "ssid", {"home"}},
    {"", "iterations", {"2"}},
    {"", "block", {"1"}},
    {"", "hex", {"00ff10"}},
    {"", "digit", {"f"}},
};

const std::vector<std::string> &wordsFor(const EntryPoint &entry, const Parameter &parameter) {
  for (const char *name : {entry.name, ""}) {
    for (const Sample &sample : kSamples) {
      if (strcmp(sample.entry, name) == 0 && parameter.name == sample.parameter) {
        return sample.words;
      }
    }
  }
  throw std::logic_error("tools/catalog/sample_calls.cpp has no words for the parameter " +
                         parameter.name + " of " + entry.name);
}

}  // namespace

std::vector<std::vector<std::string>> sampleCalls(const EntryPoint &entry) {
  std::vector<const std::vector<std::string> *> choices;
  size_t calls = 1;
  for (const Parameter &parameter : entry.parameters) {
    if (!parameter.isWord()) continue;
    choices.push_back(&wordsFor(entry, parameter));
    calls = std::max(calls, choices.back()->size());
  }
  std::vector<std::vector<std::string>> result(calls);
  for (size_t i = 0; i < calls; i++) {
    for (const auto *words : choices) result[i].push_back((*words)[i % words->size()]);
  }
  return result;
}

}  // namespace orba::tool
