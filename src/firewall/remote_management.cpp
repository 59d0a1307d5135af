// The way back for remote management on the WAN side.
#include "core/setting.h"
#include "core/shell_word.h"
#include "net/interface_name.h"
#include "orba_util.h"

namespace orba {

namespace {

// Switched off by getOnePortOnly(): management through one address and port.
void allowOnePort(const char *wan, bool stateful) {
  if (stateful) {
    doSystem(
        "iptables -A malicious_input_filter -i %s -m state -d 172.32.1.254 -p tcp --dport 80 --state NEW,INVALID -j ACCEPT",
        wan);
  } else {
    doSystem("iptables -A malicious_input_filter -i %s -d 172.32.1.254 -p tcp --dport 80 -j ACCEPT",
             wan);
  }
}

}  // namespace

}  // namespace orba

int iptablesRemoteManagementRun(void) {
  using namespace orba;
  if (!setting("OperationMode").is("1") || setting("RemoteManagement").number() == 1) return 0;
  InterfaceName interface;
  wanInterface(1, interface);
  ShellWord wan(interface.text());
  bool stateful = setting("SPIFWEnabled").on();
  if (stateful) {
    doSystem(
        "iptables -A malicious_input_filter -i %s -m state --state RELATED,ESTABLISHED -j ACCEPT",
        wan.text());
  }
  if (getOnePortOnly() != 0) allowOnePort(wan.text(), stateful);
  return 0;
}
