// Pings, port scans, SYN floods, long pings and LAND packets.
#include "core/command.h"
#include "core/setting.h"
#include "core/shell_word.h"
#include "net/interface_name.h"

namespace orba {

namespace {

// Flag combinations that no honest sender makes.
constexpr char kBlockPortScan[] =
    "iptables -A malicious_filter -p tcp --tcp-flags ALL FIN,URG,PSH -j DROP\n"
    "iptables -A malicious_filter -p tcp --tcp-flags ALL SYN,RST,ACK,FIN,URG -j DROP\n"
    "iptables -A malicious_filter -p tcp --tcp-flags ALL NONE -j DROP\n"
    "iptables -A malicious_filter -p tcp --tcp-flags SYN,RST SYN,RST -j DROP\n"
    "iptables -A malicious_filter -p tcp --tcp-flags SYN,FIN SYN,FIN -j DROP\n"
    "iptables -A malicious_input_filter -p tcp --tcp-flags ALL FIN,URG,PSH -j DROP\n"
    "iptables -A malicious_input_filter -p tcp --tcp-flags ALL SYN,RST,ACK,FIN,URG -j DROP\n"
    "iptables -A malicious_input_filter -p tcp --tcp-flags ALL NONE -j DROP\n"
    "iptables -A malicious_input_filter -p tcp --tcp-flags SYN,RST SYN,RST -j DROP\n"
    "iptables -A malicious_input_filter -p tcp --tcp-flags SYN,FIN SYN,FIN -j DROP\n";

// Drops long pings, and lets one echo request a second through.
constexpr char kBlockPingOfDeath[] =
    "iptables -A PING_DEATH -p icmp -m length ! --length 0:1536 -j DROP\n"
    "iptables -A PING_DEATH -p icmp --icmp-type echo-request -m limit --limit 1/s -j RETURN\n"
    "iptables -A PING_DEATH -p icmp -j DROP\n"
    "iptables -A malicious_input_filter -p icmp --icmp-type echo-request -m state --state NEW -j PING_DEATH\n"
    "iptables -A malicious_filter -p icmp --icmp-type echo-request -m state --state NEW -j PING_DEATH\n";

// Puts the jumps of TCP SYN packets back in front of what follows.
constexpr char kRestartChains[] =
    "iptables -F malicious_filter  1>/dev/null 2>&1\n"
    "iptables -F synflood_filter  1>/dev/null 2>&1\n"
    "iptables -A malicious_filter -p tcp --syn -j synflood_filter 1>/dev/null 2>&1\n"
    "iptables -F malicious_input_filter  1>/dev/null 2>&1\n"
    "iptables -F synflood_input_filter  1>/dev/null 2>&1\n"
    "iptables -A malicious_input_filter -p tcp --syn -j synflood_input_filter 1>/dev/null 2>&1\n"
    "iptables -F PING_DEATH  1>/dev/null 2>&1\n";

void filterPings(bool drop_from_wan, bool drop_from_lan) {
  doSystem(
      drop_from_wan
          ? "iptables -A malicious_input_filter -i ! br+ -p icmp --icmp-type echo-request -j DROP"
          : "iptables -A malicious_input_filter -i ! br+ -p icmp --icmp-type echo-request -j ACCEPT");
  doSystem(
      drop_from_lan
          ? "iptables -A malicious_input_filter -i br+ -p icmp --icmp-type echo-request -j DROP"
          : "iptables -A malicious_input_filter -i br+ -p icmp --icmp-type echo-request -j ACCEPT");
}

// The PPP daemon's stand-in until the peer has given an address.
bool isNegotiating(const InterfaceName &wan, const char *address) {
  return strstr(wan.text(), "ppp") != nullptr && strncmp(address, "10.64.64", 8) == 0;
}

// Drops packets that claim to come from the router's own WAN address. While the
// WAN is down there is no such address, and no rule until the next rebuild.
void blockLand() {
  InterfaceName wan;
  char address[16] = "";
  wanInterface(1, wan);
  bool known = getIfIp(wan.text(), address) != -1;
  if (getWANLinkStatus() == 0 || isNegotiating(wan, address) || !known) return;
  ShellWord own(address);
  doSystem("iptables -A malicious_input_filter ! -i br+ -s %s -d %s -j DROP", own.text(),
           own.text());
}

}  // namespace

}  // namespace orba

int iptablesMaliciousFilterRun(void) {
  orba::Setting wan_ping = orba::setting("WANPingFilter");
  orba::Setting port_scan = orba::setting("BlockPortScan");
  orba::Setting syn_flood = orba::setting("BlockSynFlood");
  if (wan_ping.missing() || port_scan.missing() || syn_flood.missing()) return 0;

  orba::filterPings(wan_ping.on(), orba::setting("LANPingFilter").on());
  if (port_scan.on()) orba::runAll(orba::kBlockPortScan);
  if (syn_flood.on()) orba::runIntoFile("/proc/sys/net/ipv4/tcp_syncookies", "echo 1");
  if (orba::setting("BlockPingofDeath").on()) orba::runAll(orba::kBlockPingOfDeath);
  if (orba::setting("BlockLAND").on()) orba::blockLand();
  return 0;
}

// Also takes away the rule for answers to the router's own connections, which
// stands in malicious_input_filter; only firewall_init brings it back.
int iptablesMaliciousFilterFlush(void) {
  orba::runAll(orba::kRestartChains);
  orba::runIntoFile("/proc/sys/net/ipv4/tcp_syncookies", "echo 0");
  return 0;
}
