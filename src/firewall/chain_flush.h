// Taking the firewall down.
#ifndef ORBA_FIREWALL_CHAIN_FLUSH_H
#define ORBA_FIREWALL_CHAIN_FLUSH_H

#pragma GCC visibility push(hidden)
namespace orba {

// Empties the built-in chains and the firewall's own of the filter table, and
// sets the policies: what falls off the end of FORWARD meets the opposite of
// the action that the filter rules take.
void iptablesFilterChainsFlush();

// Unhooks LAN_NAT_CHAIN and removes the nat chains port_forward and DMZ.
void iptablesNatChainsFlush();

}  // namespace orba
#pragma GCC visibility pop

#endif
