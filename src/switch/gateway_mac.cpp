#include "switch/gateway_mac.h"

#include <cstdio>

#include "core/command.h"
#include "core/file.h"
#include "net/address.h"

namespace orba {

namespace {

// The address goes into commands, and into quotes of their own, where quoting it
// would not help: whoever wrote the file, what is no address is not used.
void readGatewayAddress(char (&address)[64]) {
  if (mayBeRead("/var/wan1.info", "/var")) {
    Pipe pipe("cat /var/wan1.info | sed -n 's/:.*//p'");
    if (pipe && fscanf(pipe.get(), "%63s", address) == 1 && isAddress(address)) return;
  }
  *address = '\0';
}

// "? (10.0.0.1) at 00:11:22:33:44:55 [ether] on br0": the first two characters
// of every piece between colons, beginning two characters before the first one.
void collectMac(const char *arp, GatewayMac &mac) {
  mac.clear();
  const char *colon = strchr(arp, ':');
  if (colon == nullptr) return;
  const char *piece = colon - arp >= 2 ? colon - 2 : arp;
  while (true) {
    size_t length = strcspn(piece, ":");
    mac.append(piece, length < 2 ? length : 2);
    if (piece[length] == '\0') return;
    piece += length + 1;
  }
}

}  // namespace

bool lookUpGateway(const GatewayLookup &lookup, GatewayMac &mac) {
  char address[64];
  readGatewayAddress(address);
  runDirectly(lookup.wake, address);
  Text<128> command;
  Pipe pipe(command.format(lookup.look_up, address).text());
  if (!pipe) return false;
  char reply[129];
  pipe.readAll(reply);
  collectMac(reply, mac);
  return true;
}

}  // namespace orba
