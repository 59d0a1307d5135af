#include "sim/interfaces.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace sim {

namespace {

int fail(int error) {
  errno = error;
  return -1;
}

int answerAddress(const std::string &dotted, sockaddr &answer) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  if (inet_aton(dotted.c_str(), &address.sin_addr) == 0) return fail(EADDRNOTAVAIL);
  memcpy(&answer, &address, sizeof address);
  return 0;
}

int answerMac(const std::string &mac, sockaddr &answer) {
  unsigned int byte[6];
  if (sscanf(mac.c_str(), "%x:%x:%x:%x:%x:%x", &byte[0], &byte[1], &byte[2], &byte[3], &byte[4],
             &byte[5]) != 6) {
    return fail(ENODEV);
  }
  for (int i = 0; i < 6; i++) answer.sa_data[i] = static_cast<char>(byte[i]);
  return 0;
}

}  // namespace

std::optional<int> Interfaces::request(unsigned long number, void *argument) const {
  if (number != SIOCGIFADDR && number != SIOCGIFNETMASK && number != SIOCGIFHWADDR) return {};
  auto &wanted = *static_cast<ifreq *>(argument);
  std::string name(wanted.ifr_name, strnlen(wanted.ifr_name, sizeof wanted.ifr_name));
  auto found = by_name_.find(name);
  if (found == by_name_.end()) return fail(ENODEV);
  const Interface &interface = found->second;
  if (number == SIOCGIFADDR) return answerAddress(interface.address(), wanted.ifr_addr);
  if (number == SIOCGIFNETMASK) return answerAddress(interface.netmask(), wanted.ifr_netmask);
  return answerMac(interface.mac(), wanted.ifr_hwaddr);
}

}  // namespace sim
