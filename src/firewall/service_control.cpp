// Which side the router's management services are open to.
#include "core/setting.h"
#include "core/shell_word.h"
#include "firewall/chains.h"
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

constexpr char kLan[] = "br+";
constexpr char kWan[] = "! br+";

// One service's rules: packets from `from` (from anywhere without it) go to `target`.
class ServiceRules {
 public:
  ServiceRules(const char *protocol, int port)
      : ping_(same(protocol, "icmp")), protocol_(protocol), port_(port) {}

  bool isPing() const { return ping_; }

  void append(const char *from, const char *target) const {
    const char *mcl = chain::kMclFilter;
    if (ping_) {
      doSystem("iptables -A %s -i %s -p icmp --icmp-type 8 -j %s", mcl, from, target);
    } else {
      doSystem("iptables -A %s -i %s -p %s --dport %d -j %s", mcl, from, protocol_.text(), port_,
               target);
    }
  }
  void append(const char *target) const {
    const char *mcl = chain::kMclFilter;
    if (ping_) {
      doSystem("iptables -A %s -p icmp --icmp-type 8 -j %s", mcl, target);
    } else {
      doSystem("iptables -A %s -p %s --dport %d -j %s", mcl, protocol_.text(), port_, target);
    }
  }

 private:
  bool ping_;
  ShellWord protocol_;
  int port_;
};

// With a list of trusted addresses in force an allowed service goes back to
// MCL_IPCHAIN, where the list decides.
const char *allowTarget() {
  return setting("aclMode").on() ? "RETURN" : "ACCEPT";
}

}  // namespace

}  // namespace orba

int setServiceControl(unsigned int mode, const char *protocol, int port) {
  using namespace orba;
  ServiceRules rules(protocol, port);
  const char *allow = allowTarget();
  switch (mode) {
    case kWanOnly:
      rules.append(kLan, "DROP");
      rules.append(kWan, allow);
      break;
    case kLanOnly:
      rules.append(kWan, "DROP");
      rules.append(kLan, allow);
      break;
    case kNowhere:
      if (rules.isPing()) {
        // One rule a side, where one without an interface would do: meant so.
        rules.append(kLan, "DROP");
        rules.append(kWan, "DROP");
      } else {
        rules.append("DROP");
      }
      break;
    default:
      rules.append(allow);
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
