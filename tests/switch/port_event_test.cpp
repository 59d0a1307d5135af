// What a link that comes or goes brings about.
#include "switch/wan_uplink.h"

namespace {

using sim::Device;
using sim::Event;
using testing::ElementsAre;
using testing::IsEmpty;

using WanPort = WanUplink;

TEST_F(WanPort, IsWhereTheGatewayWasLearnt) {
  table_.learn(kOther, {2}).slow(2).learn(kGateway, {0});
  switch_init();
  EXPECT_EQ(checkWanPortNumber(), 1);
  switch_fini();
  EXPECT_EQ(device_.console(), "WAN Port is 1\n");
  EXPECT_THAT(device_.shellLines(), ElementsAre("ping -c 1 10.0.0.1"));
  EXPECT_THAT(device_.pipes(),
              ElementsAre("cat /var/wan1.info | sed -n 's/:.*//p'", "arp -an | grep 10.0.0.1"));
  EXPECT_THAT(device_.requests(),
              ElementsAre("switch register 80 = 8004", "switch register 80 = 8005",
                          "switch register 80 = 8005"));
  EXPECT_FALSE(device_.text("/tmp/wanPort"));
  EXPECT_FALSE(device_.text("/tmp/gwMac"));
  EXPECT_EQ(device_.clock().elapsed(), 5 * (2 + 2));
}

TEST_F(WanPort, CanBeUnknown) {
  switch_init();
  table_.learn(kOther, {2});
  EXPECT_EQ(checkWanPortNumber(), 0);
  EXPECT_EQ(device_.console(), "WAN Port is 0\n");

  // No use is made of the address that the snooping has saved.
  device_.file("/tmp/gwMac", kOther);
  gatewayAnswers("");
  EXPECT_EQ(checkWanPortNumber(), 0);

  device_.forget();
  gatewayAnswers("? (10.0.0.1) at 00:11:22:aa:bb:cc [ether] on br0\n");
  table_.learn(kGateway, {1}).learnLast(kOther, {2});
  EXPECT_EQ(checkWanPortNumber(), 16384) << "cancelled, although the gateway was there";
  device_.unstartable("arp -an");
  EXPECT_EQ(checkWanPortNumber(), 0);
  EXPECT_EQ(device_.console(), "");

  Device endless;
  endless.part<sim::Switch>().learn(kOther, {1}).endless();
  EXPECT_EQ(checkWanPortNumber(), 0);
  EXPECT_EQ(endless.requests().size(), 1u + 2048);
  EXPECT_EQ(endless.console(), "");
  switch_fini();
}

TEST(LanPorts, AreRestartedAllButTheWan) {
  const std::vector<std::string> kAll = {
      "mii_mgr -s -p 0 -r 0 -v 0x3900 >null", "mii_mgr -s -p 0 -r 0 -v 0x3100 >null",
      "mii_mgr -s -p 1 -r 0 -v 0x3900 >null", "mii_mgr -s -p 1 -r 0 -v 0x3100 >null",
      "mii_mgr -s -p 2 -r 0 -v 0x3900 >null", "mii_mgr -s -p 2 -r 0 -v 0x3100 >null",
      "mii_mgr -s -p 3 -r 0 -v 0x3900 >null", "mii_mgr -s -p 3 -r 0 -v 0x3100 >null",
  };
  for (int wan : {0, 1, 2, 3, 4, 5, -1, 16384}) {
    Device device;
    resetEthernetSwitchPort(wan);
    std::vector<std::string> expected = kAll;
    bool spared = wan >= 1 && wan <= 4;
    if (spared) expected.erase(expected.begin() + 2 * (wan - 1), expected.begin() + 2 * wan);
    EXPECT_EQ(device.shellLines(), expected) << wan;
    EXPECT_EQ(device.clock().elapsed(), spared ? 4000 : 5000);
    // The power comes back a second after it went.
    EXPECT_EQ(device.events()[2].at - device.events()[0].at, 1000);
    EXPECT_EQ(device.events()[1].kind, Event::kSleep);
  }
}

class PortEvent : public testing::Test {
 protected:
  PortEvent() {
    device_.interface("br0").address("192.168.1.1");
    device_.settings({{"OperationMode", "1"}, {"WirelessOPMode", "0"}});
  }
  void gateway(const std::string &hex) {
    device_.file("/proc/net/route",
                 "Iface\tDestination\tGateway\tFlags\tRefCnt\tUse\tMetric\tMask\tMTU\n"
                 "br0\t00000000\t" +
                     hex + "\t0003\t0\t0\t0\t00000000\t0\n");
  }
  std::vector<std::string> signals() {
    std::vector<std::string> found;
    for (const Event &event : device_.events()) {
      if (event.kind == Event::kSignal) found.push_back(event.text);
    }
    return found;
  }
  void expectNothing() {
    EXPECT_THAT(device_.commands(), IsEmpty());
    EXPECT_THAT(signals(), IsEmpty());
  }

  Device device_;
};

constexpr char kPresent[] = "0100000A";  // 10.0.0.1
constexpr char kAbsent[] = "00000000";

TEST_F(PortEvent, OfOtherKindsIsIgnored) {
  for (int event : {17, 20, 21, 31}) EXPECT_EQ(ethernetPortEventHandler(event), 0);
  expectNothing();
  EXPECT_THAT(device_.asked(), IsEmpty());
}

TEST_F(PortEvent, StartsTheWanAnewInModeOne) {
  device_.settings({{"WirelessOPMode", "1"}}).file("/var/run/udhcpc1.pid", "77\n");
  gateway(kPresent);
  ethernetPortEventHandler(1);
  expectNothing();
  gateway(kAbsent);
  ethernetPortEventHandler(1);
  EXPECT_THAT(device_.shellLines(),
              ElementsAre("killall -9 udhcpc >null", "rm /var/run/udhcpc1.pid", "wan.sh >null"));
  EXPECT_FALSE(device_.text("/var/run/udhcpc1.pid"));
  EXPECT_THAT(signals(), IsEmpty());

  // The other way to say that there is no gateway.
  Device bridge;
  bridge.settings({{"OperationMode", "0"}, {"WirelessOPMode", "1"}});
  bridge.interface("br0").address("192.168.1.1");
  ethernetPortEventHandler(0);  // br0 is the WAN, and /var/wan1.info is missing: "0.0.0.0"
  EXPECT_EQ(bridge.commands().size(), 3u);
}

TEST_F(PortEvent, StartsTheWanInOtherModesWhenItHasNoClient) {
  for (const char *hex : {kPresent, kAbsent}) {
    device_.forget();
    gateway(hex);
    ethernetPortEventHandler(2);
    EXPECT_THAT(device_.shellLines(), ElementsAre("wan.sh >null"));
  }
  device_.forget();
  device_.remove("WirelessOPMode").file("/var/run/udhcpc1.pid", "77\n");
  gateway(kPresent);
  ethernetPortEventHandler(2);
  expectNothing();
}

// The bytes of the text are the number: "77" is 0x3737, not 77.
TEST_F(PortEvent, SignalsTheProcessThatThePidFilesBytesMake) {
  const struct {
    const char *file;
    const char *gateway;
    std::vector<std::string> signals;
  } kCases[] = {
      {"77\n", kAbsent, {"16 to 14135"}},
      {"123", kAbsent, {"16 to 3355185"}},
      {"77", kPresent, {}},
      // The end of four digits falls on the gateway and hides it.
      {"1234\n", kPresent, {"16 to 875770417"}},
      // More digits become the gateway.
      {"12345\n", kAbsent, {}},
      {"12345\n", kPresent, {}},
      {"12340.0.0.0\n", kPresent, {"16 to 875770417"}},
      {" 77 99", kAbsent, {"16 to 14135"}},
      // No number of a file reaches a group of processes.
      {"", kAbsent, {}},
      {"\xFF\xFF\xFF\xFF\n", kAbsent, {}},
  };
  for (const auto &each : kCases) {
    device_.forget();
    gateway(each.gateway);
    device_.file("/var/run/udhcpc1.pid", each.file);
    EXPECT_EQ(ethernetPortEventHandler(3), 0);
    EXPECT_EQ(signals(), each.signals) << each.file << " " << each.gateway;
    EXPECT_THAT(device_.commands(), IsEmpty());
  }
  // Longer than both fields together.
  device_.forget();
  device_.file("/var/run/udhcpc1.pid", std::string(4000, '1'));
  ethernetPortEventHandler(3);
  expectNothing();
}

}  // namespace
