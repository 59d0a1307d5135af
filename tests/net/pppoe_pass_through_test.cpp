// PPPoE pass-through, switched on and off.
#include <gmock/gmock.h>

#include <cstring>

#include "orba_util.h"
#include "sim/device.h"

using testing::ElementsAreArray;

namespace {

const std::vector<std::string> kOn = {
    "brctl addif br0 eth2.20",
    "switch pppoe-passthrogh 2",
    "ebtables -t broute -F pppoePassThrough",
    "ebtables -t broute -D BROUTING -j pppoePassThrough",
    "ebtables -t broute -X pppoePassThrough",
    "ebtables -t broute -X poebrWAN",
    "ebtables -t broute -N poebrWAN",
    "ebtables -t broute -P poebrWAN RETURN",
    "ebtables -t broute -N pppoePassThrough",
    "ebtables -t broute -P pppoePassThrough RETURN",
    "ebtables -t broute -I BROUTING 1 -j pppoePassThrough",
    "ebtables -t broute -I poebrWAN 1 -i eth2.20 -p ! 0x8864 -j DROP",
    "ebtables -t broute -I pppoePassThrough 1 -i eth2.20 -p ! 0x8863 -j poebrWAN",
    "ebtables -t nat -F pppoePassThrough",
    "ebtables -t nat -D POSTROUTING -j pppoePassThrough",
    "ebtables -t nat -X pppoePassThrough",
    "ebtables -t nat -N pppoePassThrough",
    "ebtables -t nat -P pppoePassThrough RETURN",
    "ebtables -t nat -I POSTROUTING 1 -j pppoePassThrough",
    "ebtables -t nat -X poebrWAN",
    "ebtables -t nat -N poebrWAN",
    "ebtables -t nat -P poebrWAN RETURN",
    "ebtables -t nat -I poebrWAN 1 -o eth2.20 -p ! 0x8864 -j DROP",
    "ebtables -t nat -I pppoePassThrough 1 -o eth2.20 -p ! 0x8863 -j poebrWAN",
    "ebtables -t broute -I pppoePassThrough 1 -i eth2.12 -p 0x8863 -j DROP",
    "ebtables -t broute -I pppoePassThrough 1 -i eth2.12 -p 0x8864 -j DROP",
    "ebtables -t nat -I pppoePassThrough 1 -o eth2.12 -p 0x8863 -j DROP",
    "ebtables -t nat -I pppoePassThrough 1 -o eth2.12 -p 0x8864 -j DROP",
};

// The chains that it tries are named poebrWAN1, not poebrWAN.
std::vector<std::string> off(const std::string &leaving) {
  std::vector<std::string> commands;
  if (!leaving.empty()) commands.push_back("brctl delif br0 " + leaving);
  for (const char *command : {
           "switch pppoe-passthrogh 0",
           "ebtables -t broute -F pppoePassThrough",
           "ebtables -t broute -D BROUTING -j pppoePassThrough",
           "ebtables -t broute -X pppoePassThrough",
           "ebtables -t broute -X poebrWAN1",
           "ebtables -t nat -F pppoePassThrough",
           "ebtables -t nat -D POSTROUTING -j pppoePassThrough",
           "ebtables -t nat -X pppoePassThrough",
           "ebtables -t nat -X poebrWAN1",
       }) {
    commands.push_back(command);
  }
  return commands;
}

const sim::Settings kSecondWan = {
    {"OperationMode", "1"}, {"pppoeREnabled", "2"}, {"wanConnectionMode", "PPPOE"},
    {"wan1Enable", "1"},    {"wan2Enable", "1"},    {"wanConnectionMode2", "PPPOE"},
    {"wan2Vid", "20"}};

}  // namespace

TEST(PppoePassThrough, IsSwitchedOnForAnEnabledPppoeWanWithLink) {
  sim::Device device;
  device.settings(kSecondWan).answer("switch reg r 3608", "value=0x1");
  orba_pppoeRelay();
  EXPECT_THAT(device.commands(), ElementsAreArray(kOn));
}

TEST(PppoePassThrough, IsSwitchedOffOtherwise) {
  const struct {
    const char *situation;
    const char *link;
    sim::Settings changes;
    const char *leaving;  // the device that leaves the bridge
  } kCases[] = {
      {"no link", "value=0x0", {}, "eth2.20"},
      {"not enabled", "value=0x1", {{"wan2Enable", "0"}}, "eth2.20"},
      {"enabled with another number", "value=0x1", {{"wan2Enable", "2"}}, "eth2.20"},
      {"no PPPoE", "value=0x1", {{"wanConnectionMode2", "DHCP"}}, "eth2.20"},
      {"a bridged WAN", "value=0x1", {{"wanConnectionMode2", "BRIDGE"}}, ""},
      {"a WAN without a device", "value=0x0", {{"wan2Vid", ""}}, ""},
      {"WAN 1, never its ppp0", "value=0x0", {{"pppoeREnabled", "1"}}, "eth2.2"},
      {"no WAN", "value=0x1", {{"pppoeREnabled", "0"}}, ""},
      {"no number", "value=0x1", {{"pppoeREnabled", "on"}}, ""},
      {"no such WAN",
       "value=0x1",
       {{"pppoeREnabled", "5"}, {"wan5Enable", "1"}, {"wanConnectionMode5", "PPPOE"}},
       ""},
      {"below them", "value=0x1", {{"pppoeREnabled", "-1"}}, ""},
  };
  for (const auto &c : kCases) {
    SCOPED_TRACE(c.situation);
    sim::Device device;
    device.settings(kSecondWan).settings(c.changes).answer("switch reg r 3608", c.link);
    orba_pppoeRelay();
    EXPECT_THAT(device.commands(), ElementsAreArray(off(c.leaving)));
  }
  sim::Device device;  // not one setting
  orba_pppoeRelay();
  EXPECT_THAT(device.commands(), ElementsAreArray(off("")));
}

// A VLAN id that is no number stays one word of its commands.
TEST(PppoePassThrough, QuotesADeviceFromTheSettings) {
  sim::Device device;
  device.settings(kSecondWan).settings({{"wan2Vid", "2;reboot"}}).answer("3608", "value=0x1");
  std::vector<std::string> quoted = kOn;
  for (std::string &command : quoted) {
    size_t at = command.find("eth2.20");
    if (at != std::string::npos) command.replace(at, strlen("eth2.20"), "'eth2.2;reboot'");
  }
  orba_pppoeRelay();
  EXPECT_THAT(device.commands(), ElementsAreArray(quoted));
}
