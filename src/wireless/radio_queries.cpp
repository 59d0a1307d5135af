// The channel the radio is on, and the addresses of its interfaces.
#include <sys/ioctl.h>

#include <cstdio>

#include "core/file.h"
#include "core/text.h"
#include "net/driver_socket.h"
#include "orba_util.h"
#include "wireless/driver_oid.h"

namespace orba {

namespace {

int writeMac(char *out, const char *ifname) {
  Text<18> mac;
  bool found = mac.fill([&](char *text, size_t) { return getIfMac(ifname, text); }) != -1;
  strcpy(out, found ? mac.text() : "");
  return found ? 1 : 0;
}

// What a page gives as its first argument.
const char *firstOf(char **argv) {
  return argv != nullptr && argv[0] != nullptr ? argv[0] : "";
}

}  // namespace

}  // namespace orba

int getOperatingChannel(void) {
  orba::Descriptor driver(orba::openDriverSocket());
  struct iwreq request = {};
  strcpy(request.ifr_ifrn.ifrn_name, "ra0");
  if (ioctl(driver.get(), SIOCGIWFREQ, &request) < 0) return 0;
  // This driver gives the channel's number in place of a frequency.
  return request.u.freq.m;
}

int getWlanOperatingChannel(char *out) {
  sprintf(out, "%d", getOperatingChannel());
  return 1;
}

int getWlanCurrentMac(char *out) {
  return orba::writeMac(out, "ra0");
}

int getWlanMac(char *out, int, char **argv) {
  orba::Text<32> ifname("ra");
  return orba::writeMac(out, ifname.append(orba::firstOf(argv)).text());
}

int getWiFiMac(char *out, int, char **argv) {
  return orba::writeMac(out, orba::firstOf(argv));
}
