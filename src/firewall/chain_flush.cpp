#include "firewall/chain_flush.h"

#include "core/command.h"
#include "core/setting.h"

namespace orba {

namespace {

// Once the built-in chains are empty most of the deletions find nothing; they
// are for a firewall that was built by halves.
constexpr const char *kUnhookAndFlush[] = {
    "iptables -F INPUT 1>/dev/null 2>&1",
    "iptables -F FORWARD 1>/dev/null 2>&1",
    "iptables -F OUTPUT 1>/dev/null 2>&1",
    "iptables -F DMZ 1>/dev/null 2>&1",
    "iptables -F MCL_FILTER 1>/dev/null 2>&1",
    "iptables -F MCL_IPCHAIN 1>/dev/null 2>&1",
    "iptables -F macipport_filter 1>/dev/null 2>&1",
    "iptables -F macipport_input_filter 1>/dev/null 2>&1",
    "iptables -F malicious_filter 1>/dev/null 2>&1",
    "iptables -F malicious_input_filter 1>/dev/null 2>&1",
    "iptables -F port_forward 1>/dev/null 2>&1",
    "iptables -F synflood_filter 1>/dev/null 2>&1",
    // No chain has two underscores: what others put into synflood_input_filter
    // outlives a rebuild, and is meant to.
    "iptables -F synflood__input_filter 1>/dev/null 2>&1",
    "iptables -F web_filter 1>/dev/null 2>&1",
    "iptables -F PING_DEATH  1>/dev/null 2>&1",
    "iptables -D FORWARD -j macipport_filter 1>/dev/null 2>&1",
    "iptables -F macipport_filter 1>/dev/null 2>&1",
    "iptables -D FORWARD -j web_filter  1>/dev/null 2>&1",
    "iptables -F web_filter  1>/dev/null 2>&1",
    "iptables -D FORWARD -j malicious_filter 1>/dev/null 2>&1",
    "iptables -F malicious_filter  1>/dev/null 2>&1",
    "iptables -D INPUT -j malicious_input_filter 1>/dev/null 2>&1",
    "iptables -F malicious_input_filter  1>/dev/null 2>&1",
};

constexpr const char *kResetBuiltIn[] = {
    // Not a rule of this firewall's, but of others that may stand there.
    "iptables -D FORWARD -d 224.0.0.0/3 -j ACCEPT",
    "iptables -t nat -D PREROUTING -d 224.0.0.0/3 -j ACCEPT",
    "iptables -t filter -D INPUT -j MCL_IPCHAIN 1>/dev/null 2>&1",
    "iptables -t filter -F MCL_FILTER",
    "iptables -t filter -F MCL_IPCHAIN",
    "iptables -P INPUT ACCEPT",
    "iptables -P OUTPUT ACCEPT",
};

constexpr const char *kRemoveNat[] = {
    "iptables -t nat -D POSTROUTING -j LAN_NAT_CHAIN 1>/dev/null 2>&1",
    "/bin/super_dmz -f",
    "iptables -t nat -D PREROUTING -j port_forward 1>/dev/null 2>&1",
    "iptables -t nat -F port_forward  1>/dev/null 2>&1; iptables -t nat -X port_forward  1>/dev/null 2>&1",
    "iptables -t nat -D PREROUTING -j DMZ 1>/dev/null 2>&1",
    "iptables -t nat -F DMZ 1>/dev/null 2>&1; iptables -t nat -X DMZ  1>/dev/null 2>&1",
};

}  // namespace

void iptablesFilterChainsFlush() {
  runAll(kUnhookAndFlush);
  iptablesDHCPRelayChainFlush();
  runAll(kResetBuiltIn);
  Setting action = setting("firewallAction");
  if (action.is("DROP")) {
    doSystem("iptables -P FORWARD ACCEPT");
  } else if (action.is("ACCEPT")) {
    doSystem("iptables -P FORWARD DROP");
  }
}

void iptablesNatChainsFlush() {
  runAll(kRemoveNat);
}

}  // namespace orba

int firewall_fini(void) {
  orba::iptablesFilterChainsFlush();
  orba::iptablesNatChainsFlush();
  return MACFilterFlush();
}

int iptablesDMZFlush(void) {
  doSystem("iptables -t filter -F DMZ 1>/dev/null 2>&1");
  doSystem("iptables -t nat -F DMZ 1>/dev/null 2>&1");
  return doSystem("/bin/super_dmz -f");
}

int iptablesPortForwardFlush(void) {
  doSystem("iptables -t filter -F port_forward 1>/dev/null 2>&1");
  return doSystem("iptables -t nat -F port_forward 1>/dev/null 2>&1");
}

int MACFilterFlush(void) {
  return doSystem("ebtables -t nat -F MAC_Filter");
}
