// Lets the answers of a DHCP server on the WAN side reach the router's relay.
#include "core/setting.h"
#include "orba_util.h"

int iptablesDHCPRelayChainRun(void) {
  if (!orba::setting("dhcpEnabled").is("2")) return 0;
  return doSystem(
      "iptables -t filter -A dhcp_relay_chain ! -i br+ -p udp --sport 67 --dport 67 -j ACCEPT");
}

int iptablesDHCPRelayChainFlush(void) {
  return doSystem("iptables -F dhcp_relay_chain");
}
