// Pings, port scans, SYN floods, long pings and LAND packets.
#include "core/command.h"
#include "core/setting.h"
#include "core/shell_word.h"
#include "firewall/chains.h"
#include "net/interface_name.h"

namespace orba {

namespace {

void filterPings(const char *side, bool drop) {
  if (drop) {
    doSystem("iptables -A %s -i %s -p icmp --icmp-type echo-request -j DROP",
             chain::kMaliciousInputFilter, side);
  } else {
    doSystem("iptables -A %s -i %s -p icmp --icmp-type echo-request -j ACCEPT",
             chain::kMaliciousInputFilter, side);
  }
}

// Flag combinations that no honest sender makes.
void blockPortScan(const char *chain) {
  doSystem("iptables -A %s -p tcp --tcp-flags ALL FIN,URG,PSH -j DROP", chain);
  doSystem("iptables -A %s -p tcp --tcp-flags ALL SYN,RST,ACK,FIN,URG -j DROP", chain);
  doSystem("iptables -A %s -p tcp --tcp-flags ALL NONE -j DROP", chain);
  doSystem("iptables -A %s -p tcp --tcp-flags SYN,RST SYN,RST -j DROP", chain);
  doSystem("iptables -A %s -p tcp --tcp-flags SYN,FIN SYN,FIN -j DROP", chain);
}

void limitPings(const char *chain) {
  doSystem("iptables -A %s -p icmp --icmp-type echo-request -m state --state NEW -j %s", chain,
           chain::kPingDeath);
}

// Drops long pings, and lets one echo request a second through.
void blockPingOfDeath() {
  doSystem("iptables -A %s -p icmp -m length ! --length 0:1536 -j DROP", chain::kPingDeath);
  doSystem("iptables -A %s -p icmp --icmp-type echo-request -m limit --limit 1/s -j RETURN",
           chain::kPingDeath);
  doSystem("iptables -A %s -p icmp -j DROP", chain::kPingDeath);
  limitPings(chain::kMaliciousInputFilter);
  limitPings(chain::kMaliciousFilter);
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
  doSystem("iptables -A %s ! -i br+ -s %s -d %s -j DROP", chain::kMaliciousInputFilter, own.text(),
           own.text());
}

// Puts the jump of TCP SYN packets back in front of what follows.
void restartChain(const char *chain, const char *syn_chain) {
  doSystem("iptables -F %s  1>/dev/null 2>&1", chain);
  doSystem("iptables -F %s  1>/dev/null 2>&1", syn_chain);
  doSystem("iptables -A %s -p tcp --syn -j %s 1>/dev/null 2>&1", chain, syn_chain);
}

}  // namespace

}  // namespace orba

int iptablesMaliciousFilterRun(void) {
  namespace chain = orba::chain;
  orba::Setting wan_ping = orba::setting("WANPingFilter");
  orba::Setting port_scan = orba::setting("BlockPortScan");
  orba::Setting syn_flood = orba::setting("BlockSynFlood");
  if (wan_ping.missing() || port_scan.missing() || syn_flood.missing()) return 0;

  orba::filterPings("! br+", wan_ping.on());
  orba::filterPings("br+", orba::setting("LANPingFilter").on());
  if (port_scan.on()) {
    orba::blockPortScan(chain::kMaliciousFilter);
    orba::blockPortScan(chain::kMaliciousInputFilter);
  }
  if (syn_flood.on()) orba::runIntoFile("echo 1 > /proc/sys/net/ipv4/tcp_syncookies");
  if (orba::setting("BlockPingofDeath").on()) orba::blockPingOfDeath();
  if (orba::setting("BlockLAND").on()) orba::blockLand();
  return 0;
}

// Also takes away the rule for answers to the router's own connections, which
// stands in malicious_input_filter; only firewall_init brings it back.
int iptablesMaliciousFilterFlush(void) {
  namespace chain = orba::chain;
  orba::restartChain(chain::kMaliciousFilter, chain::kSynFloodFilter);
  orba::restartChain(chain::kMaliciousInputFilter, chain::kSynFloodInputFilter);
  doSystem("iptables -F %s  1>/dev/null 2>&1", chain::kPingDeath);
  orba::runIntoFile("echo 0 > /proc/sys/net/ipv4/tcp_syncookies");
  return 0;
}
