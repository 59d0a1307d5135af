#include "firewall/super_dmz.h"

#include "core/command.h"
#include "core/setting.h"
#include "core/shell_word.h"
#include "firewall/port_forward_list.h"

namespace orba {

namespace {

// "-t 80:90 -u 80:90 ": as long as the command itself may be, so that a command
// with a list that was cut is too long to be run. The DMZ host must not get the
// ports that were left out.
using PortOptions = Text<kCommandSize>;

void appendOptions(PortOptions &options, int protocols, const char *ports) {
  ShellWord word(ports);
  if (protocols & kTcp) options.append("-t ").append(word.text()).append(" ");
  if (protocols & kUdp) options.append("-u ").append(word.text()).append(" ");
}

void listForwardedPorts(PortOptions &options) {
  if (!setting("PortForwardEnable").on()) return;
  for (Record record : RuleList(setting("PortForwardRules").text())) {
    SuperDmzForward forward(record);
    if (faulty(forward.fault())) continue;
    Text<16> ports(forward.ports.first.text());
    if (forward.ports.last.number() != 0) ports.append(":").append(forward.ports.last.text());
    appendOptions(options, forward.protocols(), ports.text());
  }
}

void listSinglePorts(PortOptions &options) {
  if (!setting("SinglePortForwardEnable").on()) return;
  for (Record record : RuleList(setting("SinglePortForwardRules").text())) {
    SuperDmzSinglePort single(record);
    if (faulty(single.fault())) continue;
    appendOptions(options, single.protocols(), single.port.text());
  }
}

}  // namespace

void runSuperDmz() {
  PortOptions forwarded;
  PortOptions single;
  listForwardedPorts(forwarded);
  listSinglePorts(single);
  doSystem("/bin/super_dmz %s %s %s", setting("DMZAvoidTCPPort80").on() ? "-t 80 " : "",
           forwarded.text(), single.text());
}

}  // namespace orba
