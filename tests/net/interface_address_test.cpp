// Addresses of interfaces, and who keeps them in settings.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

namespace {

struct Ports : sim::Device {
  Ports() {
    interface("br0").address("192.168.1.1").netmask("255.255.255.0").mac("ac:0c:43:76:20:01");
    interface("eth2.2").address("10.0.0.2").netmask("255.255.255.0").mac("00:0c:43:76:20:fe");
    interface("ppp1").address("172.16.0.9").netmask("255.255.255.255");
    interface("eth2.20").mac("02:00:00:00:00:20");
  }
};

// What a getter returns and leaves in its buffer.
template <typename Getter, typename... Arguments>
std::string answerOf(Getter getter, Arguments... arguments) {
  char text[18] = "before";
  int result = getter(arguments..., text);
  return std::to_string(result) + " " + text;
}

}  // namespace

TEST(InterfaceAddresses, ComeFromTheKernelOrLeaveTheBufferAlone) {
  Ports device;
  EXPECT_EQ(answerOf(getIfIp, "br0"), "0 192.168.1.1");
  EXPECT_EQ(answerOf(getIfNetmask, "br0"), "0 255.255.255.0");
  EXPECT_EQ(answerOf(getIfMac, "br0"), "0 AC:0C:43:76:20:01");
  EXPECT_EQ(answerOf(getIfMac, "nosuch0"), "-1 before");
  // A longer name must not be answered for the one that it would be cut to.
  device.interface("interface_of_15").address("10.9.9.9");
  EXPECT_EQ(answerOf(getIfIp, "interface_of_15"), "0 10.9.9.9");
  for (const char *name : {"nosuch0", "", "eth2.20", "interface_of_15x",
                           "a name that is longer than any that an interface can have"}) {
    EXPECT_EQ(answerOf(getIfIp, name), "-1 before") << name;
    EXPECT_EQ(answerOf(getIfNetmask, name), "-1 before") << name;
  }
}

TEST(InterfaceAddresses, OfTheDefaultWan) {
  Ports device;
  device.settings(
      settingsOf("OperationMode=1 wanConnectionMode=DHCP default_wan=1 "
                 "wanConnectionMode2=PPTP wan2Vid=20"));
  EXPECT_EQ(answerOf(getLanMac), "1 AC:0C:43:76:20:01");
  EXPECT_EQ(answerOf(getDefaultWanIp), "1 10.0.0.2");
  EXPECT_EQ(answerOf(getDefaultWanMac), "1 00:0C:43:76:20:FE");
  // The MAC is the Ethernet device's, address and netmask are the PPP interface's.
  device.buffered({{"default_wan", "2"}});
  EXPECT_EQ(answerOf(getDefaultWanIp), "1 172.16.0.9");
  EXPECT_EQ(answerOf(getDefaultWanNetmask), "1 255.255.255.255");
  EXPECT_EQ(answerOf(getDefaultWanMac), "1 02:00:00:00:00:20");
  // The netmask asks for the mode by the text, the address by the number.
  device.interface("eth2.20").netmask("255.255.0.0");
  device.buffered({{"default_wan", "02"}});
  EXPECT_EQ(answerOf(getDefaultWanIp), "1 172.16.0.9");
  EXPECT_EQ(answerOf(getDefaultWanNetmask), "1 255.255.0.0");
  device.settings({{"wanConnectionMode02", "L2TP"}, {"wanConnectionMode2", "STATIC"}});
  EXPECT_EQ(answerOf(getDefaultWanNetmask), "1 255.255.255.255");
  device.buffered({{"default_wan", "01"}});
  EXPECT_EQ(answerOf(getDefaultWanNetmask), "1 255.255.255.0");
  device.settings({{"wanConnectionMode", "PPPOE"}});
  EXPECT_EQ(answerOf(getDefaultWanNetmask), "0 ") << "ppp0 is down";
  for (const char *wan : {"3", "0", "", "wan"}) {
    device.buffered({{"default_wan", wan}});
    for (auto *get : {getDefaultWanIp, getDefaultWanNetmask, getDefaultWanMac}) {
      EXPECT_EQ(answerOf(get), "0 ") << wan;
    }
  }
}

TEST(AuthenticatorAddress, IsStoredInItsSpaceWhere8021xIsUsed) {
  const std::vector<std::string> kInOne = {"bufset 1 own_ip_addr=192.168.1.1",
                                           "bufset 1 EAPifname=br0", "bufset 1 PreAuthifname=br0",
                                           "commit 1"};
  const std::vector<std::string> kInTwo = {"bufset 2 own_ip_addr=192.168.1.1", "commit 2"};
  const struct {
    int space;
    const char *mode, *server;
    std::vector<std::string> writes;
    const char *printed;
  } kCases[] = {
      {1, "OperationMode=1", "RADIUS_Server=192.168.1.5", kInOne, ""},
      {2, "OperationMode=1", "RADIUS_Server=192.168.1.5", kInTwo, ""},
      {1, "", "RADIUS_Server=192.168.1.5", {}, ""},
      {1, "OperationMode=1", "", {}, ""},
      {1, "OperationMode=3", "RADIUS_Server=192.168.1.5", {}, "not op mode\n"},
      {1, "OperationMode=2", "RADIUS_Server=192.168.1.5", {}, ""},  // eth2 has no address
  };
  for (const auto &c : kCases) {
    Ports device;
    device.settings(settingsOf(c.mode)).settings(settingsOf(c.server), c.space);
    EXPECT_EQ(updateFlash8021x(c.space), 0);
    EXPECT_EQ(device.writes(), c.writes) << c.mode << c.server;
    EXPECT_EQ(device.printed(), c.printed) << c.mode << c.server;
  }
}
