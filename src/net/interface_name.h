// Which Linux interface plays the LAN and each WAN.
#ifndef ORBA_NET_INTERFACE_NAME_H
#define ORBA_NET_INTERFACE_NAME_H

#include "core/setting.h"
#include "core/text.h"

#pragma GCC visibility push(hidden)
namespace orba {

// What the callers of the exported getters provide, so names from settings are
// cut to it.
constexpr size_t kInterfaceNameSize = 32;
using InterfaceName = Text<kInterfaceNameSize>;

constexpr int kWans = 4;

// The Ethernet side of WAN `wan`: "eth2.2", "apcli0", "eth2.30"; empty when
// the settings name none.
void wanDevice(int wan, InterfaceName &name);

// The interface that WAN `wan` sends through: "ppp0" for WAN 1 and "ppp1" to
// "ppp3" for the others when they connect by PPP, their device otherwise.
void wanInterface(int wan, InterfaceName &name);

// A key of the default WAN's: "wanAddressType", and "wanAddressType2" with
// whatever `default_wan` holds for another WAN than the first.
Setting defaultWanSetting(const char *key);

// Whether a connection mode makes a PPP interface.
inline bool connectsByPpp(const Setting &connection_mode) {
  return connection_mode.isOneOf("PPPOE", "L2TP", "PPTP");
}

}  // namespace orba
#pragma GCC visibility pop

#endif
