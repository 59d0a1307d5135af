// Which side the router's management services are open to.
#include "core/setting.h"
#include "core/shell_word.h"
#include "orba_util.h"

namespace orba {

namespace {

struct Service {
  const char *mode_key;
  const char *protocol;
  int port;
};

// The services' well-known ports, whatever the RM...ServerPort settings say.
constexpr Service kServices[] = {
    {"httpMode", "tcp", 80},  {"ftpMode", "tcp", 21},  {"telnetMode", "tcp", 23},
    {"snmpMode", "udp", 161}, {"icmpMode", "icmp", 0}, {"sshMode", "tcp", 22},
    {"tftpMode", "udp", 69},
};

enum Mode : unsigned { kLanOnly = 0, kWanOnly = 1, kNowhere = 3 };  // any other: everywhere

// With a list of trusted addresses in force an allowed service goes back to
// MCL_IPCHAIN, where the list decides.
const char *allowTarget() {
  return setting("aclMode").on() ? "RETURN" : "ACCEPT";
}

void controlPing(unsigned int mode, const char *allow) {
  switch (mode) {
    case kLanOnly:
      doSystem("iptables -A MCL_FILTER -i ! br+ -p icmp --icmp-type 8 -j DROP");
      doSystem("iptables -A MCL_FILTER -i br+ -p icmp --icmp-type 8 -j %s", allow);
      break;
    case kWanOnly:
      doSystem("iptables -A MCL_FILTER -i br+ -p icmp --icmp-type 8 -j DROP");
      doSystem("iptables -A MCL_FILTER -i ! br+ -p icmp --icmp-type 8 -j %s", allow);
      break;
    case kNowhere:
      // One rule a side, where one without an interface would do: meant so.
      doSystem("iptables -A MCL_FILTER -i br+ -p icmp --icmp-type 8 -j DROP");
      doSystem("iptables -A MCL_FILTER -i ! br+ -p icmp --icmp-type 8 -j DROP");
      break;
    default:
      doSystem("iptables -A MCL_FILTER -p icmp --icmp-type 8 -j %s", allow);
  }
}

void controlPort(unsigned int mode, const char *protocol, int port, const char *allow) {
  switch (mode) {
    case kLanOnly:
      doSystem("iptables -A MCL_FILTER -i ! br+ -p %s --dport %d -j DROP", protocol, port);
      doSystem("iptables -A MCL_FILTER -i br+ -p %s --dport %d -j %s", protocol, port, allow);
      break;
    case kWanOnly:
      doSystem("iptables -A MCL_FILTER -i br+ -p %s --dport %d -j DROP", protocol, port);
      doSystem("iptables -A MCL_FILTER -i ! br+ -p %s --dport %d -j %s", protocol, port, allow);
      break;
    case kNowhere:
      doSystem("iptables -A MCL_FILTER -p %s --dport %d -j DROP", protocol, port);
      break;
    default:
      doSystem("iptables -A MCL_FILTER -p %s --dport %d -j %s", protocol, port, allow);
  }
}

}  // namespace

}  // namespace orba

int setServiceControl(unsigned int mode, const char *protocol, int port) {
  const char *allow = orba::allowTarget();
  if (orba::same(protocol, "icmp")) {
    orba::controlPing(mode, allow);
  } else {
    orba::controlPort(mode, orba::ShellWord(protocol).text(), port, allow);
  }
  return 0;
}

int iptablesMclRun(void) {
  using namespace orba;
  doSystem("iptables -t filter -F MCL_FILTER");
  doSystem("iptables -t filter -F MCL_IPCHAIN");
  for (const Service &service : kServices) {
    unsigned int mode = static_cast<unsigned int>(setting(service.mode_key).number());
    setServiceControl(mode, service.protocol, service.port);
  }
  return iptablesAclRun();
}
