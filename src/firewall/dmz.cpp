// The DMZ host: gets everything from the WAN that no rule took before.
#include <cstdio>

#include "core/command.h"
#include "core/shell_word.h"
#include "firewall/forwarding_wan.h"
#include "firewall/super_dmz.h"

namespace orba {

namespace {

// TR-069 and SNMP stay with the router. The third rule already translates all
// the rest, so the last one, which was to spare the web port, never matches:
// the order is meant to stay.
constexpr char kTranslateToDmz[] =
    "iptables -t nat -A DMZ -i %s -p tcp --dport 7547 -j RETURN"
    ";iptables -t nat -A DMZ -i %s -p tcp --dport 161 -j RETURN"
    ";iptables -t nat -A DMZ -j DNAT -i %s --to %s"
    ";iptables -t nat -A DMZ -j DNAT -i %s -p tcp --to %s";
constexpr char kTranslateToDmzAvoidingWebPort[] =
    "iptables -t nat -A DMZ -i %s -p tcp --dport 7547 -j RETURN"
    ";iptables -t nat -A DMZ -i %s -p tcp --dport 161 -j RETURN"
    ";iptables -t nat -A DMZ -j DNAT -i %s --to %s"
    ";iptables -t nat -A DMZ -j DNAT -i %s -p tcp --dport ! %s --to %s";

void runIptablesDmz() {
  Setting address = setting("DMZAddress");
  Setting avoid_web_port = setting("DMZAvoidTCPPort80");
  if (address.missing() || avoid_web_port.missing()) {
    printf("Warning: can't find \"DMZAddress\" or \"DMZAvoidTCPPort80\" in flash\n");
    return;
  }
  Text<16> interface;
  forwardingWan(interface);
  ShellWord wan_word(interface.text());
  ShellWord host_word(address.text());
  const char *wan = wan_word.text();
  const char *host = host_word.text();
  doSystem("iptables -t filter -A DMZ -i %s -d %s -j ACCEPT", wan, host);
  if (avoid_web_port.on()) {
    ShellWord web_port(setting("RMWWWServerPort").text());
    doSystem(kTranslateToDmzAvoidingWebPort, wan, wan, wan, host, wan, web_port.text(), host);
  } else {
    doSystem(kTranslateToDmz, wan, wan, wan, host, wan, host);
  }
}

}  // namespace

}  // namespace orba

int iptablesDMZRun(void) {
  orba::Setting mode = orba::setting("DMZEnable");
  if (mode.missing()) {
    printf("Warning: can't find \"DMZEnable\" in flash\n");
  } else if (mode.is("1")) {
    orba::runIptablesDmz();
  } else if (mode.is("2")) {
    orba::runSuperDmz();
  }
  return 0;
}

// The simpler set-up, for callers that build no whole firewall.

void iptablesDMZInit(void) {
  doSystem(
      "iptables -t nat -N port_forward 1>/dev/null 2>&1; iptables -t nat -I PREROUTING 1 -j port_forward 1>/dev/null 2>&1");
  doSystem(
      "iptables -t nat -N DMZ 1>/dev/null 2>&1; iptables -t nat -I PREROUTING 2 -j DMZ 1>/dev/null 2>&1");
}

void RT_makeDMZRule(char *, int, const char *wanIfName, const char *, const char *dmzAddress, int) {
  orba::ShellWord wan(wanIfName);
  orba::ShellWord host(dmzAddress);
  doSystem("iptables -I DMZ 1 -i %s -d %s -j ACCEPT", wan.text(), host.text());
  doSystem("iptables -t nat -A DMZ -j DNAT -i %s --to %s", wan.text(), host.text());
  doSystem("iptables -t nat -A DMZ -j DNAT -i %s -p tcp --to %s", wan.text(), host.text());
}

void RT_iptablesDMZRun(void) {
  orba::InterfaceName wan;
  orba::wanInterface(1, wan);
  char wan_address[16] = "";
  getIfIp(wan.text(), wan_address);
  orba::Setting host = orba::storedSetting("DMZAddress");
  if (!orba::storedSetting("natEnabled").is("1") || host.empty()) return;
  char unused[1] = "";
  RT_makeDMZRule(unused, sizeof unused, wan.text(), wan_address, host.text(), 0);
}
