// Which interface plays the LAN and each WAN.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

namespace {

// What a getter leaves in its buffer.
template <typename Getter, typename... Arguments>
std::string nameBy(Getter getter, Arguments... arguments) {
  char name[32] = "untouched";
  getter(name, arguments...);
  return name;
}

}  // namespace

TEST(InterfaceNames, FollowTheOperationMode) {
  const struct {
    const char *mode, *vlan, *connection, *lan, *wan, *wan_ppp;
  } kCases[] = {
      {"0", "0", "STATIC", "br0", "br0", "br0"},
      {"1", "1", "STATIC", "br0", "eth2.10", "eth2.10"},
      {"1", "1", "PPPOE", "br0", "eth2.10", "ppp0"},
      {"1", "1x", "L2TP", "br0", "eth2.10", "ppp0"},
      {"1", "0", "PPTP", "br0", "eth2.2", "ppp0"},
      {"1", "2", "DHCP", "br0", "eth2.2", "eth2.2"},
      {"3", "1", "BRIDGE", "br0", "apcli0", "apcli0"},
      {"2", "1", "pppoe", "eth2", "ra0", "ra0"},
      // No mode at all: the LAN of the mode before, and nothing written.
      {"00", "1", "STATIC", "eth2", "untouched", "untouched"},
      {"", "1", "PPTP", "eth2", "untouched", "ppp0"},
      {nullptr, "1", "DHCP", "eth2", "untouched", "untouched"},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    device.settings({{"vlanEnabled", c.vlan}, {"wan1Vid", "10"}});
    device.settings({{"wanConnectionMode", c.connection}});
    if (c.mode != nullptr) device.settings({{"OperationMode", c.mode}});
    std::string situation = std::string(c.mode == nullptr ? "no" : c.mode) + " " + c.connection;
    EXPECT_STREQ(getLanIfName(), c.lan) << situation;
    // The first WAN goes by what is committed, the LAN by what is buffered.
    device.buffered({{"OperationMode", "0"}, {"vlanEnabled", "1"}, {"wan1Vid", "99"}});
    EXPECT_EQ(nameBy(getWanIfName), c.wan) << situation;
    EXPECT_EQ(nameBy(getWanIfNamePPP), c.wan_ppp) << situation;
    EXPECT_STREQ(getLanIfName(), "br0");
    device.buffered({{"OperationMode", "2"}});
    EXPECT_STREQ(getLanIfName(), "eth2");
  }
}

TEST(InterfaceNames, OfOtherWansAreVlansInEveryMode) {
  for (const char *mode : {"0", "1", "2", "3"}) {
    sim::Device device;
    // A disabled WAN is named all the same.
    device.settings(settingsOf(R"(
wan1Vid=10 wan2Vid=20 wan2Enable=1 wan3Vid= wan3Enable=1 wan4Vid=40 wan4Enable=0 wan5Vid=50
wanConnectionMode2=STATIC wanConnectionMode3=L2TP wanConnectionMode4=PPPOE)"));
    device.settings({{"OperationMode", mode}});
    const char *const kDevices[] = {"", "eth2.20", "", "eth2.40", ""};
    for (int n = 1; n <= 5; n++) EXPECT_EQ(nameBy(getWan2IfName, n), kDevices[n - 1]) << n;
    EXPECT_EQ(nameBy(getWan2IfNamePPP, 2), "eth2.20");
    EXPECT_EQ(nameBy(getWan2IfNamePPP, 3), "ppp2");
    EXPECT_EQ(nameBy(getWan2IfNamePPP, 4), "ppp3");
  }
}

TEST(InterfaceNames, OfTheDefaultWan) {
  sim::Device device;
  device.settings(settingsOf(R"(
OperationMode=1 wanConnectionMode=PPPOE wanAddressType=ipv4
default_wan=2 wanConnectionMode2=STATIC wanAddressType2=dual wan2Vid=20)"));
  EXPECT_EQ(nameBy(getDefaultWanIfName), "eth2.20");
  EXPECT_EQ(nameBy(getDefaultWanConnectionMode), "STATIC");
  EXPECT_EQ(nameBy(getDefaultWanAddressType), "dual");

  device.settings({{"default_wan", "1"}});
  char text[32];
  EXPECT_EQ(getDefaultWanIfName(text), text);
  EXPECT_STREQ(text, "ppp0");
  EXPECT_EQ(nameBy(getDefaultWanConnectionMode), "PPPOE");
  EXPECT_EQ(nameBy(getDefaultWanAddressType), "ipv4");

  sim::Device empty;  // not one setting
  EXPECT_EQ(nameBy(getDefaultWanConnectionMode), "");
  EXPECT_EQ(nameBy(getDefaultWanIfName), "");
}

TEST(InterfaceNames, HoldNoMoreThanTheirBuffers) {
  sim::Device device;
  std::string endless(500, '9'), cut = "eth2." + std::string(26, '9');
  device.settings({{"OperationMode", "1"}, {"vlanEnabled", "1"}, {"default_wan", endless}});
  for (const char *key : {"wan1Vid", "wan2Vid", "wanConnectionMode"}) {
    device.settings({{key, endless}});
  }
  EXPECT_EQ(nameBy(getWanIfName), cut);
  EXPECT_EQ(nameBy(getWan2IfName, 2), cut);
  EXPECT_EQ(nameBy(getDefaultWanIfName), "");
  device.settings({{"default_wan", "1"}});
  EXPECT_EQ(nameBy(getDefaultWanConnectionMode), std::string(31, '9'));
}

TEST(InterfaceLabels, KnowTheModesOwnNamesOnly) {
  const char *const kNames[] = {"br0",  "eth2", "eth2.2", "eth2.10", "ppp0",
                                "ppp1", "ra0",  "apcli0", ""};
  // In gateway mode a WAN on a VLAN of its own shows its name.
  const std::pair<const char *, const char *> kCases[] = {
      {"0", "LAN eth2 eth2.2 eth2.10 ppp0 ppp1 ra0 apcli0 "},
      {"1", "LAN eth2 WAN eth2.10 WAN ppp1 ra0 apcli0 "},
      {"2", "br0 LAN eth2.2 eth2.10 ppp0 ppp1 WAN apcli0 "},
      {"3", "LAN eth2 eth2.2 eth2.10 ppp0 ppp1 ra0 WAN "},
      {"9", "br0 eth2 eth2.2 eth2.10 ppp0 ppp1 ra0 apcli0 "},
  };
  for (const auto &[mode, expected] : kCases) {
    sim::Device device;
    device.settings({{"OperationMode", mode}, {"vlanEnabled", "1"}, {"wan1Vid", "10"}});
    std::string labels;
    for (const char *name : kNames)
      labels += (labels.empty() ? "" : " ") + std::string(getLanWanNamebyIf(name));
    EXPECT_EQ(labels, expected) << mode;
  }
  sim::Device device;
  EXPECT_STREQ(getLanWanNamebyIf("br0"), "Unknown");
}
