#include "switch/gateway_mac.h"

#include <cstdio>

#include "core/command.h"
#include "core/file.h"
#include "net/address.h"

namespace orba {

namespace {

using Address = Text<64>;

// The address goes into commands, and into quotes of their own, where quoting it
// would not help: whoever wrote the file, what is no address is not used.
void readGatewayAddress(Address &address) {
  address.clear();
  removeUnlessOurs("/var/wan1.info");
  Pipe pipe("cat /var/wan1.info | sed -n 's/:.*//p'");
  char word[64];
  if (!pipe || fscanf(pipe.get(), "%63s", word) != 1) return;
  if (isAddress(word)) address.assign(word);
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
  Address address;
  readGatewayAddress(address);
  runDirectly(lookup.wake, address.text());
  Text<128> command;
  Pipe pipe(command.format(lookup.look_up, address.text()).text());
  if (!pipe) return false;
  char reply[129];
  pipe.readAll(reply);
  collectMac(reply, mac);
  return true;
}

}  // namespace orba
