// Which interface plays the LAN and each WAN.
#include "net/interface_name.h"

#include <gmock/gmock.h>

#include <string>

#include "orba_util.h"
#include "sim/device.h"

namespace {

std::string wanName() {
  char name[32] = "untouched";
  getWanIfName(name);
  return name;
}

std::string wanNamePPP() {
  char name[32] = "untouched";
  getWanIfNamePPP(name);
  return name;
}

std::string otherWanName(int n) {
  char name[32] = "untouched";
  getWan2IfName(name, n);
  return name;
}

std::string otherWanNamePPP(int n) {
  char name[32] = "untouched";
  getWan2IfNamePPP(name, n);
  return name;
}

}  // namespace

TEST(InterfaceNames, FollowTheOperationMode) {
  const struct {
    const char *mode;
    const char *vlan;
    const char *connection;
    const char *lan;
    const char *wan;
    const char *wan_ppp;
  } kCases[] = {
      {"0", "0", "STATIC", "br0", "br0", "br0"},
      {"1", "1", "STATIC", "br0", "eth2.10", "eth2.10"},
      {"1", "1", "PPPOE", "br0", "eth2.10", "ppp0"},
      {"1", "1x", "L2TP", "br0", "eth2.10", "ppp0"},
      {"1", "0", "PPTP", "br0", "eth2.2", "ppp0"},
      {"1", "2", "DHCP", "br0", "eth2.2", "eth2.2"},
      {"2", "1", "pppoe", "eth2", "ra0", "ra0"},
      {"3", "1", "BRIDGE", "br0", "apcli0", "apcli0"},
      // No mode at all: the LAN of the mode before, and nothing written.
      {"00", "1", "STATIC", "br0", "untouched", "untouched"},
      {"1 ", "1", "STATIC", "br0", "untouched", "untouched"},
      {"", "1", "PPTP", "br0", "untouched", "ppp0"},
  };
  for (const auto &c : kCases) {
    SCOPED_TRACE(std::string("mode ") + c.mode + " vlan " + c.vlan + " " + c.connection);
    sim::Device device;
    device.settings({{"OperationMode", c.mode},
                     {"vlanEnabled", c.vlan},
                     {"wan1Vid", "10"},
                     {"wanConnectionMode", c.connection}});
    EXPECT_STREQ(getLanIfName(), c.lan);
    EXPECT_EQ(wanName(), c.wan);
    EXPECT_EQ(wanNamePPP(), c.wan_ppp);
  }
}

TEST(InterfaceNames, KeepTheLanWhileTheModeIsUnknown) {
  sim::Device device;
  device.settings({{"OperationMode", "2"}});
  EXPECT_STREQ(getLanIfName(), "eth2");
  device.settings({{"OperationMode", "4"}});
  EXPECT_STREQ(getLanIfName(), "eth2");
  device.remove("OperationMode");
  EXPECT_STREQ(getLanIfName(), "eth2");
  EXPECT_EQ(wanName(), "untouched");
  device.settings({{"OperationMode", "3"}});
  EXPECT_STREQ(getLanIfName(), "br0");
}

TEST(InterfaceNames, OfOtherWansAreVlansInEveryMode) {
  for (const char *mode : {"0", "1", "2", "3"}) {
    sim::Device device;
    device.settings({{"OperationMode", mode},
                     {"wan1Vid", "10"},
                     {"wan2Vid", "20"},
                     {"wan2Enable", "1"},
                     {"wan3Vid", ""},
                     {"wan3Enable", "1"},
                     {"wan4Vid", "40"},
                     {"wan4Enable", "0"},  // named all the same
                     {"wan5Vid", "50"},
                     {"wanConnectionMode2", "STATIC"},
                     {"wanConnectionMode3", "L2TP"},
                     {"wanConnectionMode4", "PPPOE"}});
    EXPECT_EQ(otherWanName(1), "");
    EXPECT_EQ(otherWanName(2), "eth2.20");
    EXPECT_EQ(otherWanName(3), "");
    EXPECT_EQ(otherWanName(4), "eth2.40");
    EXPECT_EQ(otherWanName(5), "");
    EXPECT_EQ(otherWanNamePPP(2), "eth2.20");
    EXPECT_EQ(otherWanNamePPP(3), "ppp2");
    EXPECT_EQ(otherWanNamePPP(4), "ppp3");
  }
}

TEST(InterfaceNames, OfTheDefaultWan) {
  sim::Device device;
  device.settings({{"OperationMode", "1"},
                   {"default_wan", "2"},
                   {"wanConnectionMode", "PPPOE"},
                   {"wanAddressType", "ipv4"},
                   {"wanConnectionMode2", "STATIC"},
                   {"wanAddressType2", "dual"},
                   {"wan2Vid", "20"}});
  char text[32];
  EXPECT_EQ(getDefaultWanIfName(text), text);
  EXPECT_STREQ(text, "eth2.20");
  EXPECT_EQ(getDefaultWanConnectionMode(text), 1);
  EXPECT_STREQ(text, "STATIC");
  EXPECT_EQ(getDefaultWanAddressType(text), 1);
  EXPECT_STREQ(text, "dual");

  device.settings({{"default_wan", "1"}});
  EXPECT_STREQ(getDefaultWanIfName(text), "ppp0");
  getDefaultWanConnectionMode(text);
  EXPECT_STREQ(text, "PPPOE");
  getDefaultWanAddressType(text);
  EXPECT_STREQ(text, "ipv4");
}

TEST(InterfaceNames, HoldNoMoreThanTheirBuffers) {
  sim::Device device;
  std::string endless(500, '9');
  device.settings({{"OperationMode", "1"},
                   {"vlanEnabled", "1"},
                   {"wan1Vid", endless},
                   {"wan2Vid", endless},
                   {"default_wan", endless},
                   {"wanConnectionMode", endless}});
  std::string cut = "eth2." + std::string(26, '9');
  EXPECT_EQ(wanName(), cut);
  EXPECT_EQ(otherWanName(2), cut);
  EXPECT_EQ(otherWanNamePPP(3), "");
  char text[32];
  EXPECT_STREQ(getDefaultWanIfName(text), "");
  device.settings({{"default_wan", "1"}});
  getDefaultWanConnectionMode(text);
  EXPECT_EQ(text, std::string(31, '9'));

  sim::Device empty;  // not one setting
  getDefaultWanConnectionMode(text);
  EXPECT_STREQ(text, "");
  EXPECT_STREQ(getDefaultWanIfName(text), "");
}

TEST(InterfaceLabels, KnowTheModesOwnNamesOnly) {
  const struct {
    const char *mode;
    const char *lan;
    std::vector<const char *> wans;
  } kCases[] = {
      {"0", "br0", {}},       {"1", "br0", {"eth2.2", "ppp0"}},
      {"2", "eth2", {"ra0"}}, {"3", "br0", {"apcli0"}},
      {"9", "", {}},
  };
  // In gateway mode a WAN on a VLAN of its own shows its name.
  const char *names[] = {"br0", "eth2", "eth2.2", "eth2.10", "ppp0", "ppp1", "ra0", "apcli0", ""};
  for (const auto &c : kCases) {
    sim::Device device;
    device.settings({{"OperationMode", c.mode}, {"vlanEnabled", "1"}, {"wan1Vid", "10"}});
    for (const char *name : names) {
      std::string label = name;
      if (*name != '\0' && label == c.lan) label = "LAN";
      for (const char *wan : c.wans) {
        if (label == wan) label = "WAN";
      }
      EXPECT_EQ(getLanWanNamebyIf(name), label) << name << " in mode " << c.mode;
    }
  }
  sim::Device device;
  EXPECT_STREQ(getLanWanNamebyIf("br0"), "Unknown");
}
