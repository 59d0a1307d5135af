// The WAN whose traffic is forwarded to LAN hosts.
#ifndef ORBA_FIREWALL_FORWARDING_WAN_H
#define ORBA_FIREWALL_FORWARDING_WAN_H

#include "core/setting.h"
#include "net/interface_name.h"

namespace orba {

// The first WAN when defaultRouteNum is 1, the second one otherwise, cut to
// what the kernel takes for an interface name.
inline void forwardingWan(Text<16> &name) {
  InterfaceName whole;
  wanInterface(setting("defaultRouteNum").number() == 1 ? 1 : 2, whole);
  name.assign(whole.text());
}

}  // namespace orba

#endif
