// The MAC address of the WAN gateway, as the switch's table is searched for it.
#ifndef ORBA_SWITCH_GATEWAY_MAC_H
#define ORBA_SWITCH_GATEWAY_MAC_H

#include "core/text.h"

#pragma GCC visibility push(hidden)
namespace orba {

// Hex digits without separators: twelve of a proper address, anything else of
// what ARP printed instead.
using GatewayMac = Text<160>;

// The commands that make the gateway answer and that look it up, each with a
// "%s" for its address.
struct GatewayLookup {
  const char *wake;
  const char *look_up;
};

// Takes the gateway from /var/wan1.info. False when the look-up cannot be started.
bool lookUpGateway(const GatewayLookup &lookup, GatewayMac &mac);

}  // namespace orba
#pragma GCC visibility pop

#endif
