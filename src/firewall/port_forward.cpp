// Forwarded ports: DNAT to a LAN host, and the way in for what was translated.
#include <cstdio>

#include "core/command.h"
#include "core/shell_word.h"
#include "firewall/forwarding_wan.h"
#include "firewall/port_forward_list.h"

namespace orba {

namespace {

// What all rules of one run share, quoted for the shell.
struct Wan {
  const char *interface;
  const char *address;
};

// "-p tcp --dport 80:90 ", the port unchanged by the translation.
void appendMatch(TextBuffer &match, int protocol, const PortFields &ports) {
  match.append(protocol == kTcp ? "-p tcp " : "-p udp ");
  if (int last = ports.last.number(); last != 0) {
    match.format("--dport %d:%d ", ports.first.number(), last);
  } else {
    match.format("--dport %d ", ports.first.number());
  }
}

void forwardPort(const Wan &wan, int protocol, const PortForward &forward) {
  Text<64> match;
  appendMatch(match, protocol, forward.ports);
  ShellWord host(forward.lan_address.text());
  doSystem("iptables -t filter -A port_forward -i %s -d %s %s -j ACCEPT", wan.interface,
           host.text(), match.text());
  doSystem("iptables -t nat -A port_forward -j DNAT -d %s %s--to %s ", wan.address, match.text(),
           host.text());
}

}  // namespace

}  // namespace orba

void iptablesPortForwardRun(void) {
  using namespace orba;
  Setting rules = setting("PortForwardRules");
  if (rules.missing()) {
    debug("Warning: can't find \"PortForwardRules\" in flash\n");
    return;
  }
  Text<16> interface;
  forwardingWan(interface);
  char address[16] = "";
  getIfIp(interface.text(), address);
  ShellWord quoted_interface(interface.text());
  ShellWord quoted_address(address);
  Wan wan = {quoted_interface.text(), quoted_address.text()};

  int protocols_before = 0;
  for (Record record : RuleList(rules.text())) {
    PortForward forward(record, protocols_before);
    RecordFault fault = forward.fault();
    if (!faulty(fault)) {
      protocols_before = forward.protocols;
      if (forward.protocols & kTcp) forwardPort(wan, kTcp, forward);
      if (forward.protocols & kUdp) forwardPort(wan, kUdp, forward);
    } else if (fault.field == PortForward::kAddress && !forward.lan_address.missing()) {
      printf("isIpValid(): %s is not a valid IP address.\n", forward.lan_address.text());
    }
  }
}
