// PPPoE pass-through: PPPoE clients on the LAN reach the servers behind a WAN
// while the device runs a PPPoE connection of its own. The WAN's device joins
// the LAN bridge, and only PPPoE discovery (0x8863) and session (0x8864) frames
// cross between them.
#include "core/command.h"
#include "core/shell_word.h"
#include "net/interface_name.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr char kOpenBroute[] =
    "ebtables -t broute -F pppoePassThrough\n"
    "ebtables -t broute -D BROUTING -j pppoePassThrough\n"
    "ebtables -t broute -X pppoePassThrough\n"
    "ebtables -t broute -X poebrWAN\n"
    "ebtables -t broute -N poebrWAN\n"
    "ebtables -t broute -P poebrWAN RETURN\n"
    "ebtables -t broute -N pppoePassThrough\n"
    "ebtables -t broute -P pppoePassThrough RETURN\n"
    "ebtables -t broute -I BROUTING 1 -j pppoePassThrough\n";

constexpr char kOpenNat[] =
    "ebtables -t nat -F pppoePassThrough\n"
    "ebtables -t nat -D POSTROUTING -j pppoePassThrough\n"
    "ebtables -t nat -X pppoePassThrough\n"
    "ebtables -t nat -N pppoePassThrough\n"
    "ebtables -t nat -P pppoePassThrough RETURN\n"
    "ebtables -t nat -I POSTROUTING 1 -j pppoePassThrough\n"
    "ebtables -t nat -X poebrWAN\n"
    "ebtables -t nat -N poebrWAN\n"
    "ebtables -t nat -P poebrWAN RETURN\n";

// The VLAN of the device's own connection stays out of it, under this name
// whatever the settings say.
constexpr char kKeepOwnVlanOut[] =
    "ebtables -t broute -I pppoePassThrough 1 -i eth2.12 -p 0x8863 -j DROP\n"
    "ebtables -t broute -I pppoePassThrough 1 -i eth2.12 -p 0x8864 -j DROP\n"
    "ebtables -t nat -I pppoePassThrough 1 -o eth2.12 -p 0x8863 -j DROP\n"
    "ebtables -t nat -I pppoePassThrough 1 -o eth2.12 -p 0x8864 -j DROP\n";

// Tries poebrWAN1, which is meant: poebrWAN itself stays until pass-through is
// switched on again.
constexpr char kTearDown[] =
    "ebtables -t broute -F pppoePassThrough\n"
    "ebtables -t broute -D BROUTING -j pppoePassThrough\n"
    "ebtables -t broute -X pppoePassThrough\n"
    "ebtables -t broute -X poebrWAN1\n"
    "ebtables -t nat -F pppoePassThrough\n"
    "ebtables -t nat -D POSTROUTING -j pppoePassThrough\n"
    "ebtables -t nat -X pppoePassThrough\n"
    "ebtables -t nat -X poebrWAN1\n";

// In broute a dropped frame goes to the device's own stack instead of the bridge;
// in nat it is gone.
int switchOn(int wan, const char *device) {
  doSystem("brctl addif br0 %s", device);
  doSystem("switch pppoe-passthrogh %d", wan);  // spelled as the switch tool has it
  runAll(kOpenBroute);
  doSystem("ebtables -t broute -I poebrWAN 1 -i %s -p ! 0x8864 -j DROP", device);
  doSystem("ebtables -t broute -I pppoePassThrough 1 -i %s -p ! 0x8863 -j poebrWAN", device);
  runAll(kOpenNat);
  doSystem("ebtables -t nat -I poebrWAN 1 -o %s -p ! 0x8864 -j DROP", device);
  doSystem("ebtables -t nat -I pppoePassThrough 1 -o %s -p ! 0x8863 -j poebrWAN", device);
  return runAll(kKeepOwnVlanOut);
}

// Without a device nothing leaves the bridge.
int switchOff(const char *device) {
  if (*device != '\0') doSystem("brctl delif br0 %s", device);
  doSystem("switch pppoe-passthrogh 0");
  return runAll(kTearDown);
}

}  // namespace

}  // namespace orba

int orba_pppoeRelay(void) {
  int wan = orba::setting("pppoeREnabled").number();
  bool link = getWANLinkStatus() == 1;
  if (wan < 1 || wan > orba::kWans) return orba::switchOff("");

  orba::Setting mode = orba::wanSetting("wanConnectionMode", wan);
  orba::Text<16> enable;
  enable.format("wan%dEnable", wan);
  orba::InterfaceName name;
  orba::wanDevice(wan, name);
  orba::ShellWord device(name.text());

  if (link && mode.is("PPPOE") && orba::setting(enable.text()).number() == 1) {
    return orba::switchOn(wan, device.text());
  }
  // A bridged WAN is a member of the LAN bridge in its own right.
  return orba::switchOff(mode.is("BRIDGE") ? "" : device.text());
}
