// PPPoE pass-through, switched on and off.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

namespace {

// A VLAN id that is no number stays one word of its commands.
constexpr char kOn[] = R"(
brctl addif br0 'eth2.2;reboot'
switch pppoe-passthrogh 2
ebtables -t broute -F pppoePassThrough
ebtables -t broute -D BROUTING -j pppoePassThrough
ebtables -t broute -X pppoePassThrough
ebtables -t broute -X poebrWAN
ebtables -t broute -N poebrWAN
ebtables -t broute -P poebrWAN RETURN
ebtables -t broute -N pppoePassThrough
ebtables -t broute -P pppoePassThrough RETURN
ebtables -t broute -I BROUTING 1 -j pppoePassThrough
ebtables -t broute -I poebrWAN 1 -i 'eth2.2;reboot' -p ! 0x8864 -j DROP
ebtables -t broute -I pppoePassThrough 1 -i 'eth2.2;reboot' -p ! 0x8863 -j poebrWAN
ebtables -t nat -F pppoePassThrough
ebtables -t nat -D POSTROUTING -j pppoePassThrough
ebtables -t nat -X pppoePassThrough
ebtables -t nat -N pppoePassThrough
ebtables -t nat -P pppoePassThrough RETURN
ebtables -t nat -I POSTROUTING 1 -j pppoePassThrough
ebtables -t nat -X poebrWAN
ebtables -t nat -N poebrWAN
ebtables -t nat -P poebrWAN RETURN
ebtables -t nat -I poebrWAN 1 -o 'eth2.2;reboot' -p ! 0x8864 -j DROP
ebtables -t nat -I pppoePassThrough 1 -o 'eth2.2;reboot' -p ! 0x8863 -j poebrWAN
ebtables -t broute -I pppoePassThrough 1 -i eth2.12 -p 0x8863 -j DROP
ebtables -t broute -I pppoePassThrough 1 -i eth2.12 -p 0x8864 -j DROP
ebtables -t nat -I pppoePassThrough 1 -o eth2.12 -p 0x8863 -j DROP
ebtables -t nat -I pppoePassThrough 1 -o eth2.12 -p 0x8864 -j DROP)";

// The chains that it tries are named poebrWAN1, not poebrWAN.
constexpr char kOff[] = R"(
switch pppoe-passthrogh 0
ebtables -t broute -F pppoePassThrough
ebtables -t broute -D BROUTING -j pppoePassThrough
ebtables -t broute -X pppoePassThrough
ebtables -t broute -X poebrWAN1
ebtables -t nat -F pppoePassThrough
ebtables -t nat -D POSTROUTING -j pppoePassThrough
ebtables -t nat -X pppoePassThrough
ebtables -t nat -X poebrWAN1)";

TEST(PppoePassThrough, IsSwitchedOnForAnEnabledPppoeWanWithLinkAndOffOtherwise) {
  const struct {
    const char *situation, *link, *changes;
    std::string commands;
  } kCases[] = {
      {"all of it", "value=0x1", "wan2Vid=2;reboot", kOn},
      {"no link", "value=0x0", "", "\nbrctl delif br0 eth2.20"},
      {"not enabled", "value=0x1", "wan2Enable=0", "\nbrctl delif br0 eth2.20"},
      {"enabled with another number", "value=0x1", "wan2Enable=2", "\nbrctl delif br0 eth2.20"},
      {"no PPPoE", "value=0x1", "wanConnectionMode2=DHCP", "\nbrctl delif br0 eth2.20"},
      {"a bridged WAN", "value=0x1", "wanConnectionMode2=BRIDGE", ""},
      {"a WAN without a device", "value=0x0", "wan2Vid=", ""},
      {"WAN 1, never its ppp0", "value=0x0", "pppoeREnabled=1", "\nbrctl delif br0 eth2.2"},
      {"no WAN", "value=0x1", "pppoeREnabled=0", ""},
      {"no number", "value=0x1", "pppoeREnabled=on", ""},
      {"no such WAN", "value=0x1", "pppoeREnabled=5 wan5Enable=1 wanConnectionMode5=PPPOE", ""},
      {"below them", "value=0x1", "pppoeREnabled=-1", ""},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    device.settings(
        settingsOf("OperationMode=1 pppoeREnabled=2 wanConnectionMode=PPPOE "
                   "wan1Enable=1 wan2Enable=1 wanConnectionMode2=PPPOE wan2Vid=20"));
    device.settings(settingsOf(c.changes)).answer("switch reg r 3608", c.link);
    orba_pppoeRelay();
    EXPECT_EQ(transcript(device), c.commands == kOn ? kOn : c.commands + kOff) << c.situation;
  }
  sim::Device device;  // not one setting
  orba_pppoeRelay();
  EXPECT_EQ(transcript(device), kOff);
}

}  // namespace
