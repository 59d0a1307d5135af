#include "status/radio_counter.h"

#include <linux/wireless.h>
#include <sys/ioctl.h>

#include "core/text.h"
#include "net/driver_socket.h"

namespace orba {

namespace {

constexpr unsigned long kReadCounters = 0x8B0E;

}  // namespace

RadioSocket::RadioSocket() : socket_(openDriverSocket()) {}

bool RadioSocket::read(const char *ifname, RadioCounters &counters) const {
  counters = {};
  iwreq request{};
  copyText(request.ifr_name, sizeof request.ifr_name, ifname);
  request.u.data.pointer = &counters;
  request.u.data.length = sizeof counters;
  return ioctl(socket_.get(), kReadCounters, &request) >= 0;
}

}  // namespace orba
