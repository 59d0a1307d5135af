// PPPoE pass-through, switched on and off.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

namespace {

TEST(PppoePassThrough, IsSwitchedOnForAnEnabledPppoeWanWithLinkAndOffOtherwise) {
  // The chains that it tries are named poebrWAN1, not poebrWAN.
  const std::string kOff = section("net/commands.txt", "pass-through off");
  // A VLAN id that is no number stays one word of its commands.
  const std::string kOn = section("net/commands.txt", "pass-through on");
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
      {"no such WAN", "value=0x1", "pppoeREnabled=5 wan5Enable=1 wanConnectionMode5=PPPOE", ""},
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
