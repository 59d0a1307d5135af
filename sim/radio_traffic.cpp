#include "sim/radio_traffic.h"

#include <linux/wireless.h>

#include <cerrno>
#include <cstring>

namespace sim {

RadioTraffic &RadioTraffic::set(const std::string &interface, const Counters &counters) {
  by_interface_[interface] = counters;
  return *this;
}

std::optional<int> RadioTraffic::request(unsigned long number, void *argument) {
  if (number != 0x8B0E) return {};
  requests_++;
  auto &wanted = *static_cast<iwreq *>(argument);
  auto found = by_interface_.find(std::string(wanted.ifr_name, strnlen(wanted.ifr_name, IFNAMSIZ)));
  if (found == by_interface_.end() || wanted.u.data.length != 32 || wanted.u.data.flags != 0) {
    errno = EINVAL;
    return -1;
  }
  memset(wanted.u.data.pointer, 0xEE, wanted.u.data.length);
  memcpy(wanted.u.data.pointer, &found->second, sizeof found->second);
  return 0;
}

}  // namespace sim
