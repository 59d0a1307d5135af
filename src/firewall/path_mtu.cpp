// TCP segment sizes that fit a PPP link.
#include "core/command.h"
#include "core/setting.h"
#include "net/interface_name.h"

namespace orba {

namespace {

constexpr int kIpAndTcpHeaders = 40;
constexpr int kPppoeMtu = 1492;

// The MTU set by hand is not bounded: one that makes no sense makes a rule that
// makes none. The subtraction wraps rather than overflows.
int pppoeMss() {
  int mtu = setting("wan_MTU_manaul").number() == 1 ? setting("wan_MTU").number() : kPppoeMtu;
  return static_cast<int>(static_cast<unsigned>(mtu) - kIpAndTcpHeaders);
}

void clampPppoe(InterfaceName &wan) {
  wanInterface(1, wan);
  int mss = pppoeMss();
  debug("default:%s, WAN MTU:%d\n", wan.text(), mss);
  doSystem(
      "iptables -A FORWARD -p tcp -i %s --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss %d:1536 -j TCPMSS --set-mss %d",
      wan.text(), mss, mss);
}

}  // namespace

}  // namespace orba

int iptablesPathMTU(void) {
  doSystem(
      "iptables -t filter -A FORWARD -o ppp+ -p tcp --tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu 1>/dev/null 2>&1");
  orba::InterfaceName wan;
  orba::Setting mode = orba::setting("wanConnectionMode");
  // Traced ahead of the look-up: the name is still empty here.
  debug("ifname:%s, wanmode:%s\n", wan.text(), mode.text());
  if (mode.is("PPPOE")) orba::clampPppoe(wan);
  // Every PPP link, whatever its mode: no segment longer than PPPoE's own MTU leaves.
  doSystem(
      "iptables -A FORWARD -p tcp -i ppp+ --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1452:1536 -j TCPMSS --set-mss 1452");
  return 0;
}
