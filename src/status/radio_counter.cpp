#include "status/radio_counter.h"

#include <linux/wireless.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "core/text.h"

namespace orba {

namespace {

constexpr unsigned long kReadCounters = 0x8B0E;
constexpr int kFamilies[] = {AF_INET, AF_IPX, AF_AX25, AF_APPLETALK};

int openDatagramSocket() {
  for (int family : kFamilies) {
    int fd = socket(family, SOCK_DGRAM, 0);
    if (fd >= 0) return fd;
  }
  return -1;
}

}  // namespace

RadioSocket::RadioSocket() : socket_(openDatagramSocket()) {}

bool RadioSocket::read(const char *ifname, RadioCounters &counters) const {
  counters = {};
  iwreq request{};
  copyText(request.ifr_name, sizeof request.ifr_name, ifname);
  request.u.data.pointer = &counters;
  request.u.data.length = sizeof counters;
  return ioctl(socket_.get(), kReadCounters, &request) >= 0;
}

}  // namespace orba
