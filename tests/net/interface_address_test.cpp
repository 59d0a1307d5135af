// Addresses of interfaces, and who keeps them in settings.
#include <gmock/gmock.h>

#include <string>

#include "orba_util.h"
#include "sim/device.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

void addPorts(sim::Device &device) {
  device.interface("br0").address("192.168.1.1").netmask("255.255.255.0").mac("00:0c:43:76:20:01");
  device.interface("eth2.2").address("10.0.0.2").netmask("255.255.255.0").mac("00:0c:43:76:20:fe");
  device.interface("ppp1").address("172.16.0.9").netmask("255.255.255.255");
  device.interface("eth2.20").mac("02:00:00:00:00:20");
}

}  // namespace

TEST(InterfaceAddresses, ComeFromTheKernel) {
  sim::Device device;
  addPorts(device);
  char text[18] = "";
  EXPECT_EQ(getIfIp("br0", text), 0);
  EXPECT_STREQ(text, "192.168.1.1");
  EXPECT_EQ(getIfNetmask("br0", text), 0);
  EXPECT_STREQ(text, "255.255.255.0");
  EXPECT_EQ(getIfMac("br0", text), 0);
  EXPECT_STREQ(text, "00:0C:43:76:20:01");
}

TEST(InterfaceAddresses, LeaveTheBufferAloneWhenThereIsNone) {
  sim::Device device;
  addPorts(device);
  std::string cut = "interface_of_15";
  device.interface(cut).address("10.9.9.9");
  char text[18] = "before";
  // A longer name must not be answered for the one that it would be cut to.
  for (const char *name : {"nosuch0", "", "eth2.20", "interface_of_15x",
                           "a name that is longer than any that an interface can have"}) {
    EXPECT_EQ(getIfIp(name, text), -1) << name;
    EXPECT_EQ(getIfNetmask(name, text), -1) << name;
    EXPECT_STREQ(text, "before");
  }
  EXPECT_EQ(getIfMac("nosuch0", text), -1);
  EXPECT_EQ(getIfIp(cut.c_str(), text), 0);

  device.withoutSockets();
  snprintf(text, sizeof text, "before");
  EXPECT_EQ(getIfIp("br0", text), -1);
  EXPECT_EQ(getIfMac("br0", text), -1);
  EXPECT_STREQ(text, "before");
  EXPECT_EQ(getLanMac(text), 1);
  EXPECT_STREQ(text, "");
}

TEST(InterfaceAddresses, OfTheDefaultWan) {
  sim::Device device;
  addPorts(device);
  device.settings({{"OperationMode", "1"},
                   {"wanConnectionMode", "DHCP"},
                   {"default_wan", "1"},
                   {"wanConnectionMode2", "PPTP"},
                   {"wan2Vid", "20"}});
  char text[18];
  EXPECT_EQ(getLanMac(text), 1);
  EXPECT_STREQ(text, "00:0C:43:76:20:01");
  EXPECT_EQ(getDefaultWanIp(text), 1);
  EXPECT_STREQ(text, "10.0.0.2");
  EXPECT_EQ(getDefaultWanMac(text), 1);
  EXPECT_STREQ(text, "00:0C:43:76:20:FE");

  // The MAC is the Ethernet device's, address and netmask are the PPP interface's.
  device.settings({{"default_wan", "2"}});
  EXPECT_EQ(getDefaultWanIp(text), 1);
  EXPECT_STREQ(text, "172.16.0.9");
  EXPECT_EQ(getDefaultWanNetmask(text), 1);
  EXPECT_STREQ(text, "255.255.255.255");
  EXPECT_EQ(getDefaultWanMac(text), 1);
  EXPECT_STREQ(text, "02:00:00:00:00:20");

  for (const char *wan : {"3", "0", "", "wan"}) {
    device.settings({{"default_wan", wan}});
    for (auto *get : {getDefaultWanIp, getDefaultWanNetmask, getDefaultWanMac}) {
      snprintf(text, sizeof text, "before");
      EXPECT_EQ(get(text), 0) << wan;
      EXPECT_STREQ(text, "");
    }
  }
}

TEST(AuthenticatorAddress, IsStoredInItsSpace) {
  sim::Device device;
  addPorts(device);
  device.settings({{"OperationMode", "1"}, {"RADIUS_Server", "192.168.1.5"}});
  device.settings({{"RADIUS_Server", "192.168.1.6"}}, 2);
  updateFlash8021x(1);
  EXPECT_THAT(device.writes(), ElementsAre("set 1 own_ip_addr=192.168.1.1", "set 1 EAPifname=br0",
                                           "set 1 PreAuthifname=br0", "commit 1"));
  device.forget();
  updateFlash8021x(2);
  EXPECT_THAT(device.writes(), ElementsAre("set 2 own_ip_addr=192.168.1.1", "commit 2"));
  EXPECT_EQ(device.printed(), "");
}

TEST(AuthenticatorAddress, IsLeftAloneWithout8021x) {
  const struct {
    sim::Settings settings;
    const char *printed;
  } kCases[] = {
      {{{"RADIUS_Server", "192.168.1.5"}}, ""},
      {{{"OperationMode", "1"}}, ""},
      {{{"OperationMode", "3"}, {"RADIUS_Server", ""}}, ""},
      {{{"OperationMode", "3"}, {"RADIUS_Server", "192.168.1.5"}}, "not op mode\n"},
      {{{"OperationMode", ""}, {"RADIUS_Server", "192.168.1.5"}}, "not op mode\n"},
      {{{"OperationMode", "2"}, {"RADIUS_Server", "192.168.1.5"}}, ""},  // eth2 has no address
  };
  for (const auto &c : kCases) {
    sim::Device device;
    addPorts(device);
    device.settings(c.settings);
    updateFlash8021x(1);
    EXPECT_THAT(device.writes(), IsEmpty());
    EXPECT_EQ(device.printed(), c.printed);
  }
}
