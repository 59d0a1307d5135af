#include "net/interface_name.h"

#include "orba_util.h"

namespace orba {

namespace {

// The devices of each operation mode. Without a WAN name of its own the gateway
// mode takes a VLAN of eth2.
struct ModeNames {
  const char *mode;
  const char *lan;
  const char *wan;
};

constexpr ModeNames kModeNames[] = {
    {"0", "br0", "br0"},
    {"1", "br0", nullptr},
    {"2", "eth2", "ra0"},
    {"3", "br0", "apcli0"},
};

const ModeNames *namesOf(const Setting &mode) {
  for (const ModeNames &names : kModeNames) {
    if (mode.is(names.mode)) return &names;
  }
  return nullptr;
}

// False when the operation mode is not known; `name` is then left alone.
bool firstWanDevice(InterfaceName &name) {
  Setting mode = storedSetting("OperationMode");
  Setting vlan = storedSetting("vlanEnabled");
  Setting vlan_id = storedSetting("wan1Vid");
  const ModeNames *names = namesOf(mode);
  if (names == nullptr) return false;
  name.clear();
  if (names->wan != nullptr) {
    name.append(names->wan);
  } else if (vlan.number() == 1) {
    name.format("eth2.%s", vlan_id.text());
  } else {
    name.append("eth2.2");
  }
  return true;
}

// The other WANs are VLANs of eth2 in every operation mode. A disabled WAN has
// its name all the same.
void otherWanDevice(int wan, InterfaceName &name) {
  name.clear();
  if (wan < 2 || wan > kWans) return;
  Text<16> key;
  Setting vlan_id = setting(key.format("wan%dVid", wan).text());
  if (!vlan_id.empty()) name.format("eth2.%s", vlan_id.text());
}

void otherWanInterface(int wan, InterfaceName &name) {
  Text<32> key;
  if (connectsByPpp(setting(key.format("wanConnectionMode%d", wan).text()))) {
    name.clear().format("ppp%d", wan - 1);
  } else {
    otherWanDevice(wan, name);
  }
}

void copyName(char *dst, const InterfaceName &name) {
  copyText(dst, name.size(), name.text());
}

int copyDefaultWanSetting(char *dst, const char *key) {
  copyText(dst, kInterfaceNameSize, defaultWanSetting(key).text());
  return 1;
}

}  // namespace

Setting defaultWanSetting(const char *key) {
  Setting wan = setting("default_wan");
  Text<64> name(key);
  if (wan.number() != 1) name.append(wan.text());
  return setting(name.text());
}

void wanDevice(int wan, InterfaceName &name) {
  name.clear();
  if (wan == 1) {
    firstWanDevice(name);
  } else {
    otherWanDevice(wan, name);
  }
}

void wanInterface(int wan, InterfaceName &name) {
  if (wan != 1) {
    otherWanInterface(wan, name);
  } else if (connectsByPpp(setting("wanConnectionMode"))) {
    name.assign("ppp0");
  } else {
    wanDevice(1, name);
  }
}

}  // namespace orba

using orba::InterfaceName;

const char *getLanIfName(void) {
  static const char *name = "br0";
  const orba::ModeNames *names = orba::namesOf(orba::setting("OperationMode"));
  if (names != nullptr) name = names->lan;
  return name;
}

int getWanIfName(char *dst) {
  InterfaceName name;
  if (orba::firstWanDevice(name)) orba::copyName(dst, name);
  return 1;
}

int getWan2IfName(char *dst, int n) {
  InterfaceName name;
  orba::otherWanDevice(n, name);
  orba::copyName(dst, name);
  return 1;
}

int getWanIfNamePPP(char *dst) {
  if (!orba::connectsByPpp(orba::setting("wanConnectionMode"))) return getWanIfName(dst);
  orba::copyText(dst, sizeof "ppp0", "ppp0");
  return 1;
}

int getWan2IfNamePPP(char *dst, int n) {
  InterfaceName name;
  orba::otherWanInterface(n, name);
  orba::copyName(dst, name);
  return 1;
}

char *getDefaultWanIfName(char *dst) {
  InterfaceName name;
  orba::wanInterface(orba::setting("default_wan").number(), name);
  orba::copyName(dst, name);
  return dst;
}

int getDefaultWanConnectionMode(char *dst) {
  return orba::copyDefaultWanSetting(dst, "wanConnectionMode");
}

int getDefaultWanAddressType(char *dst) {
  return orba::copyDefaultWanSetting(dst, "wanAddressType");
}

const char *getLanWanNamebyIf(const char *ifname) {
  // The gateway mode knows only these two as its WAN: a WAN on a VLAN of its own
  // and the extra WANs are shown under their interfaces' names.
  static constexpr struct {
    const char *mode;
    const char *lan;
    const char *wan;
    const char *other_wan;
  } kLabels[] = {
      {"0", "br0", "", ""},
      {"1", "br0", "eth2.2", "ppp0"},
      {"2", "eth2", "ra0", ""},
      {"3", "br0", "apcli0", ""},
  };
  orba::Setting mode = orba::setting("OperationMode");
  if (mode.missing()) return "Unknown";
  for (const auto &labels : kLabels) {
    if (!mode.is(labels.mode)) continue;
    if (orba::same(ifname, labels.lan)) return "LAN";
    if (*ifname == '\0') break;
    if (orba::same(ifname, labels.wan) || orba::same(ifname, labels.other_wan)) return "WAN";
  }
  return ifname;
}
