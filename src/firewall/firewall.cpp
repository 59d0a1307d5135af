// Builds the whole firewall from the settings.
#include <cstdio>

#include "core/command.h"
#include "core/setting.h"
#include "firewall/chain_flush.h"
#include "firewall/chains.h"

namespace orba {

namespace {

// Whether this process has loaded the SIP modules. Another process does not
// know, and loads them again, which does no harm.
int sip_alg_modules_loaded = 0;

constexpr const char *kFilterChains[] = {
    chain::kPortForward,         chain::kDmz,
    chain::kWebFilter,           chain::kMacIpPortInputFilter,
    chain::kMacIpPortFilter,     chain::kMaliciousFilter,
    chain::kSynFloodFilter,      chain::kMaliciousInputFilter,
    chain::kSynFloodInputFilter, chain::kPingDeath,
    chain::kMclFilter,           chain::kMclIpChain,
};

constexpr const char *kForwardJumps[] = {
    chain::kForwardIgmp, chain::kForwardUpnp,     chain::kPortForward,     chain::kDmz,
    chain::kWebFilter,   chain::kMaliciousFilter, chain::kMacIpPortFilter,
};

void createFilterChain(const char *name) {
  doSystem("iptables -t filter -N %s 1>/dev/null 2>&1", name);
}

void createChains() {
  for (const char *name : kFilterChains) createFilterChain(name);
  doSystem("ebtables -t filter -N %s 1>/dev/null 2>&1", chain::kPolicyRoute);
  createFilterChain(chain::kDhcpRelay);
  doSystem("ebtables -t nat -N %s 1>/dev/null 2>&1", chain::kMacFilter);
  // The capitals name no chain, so this sets nothing and is meant to: the
  // policy of MAC_Filter is MACFilterRun's to set.
  doSystem("ebtables -t nat -P MAC_FILTER RETURN");
  createFilterChain(chain::kForwardUpnp);
  createFilterChain(chain::kForwardIgmp);
}

void jumpFromInput(const char *name) {
  doSystem("iptables -t filter -A INPUT -j %s 1>/dev/null 2>&1", name);
}

void fillInput() {
  // Protocol 2 is IGMP.
  doSystem("iptables -t filter -A INPUT -p 2 -j ACCEPT 1>/dev/null 2>&1");
  // The provider's TR-069 server calls on this port, ahead of every filter.
  doSystem("iptables -t filter -A INPUT -p tcp -m tcp --dport 7547 -j ACCEPT 1>/dev/null 2>&1");
  jumpFromInput(chain::kMclIpChain);
  jumpFromInput(chain::kMaliciousInputFilter);
  jumpFromInput(chain::kMacIpPortInputFilter);
  // ebtables' built-in chains are never emptied here: each jump is deleted first
  // so that it stands once.
  doSystem("ebtables -t filter -D INPUT -j %s 1>/dev/null 2>&1", chain::kPolicyRoute);
  doSystem("ebtables -t filter -A INPUT -j %s 1>/dev/null 2>&1", chain::kPolicyRoute);
  jumpFromInput(chain::kDhcpRelay);
  doSystem("iptables -t filter -A INPUT -i lo -j ACCEPT 1>/dev/null 2>&1");
  doSystem("iptables -t filter -A INPUT ! -i br+ -j DROP 1>/dev/null 2>&1");
}

void hookMacFilter() {
  doSystem("ebtables -t nat -D PREROUTING -j %s 1>/dev/null 2>&1", chain::kMacFilter);
  doSystem("ebtables -t nat -A PREROUTING -j %s 1>/dev/null 2>&1", chain::kMacFilter);
}

void fillForward() {
  iptablesPathMTU();
  for (const char *name : kForwardJumps) {
    doSystem("iptables -t filter -A FORWARD -j %s 1>/dev/null 2>&1", name);
  }
}

void jumpForSyn(const char *from, const char *to) {
  doSystem("iptables -t filter -A %s -p tcp --syn -j %s 1>/dev/null 2>&1", from, to);
}

void fillFilterChains() {
  jumpForSyn(chain::kMaliciousFilter, chain::kSynFloodFilter);
  jumpForSyn(chain::kMaliciousInputFilter, chain::kSynFloodInputFilter);
  iptablesIPPortFilterRun();
  iptablesWebsFilterRun();
  iptablesRemoteManagementRun();
  iptablesMaliciousFilterRun();
  iptablesDHCPRelayChainRun();
  iptablesMclRun();
  MACFilterRun();
}

void buildNat() {
  iptablesNatChainsFlush();
  doSystem(
      "iptables -t nat -N %s 1>/dev/null 2>&1; iptables -t nat -A POSTROUTING -j %s 1>/dev/null 2>&1",
      chain::kLanNat, chain::kLanNat);
  // Multicast and above is never translated.
  doSystem("iptables -t nat -A PREROUTING -d 224.0.0.0/3 -j ACCEPT 1>/dev/null 2>&1");
  // Forwarded ports come before the DMZ host, and both before the rule above.
  // iptablesDMZInit is exactly these two commands.
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
  orba::createChains();
  orba::fillInput();
  orba::hookMacFilter();
  orba::fillForward();
  orba::fillFilterChains();
  orba::buildNat();
  orba::switchSipModules();
  return 0;
}
