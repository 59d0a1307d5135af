// IGMP snooping in the switch, with the WAN's port as the router port.
#include <cstdio>

#include "core/command.h"
#include "core/file.h"
#include "core/setting.h"
#include "orba_util.h"
#include "switch/gateway_mac.h"
#include "switch/mac_table.h"

namespace orba {

namespace {

constexpr GatewayLookup kByArping = {
    "arping -c 1 -I br0 %s",
    "arp -an | grep \"(%s)\"",
};

constexpr char kSavedMac[] = "/tmp/gwMac";
constexpr size_t kMacDigits = 12;

constexpr int kPorts = 4;

// For the WAN on each of the ports 1 to 4: its port control register, snooping on
// the three others, and the port map, which marks the WAN's place before "111".
constexpr const char *kSnoopingOn[kPorts] = {
    "switch reg w 0x2008 0x9355\n"
    "switch igmpsnoop enable 1\n"
    "switch igmpsnoop enable 2\n"
    "switch igmpsnoop enable 3\n"
    "switch igmpsnoop on 100 1000111\n",

    "switch reg w 0x2108 0x9355\n"
    "switch igmpsnoop enable 0\n"
    "switch igmpsnoop enable 2\n"
    "switch igmpsnoop enable 3\n"
    "switch igmpsnoop on 100 0100111\n",

    "switch reg w 0x2208 0x9355\n"
    "switch igmpsnoop enable 0\n"
    "switch igmpsnoop enable 1\n"
    "switch igmpsnoop enable 3\n"
    "switch igmpsnoop on 100 0010111\n",

    "switch reg w 0x2308 0x9355\n"
    "switch igmpsnoop enable 0\n"
    "switch igmpsnoop enable 1\n"
    "switch igmpsnoop enable 2\n"
    "switch igmpsnoop on 100 0001111\n",
};

// A gateway that does not answer is looked for by the address it last had.
void saveOrRecall(GatewayMac &mac) {
  if (mac.length() == kMacDigits) {
    writeOurs(kSavedMac, mac.text());
    return;
  }
  File file(openOurs(kSavedMac));
  char saved[32];
  if (file && fscanf(file.get(), "%31s", saved) == 1) mac.assign(saved);
}

void startSnooping(int port) {
  runDirectly("switch igmpsnoop off");
  if (port < 1 || port > kPorts) return;
  runAllDirectly(kSnoopingOn[port - 1]);
}

// The WAN scripts have noted a connection.
bool wanIsNoted() {
  return static_cast<bool>(Descriptor(openOurs("/var/wan1.info")));
}

int detectPortAndSnoop() {
  switch_init();
  int port = igmpsnoopingenable();
  switch_fini();
  return port;
}

// The flag of the easy set-up; neither 0 nor 1 when there is none.
int easySetupFlag() {
  constexpr int kNone = 2;
  File file(openOurs("/tmp/do_vela"));
  char line[128];
  return file && file.readLine(line) ? toNumber(line) : kNone;
}

}  // namespace

}  // namespace orba

int igmpsnoopingenable(void) {
  constexpr int kTraceLine = 4529;  // what the consoles are searched for
  orba::GatewayMac mac;
  if (!orba::lookUpGateway(orba::kByArping, mac)) return 0;
  debug("%s: servMAC:%s string length=%d Line %d \n", "igmpsnoopingenable", mac.text(),
        static_cast<int>(mac.length()), kTraceLine);
  orba::saveOrRecall(mac);
  orba::MacSearch search = orba::searchMacTable(mac.text());
  if (search.end != orba::MacSearch::kFinished) return 0;
  orba::startSnooping(search.port);
  if (orba::claimFile("/tmp/wanPort")) {
    orba::runDirectly("echo \"%d\" > /tmp/wanPort", search.port);
  }
  return search.port;
}

int igmpsnooping_init(void) {
  int easy_setup = orba::easySetupFlag();
  if (!orba::wanIsNoted()) return 0;
  int port = orba::detectPortAndSnoop();
  if (port == 0 || !orba::setting("WirelessOPMode").is("3") || easy_setup != 0) return 0;
  // A wired uplink has been found: no longer a wireless one.
  nvram_bufset(orba::kMainSpace, "WirelessOPMode", "1");
  nvram_commit(orba::kMainSpace);
  if (orba::claimFile("/tmp/nvram_LOCK")) orba::runIntoFile("/tmp/nvram_LOCK", "echo \"1\"");
  doSystem("reboot.sh");
  return 0;
}

void igmpHWSnoopingRule(void) {
  bool uplink_is_module = orba::setting("OperationMode", orba::kModuleSpace).is("3");
  if (!orba::wanIsNoted()) return;
  if (orba::detectPortAndSnoop() == 0 || !uplink_is_module) return;
  doSystem("call_qcsapi_sockrpc --host 1.1.1.2 disassociate wifi0");
  nvram_set(orba::kModuleSpace, "WlanEnabled", "1;0;0;0;0;0;0;0;0");
  doSystem("wlan_5G.sh \"SwitchAP\" > /dev/null");
}
