// The pages that are reserved to privileged users.
#include <cstring>

#include "orba_util.h"

// The dot at the end of the WLAN entries makes them match one page with any
// extension and no longer name.
const char *const accessControlPageList[21] = {
    "Monitor/SystemLog",
    "Monitor/WANInfo",
    "Monitor/DHCPClients",
    "Monitor/RoutingTable",
    "Configuration/WAN",
    "Configuration/LAN",
    "Configuration/DDNS",
    "Configuration/DnsRoute",
    "Configuration/NAT",
    "Configuration/Routing",
    "Configuration/VLAN",
    "Configuration/LAN/ipAliases",
    "Configuration/LAN/staticlease",
    "Configuration/LAN/dhcpadvanced",
    "Configuration/WLAN/wlan_advance.",
    "Configuration/RemoteMGMT",
    "Configuration/MCL",
    "Configuration/QoS",
    "Configuration/Firewall",
    "Maintenance/QuickSetup",
    "Maintenance/FirmwareUpgrade",
};

const char *const accessControlPageListRoot[16] = {
    "Monitor/DHCPClients",
    "Monitor/RoutingTable",
    "Configuration/DDNS",
    "Configuration/DnsRoute",
    "Configuration/NAT",
    "Configuration/Routing",
    "Configuration/VLAN",
    "Configuration/LAN/ipAliases",
    "Configuration/LAN/staticlease",
    "Configuration/LAN/dhcpadvanced",
    "Configuration/WLAN/wlan_advance.",
    "Configuration/WLAN/wlan_wps.",
    "Configuration/RemoteMGMT/snmp",
    "Configuration/QoS",
    "Configuration/Firewall",
    "Maintenance/QuickSetup",
};

namespace {

template <size_t N>
bool containsAny(const char *url, const char *const (&pages)[N]) {
  for (const char *page : pages) {
    if (strstr(url, page) != nullptr) return true;
  }
  return false;
}

}  // namespace

int isProtectedUrl(const char *url, int level) {
  constexpr int kRoot = 1;
  return level == kRoot ? containsAny(url, accessControlPageListRoot)
                        : containsAny(url, accessControlPageList);
}
