#include "firewall/chain_flush.h"

#include "core/command.h"
#include "core/setting.h"

namespace orba {

namespace {

// Once the built-in chains are empty most of the deletions find nothing; they
// are for a firewall that was built by halves.
constexpr char kUnhookAndFlush[] =
    "iptables -F INPUT 1>/dev/null 2>&1\n"
    "iptables -F FORWARD 1>/dev/null 2>&1\n"
    "iptables -F OUTPUT 1>/dev/null 2>&1\n"
    "iptables -F DMZ 1>/dev/null 2>&1\n"
    "iptables -F MCL_FILTER 1>/dev/null 2>&1\n"
    "iptables -F MCL_IPCHAIN 1>/dev/null 2>&1\n"
    "iptables -F macipport_filter 1>/dev/null 2>&1\n"
    "iptables -F macipport_input_filter 1>/dev/null 2>&1\n"
    "iptables -F malicious_filter 1>/dev/null 2>&1\n"
    "iptables -F malicious_input_filter 1>/dev/null 2>&1\n"
    "iptables -F port_forward 1>/dev/null 2>&1\n"
    "iptables -F synflood_filter 1>/dev/null 2>&1\n"
    // No chain has two underscores: what others put into synflood_input_filter
    // outlives a rebuild, and is meant to.
    "iptables -F synflood__input_filter 1>/dev/null 2>&1\n"
    "iptables -F web_filter 1>/dev/null 2>&1\n"
    "iptables -F PING_DEATH  1>/dev/null 2>&1\n"
    "iptables -D FORWARD -j macipport_filter 1>/dev/null 2>&1\n"
    "iptables -F macipport_filter 1>/dev/null 2>&1\n"
    "iptables -D FORWARD -j web_filter  1>/dev/null 2>&1\n"
    "iptables -F web_filter  1>/dev/null 2>&1\n"
    "iptables -D FORWARD -j malicious_filter 1>/dev/null 2>&1\n"
    "iptables -F malicious_filter  1>/dev/null 2>&1\n"
    "iptables -D INPUT -j malicious_input_filter 1>/dev/null 2>&1\n"
    "iptables -F malicious_input_filter  1>/dev/null 2>&1\n";

constexpr char kResetBuiltIn[] =
    // Not a rule of this firewall's, but of others that may stand there.
    "iptables -D FORWARD -d 224.0.0.0/3 -j ACCEPT\n"
    "iptables -t nat -D PREROUTING -d 224.0.0.0/3 -j ACCEPT\n"
    "iptables -t filter -D INPUT -j MCL_IPCHAIN 1>/dev/null 2>&1\n"
    "iptables -t filter -F MCL_FILTER\n"
    "iptables -t filter -F MCL_IPCHAIN\n"
    "iptables -P INPUT ACCEPT\n"
    "iptables -P OUTPUT ACCEPT\n";

constexpr char kRemoveNat[] =
    "iptables -t nat -D POSTROUTING -j LAN_NAT_CHAIN 1>/dev/null 2>&1\n"
    "/bin/super_dmz -f\n"
    "iptables -t nat -D PREROUTING -j port_forward 1>/dev/null 2>&1\n"
    "iptables -t nat -F port_forward  1>/dev/null 2>&1; iptables -t nat -X port_forward  1>/dev/null 2>&1\n"
    "iptables -t nat -D PREROUTING -j DMZ 1>/dev/null 2>&1\n"
    "iptables -t nat -F DMZ 1>/dev/null 2>&1; iptables -t nat -X DMZ  1>/dev/null 2>&1\n";

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
