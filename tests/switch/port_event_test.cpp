// What a link that comes or goes brings about.
#include "switch/wan_uplink.h"

namespace {

using sim::Device;
using sim::Event;
using testing::ElementsAre;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

TEST(WanPort, IsWhereTheGatewayWasLearnt) {
  WanUplinkDevice device;
  device.table.learn(kOther, {2}).slow(2).learn(kGateway, {0});
  switch_init();
  EXPECT_EQ(checkWanPortNumber(), 1);
  switch_fini();
  EXPECT_EQ(device.console(), "WAN Port is 1\n");
  EXPECT_THAT(device.shellLines(), ElementsAre("ping -c 1 10.0.0.1"));
  EXPECT_THAT(device.pipes(),
              ElementsAre("cat /var/wan1.info | sed -n 's/:.*//p'", "arp -an | grep 10.0.0.1"));
  EXPECT_FALSE(device.text("/tmp/wanPort"));
  EXPECT_FALSE(device.text("/tmp/gwMac"));
}

TEST(WanPort, CanBeUnknown) {
  WanUplinkDevice device;
  device.table.learn(kOther, {2});
  // No use is made of the address that the snooping has saved.
  device.file("/tmp/gwMac", kOther).answer("arp -an", "");
  switch_init();
  EXPECT_EQ(checkWanPortNumber(), 0);
  EXPECT_EQ(device.console(), "WAN Port is 0\n");

  WanUplinkDevice cancelled;
  cancelled.table.learn(kGateway, {1}).learnLast(kOther, {2});
  EXPECT_EQ(checkWanPortNumber(), 16384) << "cancelled, although the gateway was there";

  WanUplinkDevice endless;
  endless.table.learn(kGateway, {1}).endless();
  EXPECT_EQ(checkWanPortNumber(), 0);
  EXPECT_EQ(endless.requests().size(), 1u + 2048);
  EXPECT_EQ(endless.console(), "");
  switch_fini();
}

TEST(LanPorts, AreRestartedAllButTheWan) {
  for (int wan : {0, 1, 2, 3, 4, 5, -1, 16384}) {
    Device device;
    resetEthernetSwitchPort(wan);
    Lines expected;
    for (int port = 0; port < 4; port++) {
      if (port + 1 == wan) continue;
      const std::string line = "mii_mgr -s -p " + std::to_string(port) + " -r 0 -v ";
      expected.insert(expected.end(), {line + "0x3900 >null", line + "0x3100 >null"});
    }
    EXPECT_EQ(device.shellLines(), expected) << wan;
    EXPECT_EQ(device.clock().elapsed(), expected.size() == 6 ? 4000 : 5000);
    // The power comes back a second after it went.
    EXPECT_EQ(device.events()[2].at - device.events()[0].at, 1000);
    EXPECT_EQ(device.events()[1].kind, Event::kSleep);
  }
}

constexpr char kPidFile[] = "/var/run/udhcpc1.pid";
constexpr char kPresent[] = "0100000A";  // 10.0.0.1
constexpr char kAbsent[] = "00000000";

// The commands that were run, and "signal to process".
Lines handled(int event, const Device &device) {
  EXPECT_EQ(ethernetPortEventHandler(event), 0);
  Lines done = device.shellLines();
  for (const Event &each : device.events()) {
    if (each.kind == Event::kSignal) done.push_back(each.text);
  }
  return done;
}

TEST(PortEvent, StartsTheWanAnewOrRenewsItsLease) {
  const Lines kNothing, kWan = {"wan.sh >null"};
  const Lines kAnew = {"killall -9 udhcpc >null", "rm /var/run/udhcpc1.pid", "wan.sh >null"};
  const struct {
    const char *mode, *gateway, *pid;
    Lines done;
  } kCases[] = {
      {"1", kAbsent, "77\n", kAnew},
      {"0", kAbsent, nullptr, kWan},
      // The bytes of the text are the number: "77" is 0x3737, not 77.
      {"", kAbsent, "77\n", {"16 to 14135"}},
      {"0", kAbsent, " 77 99", {"16 to 14135"}},
      {"0", kAbsent, "123", {"16 to 3355185"}},
      {"0", kPresent, "123", kNothing},
      // The end of four digits falls on the gateway and hides it.
      {"0", kPresent, "1234\n", {"16 to 875770417"}},
      // More digits become the gateway.
      {"0", kAbsent, "12345\n", kNothing},
      {"0", kPresent, "12340.0.0.0\n", {"16 to 875770417"}},
      // No number of a file reaches a group of processes.
      {"0", kAbsent, "", kNothing},
      {"0", kAbsent, "\xFF\xFF\xFF\xFF\n", kNothing},
  };
  for (const auto &[mode, gateway, pid, done] : kCases) {
    Device device;
    device.settings({{"OperationMode", "1"}, {"WirelessOPMode", mode}});
    device.interface("br0").address("192.168.1.1");
    device.file("/proc/net/route",
                "Iface\tDestination\tGateway\tFlags\tRefCnt\tUse\tMetric\tMask\tMTU\n"
                "br0\t00000000\t" +
                    std::string(gateway) + "\t0003\t0\t0\t0\t00000000\t0\n");
    if (pid != nullptr) device.file(kPidFile, pid);
    for (int ignored : {17, 20, 21, 31}) EXPECT_EQ(handled(ignored, device), kNothing);
    EXPECT_THAT(device.asked(), IsEmpty());
    EXPECT_EQ(handled(1, device), done) << mode << gateway << (pid != nullptr ? pid : "-");
  }
  // br0 is the WAN, and /var/wan1.info is missing: the gateway is "0.0.0.0".
  Device bridge;
  bridge.settings({{"OperationMode", "0"}, {"WirelessOPMode", "1"}});
  bridge.interface("br0").address("192.168.1.1");
  EXPECT_EQ(handled(0, bridge), kAnew);
  // Longer than the fields of the number and the gateway together.
  bridge.settings({{"WirelessOPMode", "0"}}).file(kPidFile, std::string(4000, '1')).forget();
  EXPECT_EQ(handled(3, bridge), kNothing);
}

}  // namespace
