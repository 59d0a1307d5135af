// Trusted addresses for the management services.
#include "firewall/access_list.h"

#include "core/command.h"
#include "core/setting.h"
#include "core/shell_word.h"

namespace orba {

namespace {

// Everyone else. TFTP is left out on purpose: it stays open to untrusted sources.
constexpr char kDropUntrusted[] =
    "iptables -A MCL_IPCHAIN -p tcp --dport 21 -j DROP\n"
    "iptables -A MCL_IPCHAIN -p tcp --dport 23 -j DROP\n"
    "iptables -A MCL_IPCHAIN -p tcp --dport 80 -j DROP\n"
    "iptables -A MCL_IPCHAIN -p udp --dport 161 -j DROP\n"
    "iptables -A MCL_IPCHAIN -p icmp --icmp-type 8 -j DROP\n"
    "iptables -A MCL_IPCHAIN -p tcp --dport 22 -j DROP\n";

void acceptTrusted(const Record &source) {
  ShellWord word(source.slice());
  if (isRange(source)) {
    doSystem("iptables -A MCL_IPCHAIN -m iprange --src-range %s -j ACCEPT", word.text());
  } else {
    doSystem("iptables -A MCL_IPCHAIN -s %s -j ACCEPT", word.text());
  }
}

}  // namespace

}  // namespace orba

int iptablesAclRun(void) {
  using namespace orba;
  // In front, so that the services' own rules are consulted first.
  doSystem("iptables -t filter -I MCL_IPCHAIN -j MCL_FILTER 1>/dev/null 2>&1");
  if (setting("aclMode").number() != 1) return 0;
  for (Record source : trustedSources(setting("aclRules").text())) acceptTrusted(source);
  runAll(kDropUntrusted);
  return 0;
}
