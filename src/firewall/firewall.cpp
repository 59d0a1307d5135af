// Builds the whole firewall from the settings.
#include <cstdio>

#include "core/command.h"
#include "core/setting.h"
#include "firewall/chain_flush.h"

namespace orba {

namespace {

// Whether this process has loaded the SIP modules. Another process does not
// know, and loads them again, which does no harm.
int sip_alg_modules_loaded = 0;

constexpr char kCreateChains[] =
    "iptables -t filter -N port_forward 1>/dev/null 2>&1\n"
    "iptables -t filter -N DMZ 1>/dev/null 2>&1\n"
    "iptables -t filter -N web_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -N macipport_input_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -N macipport_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -N malicious_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -N synflood_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -N malicious_input_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -N synflood_input_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -N PING_DEATH 1>/dev/null 2>&1\n"
    "iptables -t filter -N MCL_FILTER 1>/dev/null 2>&1\n"
    "iptables -t filter -N MCL_IPCHAIN 1>/dev/null 2>&1\n"
    "ebtables -t filter -N Policy_Route 1>/dev/null 2>&1\n"
    "iptables -t filter -N dhcp_relay_chain 1>/dev/null 2>&1\n"
    "ebtables -t nat -N MAC_Filter 1>/dev/null 2>&1\n"
    // The capitals name no chain, so this sets nothing and is meant to: the
    // policy of MAC_Filter is MACFilterRun's to set.
    "ebtables -t nat -P MAC_FILTER RETURN\n"
    "iptables -t filter -N FORWARD_UPNP 1>/dev/null 2>&1\n"
    "iptables -t filter -N FORWARD_IGMP 1>/dev/null 2>&1\n";

constexpr char kFillInput[] =
    // Protocol 2 is IGMP.
    "iptables -t filter -A INPUT -p 2 -j ACCEPT 1>/dev/null 2>&1\n"
    // The provider's TR-069 server calls on this port, ahead of every filter.
    "iptables -t filter -A INPUT -p tcp -m tcp --dport 7547 -j ACCEPT 1>/dev/null 2>&1\n"
    "iptables -t filter -A INPUT -j MCL_IPCHAIN 1>/dev/null 2>&1\n"
    "iptables -t filter -A INPUT -j malicious_input_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -A INPUT -j macipport_input_filter 1>/dev/null 2>&1\n"
    // ebtables' built-in chains are never emptied here: each jump is deleted first
    // so that it stands once.
    "ebtables -t filter -D INPUT -j Policy_Route 1>/dev/null 2>&1\n"
    "ebtables -t filter -A INPUT -j Policy_Route 1>/dev/null 2>&1\n"
    "iptables -t filter -A INPUT -j dhcp_relay_chain 1>/dev/null 2>&1\n"
    "iptables -t filter -A INPUT -i lo -j ACCEPT 1>/dev/null 2>&1\n"
    "iptables -t filter -A INPUT ! -i br+ -j DROP 1>/dev/null 2>&1\n";

constexpr char kHookMacFilter[] =
    "ebtables -t nat -D PREROUTING -j MAC_Filter 1>/dev/null 2>&1\n"
    "ebtables -t nat -A PREROUTING -j MAC_Filter 1>/dev/null 2>&1\n";

constexpr char kFillForward[] =
    "iptables -t filter -A FORWARD -j FORWARD_IGMP 1>/dev/null 2>&1\n"
    "iptables -t filter -A FORWARD -j FORWARD_UPNP 1>/dev/null 2>&1\n"
    "iptables -t filter -A FORWARD -j port_forward 1>/dev/null 2>&1\n"
    "iptables -t filter -A FORWARD -j DMZ 1>/dev/null 2>&1\n"
    "iptables -t filter -A FORWARD -j web_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -A FORWARD -j malicious_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -A FORWARD -j macipport_filter 1>/dev/null 2>&1\n";

constexpr char kJumpForSyn[] =
    "iptables -t filter -A malicious_filter -p tcp --syn -j synflood_filter 1>/dev/null 2>&1\n"
    "iptables -t filter -A malicious_input_filter -p tcp --syn -j synflood_input_filter 1>/dev/null 2>&1\n";

void fillFilterChains() {
  runAll(kJumpForSyn);
  iptablesIPPortFilterRun();
  iptablesWebsFilterRun();
  iptablesRemoteManagementRun();
  iptablesMaliciousFilterRun();
  iptablesDHCPRelayChainRun();
  iptablesMclRun();
  MACFilterRun();
}

constexpr char kHookNat[] =
    "iptables -t nat -N LAN_NAT_CHAIN 1>/dev/null 2>&1; iptables -t nat -A POSTROUTING -j LAN_NAT_CHAIN 1>/dev/null 2>&1\n"
    // Multicast and above is never translated.
    "iptables -t nat -A PREROUTING -d 224.0.0.0/3 -j ACCEPT 1>/dev/null 2>&1\n";

void buildNat() {
  iptablesNatChainsFlush();
  runAll(kHookNat);
  // Forwarded ports come before the DMZ host, and both before the rule above.
  iptablesDMZInit();
  doSystem("nat.sh");
  iptablesPortForwardRun();
  iptablesDMZRun();
}

constexpr char kLoadSip[] =
    "insmod /lib/modules/2.6.21/kernel/net/netfilter/nf_conntrack_sip.ko\n"
    "insmod /lib/modules/2.6.21/kernel/net/ipv4/netfilter/nf_nat_sip.ko\n";

constexpr char kUnloadSip[] =
    "rmmod nf_nat_sip.ko\n"
    "rmmod nf_conntrack_sip.ko\n";

void switchSipModules() {
  Setting enable = setting("SIPALGEnable");
  if (enable.missing()) {
    printf("Warning: can't find \"SIPALGEnable\" in flash\n");
    return;
  }
  int wanted = enable.number();
  if (wanted == 1 && sip_alg_modules_loaded == 0) {
    runAll(kLoadSip);
    sip_alg_modules_loaded = 1;
  } else if (wanted == 0 && sip_alg_modules_loaded == 1) {
    runAll(kUnloadSip);
    sip_alg_modules_loaded = 0;
  }
}

}  // namespace

}  // namespace orba

int firewall_init(void) {
  orba::iptablesFilterChainsFlush();
  MACFilterFlush();
  orba::runAll(orba::kCreateChains);
  orba::runAll(orba::kFillInput);
  orba::runAll(orba::kHookMacFilter);
  iptablesPathMTU();
  orba::runAll(orba::kFillForward);
  orba::fillFilterChains();
  orba::buildNat();
  orba::switchSipModules();
  return 0;
}
