#include "tools/device/this_machine.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>

#include <cstdio>
#include <cstring>

namespace orba::tool {

namespace {

// The address as its family has it; a sockaddr is not aligned for all of them.
template <typename Address>
Address as(const sockaddr *address) {
  Address copy;
  memcpy(&copy, address, sizeof copy);
  return copy;
}

std::string dotted(const sockaddr *address) {
  const in_addr number = as<sockaddr_in>(address).sin_addr;
  char text[INET_ADDRSTRLEN];
  inet_ntop(AF_INET, &number, text, sizeof text);
  return text;
}

std::string colons(const sockaddr_ll &link) {
  char text[18];
  snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", link.sll_addr[0], link.sll_addr[1],
           link.sll_addr[2], link.sll_addr[3], link.sll_addr[4], link.sll_addr[5]);
  return text;
}

std::string printedBy(const char *command) {
  FILE *pipe = popen(command, "r");
  if (pipe == nullptr) return "";
  std::string text;
  for (int c; (c = getc(pipe)) != EOF;) text += static_cast<char>(c);
  pclose(pipe);
  return text;
}

}  // namespace

void putThisMachine(sim::Device &device) {
  device.lowerRoot("/");
  // The one register that decides about rules: whether the WAN port has link.
  device.answer("switch reg r 3608", printedBy("switch reg r 3608 2>/dev/null"));
  ifaddrs *first = nullptr;
  if (getifaddrs(&first) != 0) return;
  for (const ifaddrs *at = first; at != nullptr; at = at->ifa_next) {
    if (at->ifa_addr == nullptr) continue;
    sim::Interface &interface = device.interface(at->ifa_name);
    if (at->ifa_addr->sa_family == AF_INET && interface.address().empty()) {
      interface.address(dotted(at->ifa_addr)).netmask(dotted(at->ifa_netmask));
    }
    if (at->ifa_addr->sa_family == AF_PACKET) {
      const auto link = as<sockaddr_ll>(at->ifa_addr);
      if (link.sll_halen == 6) interface.mac(colons(link));
    }
  }
  freeifaddrs(first);
}

}  // namespace orba::tool
