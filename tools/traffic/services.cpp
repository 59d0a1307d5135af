#include "tools/traffic/services.h"

#include <algorithm>
#include <cstdlib>

#include "packets/packet.h"

namespace orba::tool {

namespace {

constexpr int kSpace = 1;

const std::string *setting(const DeskRouter &desk, const char *key) {
  return desk.runs.front().value(kSpace, key);
}

}  // namespace

// The servers that were started with the ports before go on listening there for a while.
const std::vector<Service> &services() {
  using packets::kIcmp, packets::kTcp, packets::kUdp;
  static const std::vector<Service> kServices = {
      {"the web pages",
       "httpMode",
       kTcp,
       80,
       {"RMWWWServerPort", "RMWWWOldServerPort", "RMHTTPSServerPort", "RMHTTPSOldServerPort"}},
      {"FTP", "ftpMode", kTcp, 21, {"RMFTPServerPort"}},
      {"Telnet", "telnetMode", kTcp, 23, {"RMTELNETServerPort"}},
      {"SNMP", "snmpMode", kUdp, 161, {"snmp_serverPort", "RMSNMPServerPort"}},
      {"ping", "icmpMode", kIcmp, 0, {}},
      {"SSH", "sshMode", kTcp, 22, {}},
      {"TFTP", "tftpMode", kUdp, 69, {}},
  };
  return kServices;
}

std::optional<KeptIn> keptIn(const Service &service, const DeskRouter &desk) {
  const std::string *value = setting(desk, service.mode);
  const int mode = value != nullptr ? atoi(value->c_str()) : 0;
  if (mode != 0 && mode != 3) return std::nullopt;
  return KeptIn{service.mode + (value != nullptr ? "=" + *value : std::string(" (not set)")),
                mode == 0 ? "from the LAN only" : "from nowhere"};
}

std::vector<std::pair<uint64_t, std::string>> portsOf(const Service &service,
                                                      const DeskRouter &desk) {
  std::vector<std::pair<uint64_t, std::string>> ports = {{service.port, ""}};
  for (const char *key : service.server_ports) {
    const std::string *value = setting(desk, key);
    const long port = value != nullptr ? atol(value->c_str()) : 0;
    if (port < 1 || port > 65535) continue;
    const auto number = static_cast<uint64_t>(port);
    const bool known = std::any_of(ports.begin(), ports.end(),
                                   [&](const auto &each) { return each.first == number; });
    if (!known) ports.emplace_back(number, key);
  }
  return ports;
}

}  // namespace orba::tool
