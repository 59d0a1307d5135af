// Snooping follows the port on which the gateway has been learnt.
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <cerrno>

#include "switch/wan_uplink.h"

namespace {

using sim::Device;
using testing::ElementsAre;
using testing::EndsWith;
using testing::ExitedWithCode;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

int enable() {
  switch_init();
  int port = igmpsnoopingenable();
  switch_fini();
  return port;
}

TEST(IgmpSnooping, IsTurnedOnForTheGatewaysPort) {
  WanUplinkDevice device;
  device.table.learn(kOther, {0}).slow(3).learn(kGateway, {2}).slow(1);
  EXPECT_EQ(enable(), 3);
  EXPECT_THAT(device.shellLines(),
              ElementsAre("arping -c 1 -I br0 10.0.0.1", "switch igmpsnoop off",
                          "switch reg w 0x2208 0x9355", "switch igmpsnoop enable 0",
                          "switch igmpsnoop enable 1", "switch igmpsnoop enable 3",
                          "switch igmpsnoop on 100 0010111", "echo \"3\" > /tmp/wanPort"));
  EXPECT_THAT(device.pipes(), ElementsAre("cat /var/wan1.info | sed -n 's/:.*//p'",
                                          "arp -an | grep \"(10.0.0.1)\""));
  EXPECT_EQ(device.text("/tmp/wanPort"), "3\n");
  EXPECT_EQ(device.text("/tmp/gwMac"), kGateway);
  EXPECT_EQ(device.console(),
            "igmpsnoopingenable: servMAC:001122aabbcc string length=12 Line 4529 \n");
  EXPECT_THAT(device.requests(),
              ElementsAre("switch register 80 = 8004", "switch register 80 = 8005",
                          "switch register 80 = 8005"));
  // Eight registers first; then the control register 2 + 4 + 1 times, two looks at
  // each MAC address, and one at the gateway's ports.
  EXPECT_EQ(device.table.reads(), 8 + (1 + 4 + 2) + 4 + 1);
  // 5 ms for each entry and for each look in vain.
  EXPECT_EQ(device.clock().elapsed(), 5 * (2 + 3 + 1));
}

TEST(IgmpSnooping, IsTurnedOnForOtherPorts) {
  const struct {
    int port;
    std::string reg, lan, map;
  } kCases[] = {{1, "0x2008", "123", "1000111"}, {2, "0x2108", "023", "0100111"}};
  for (const auto &[port, reg, lan, map] : kCases) {
    WanUplinkDevice device;
    device.table.learn(kGateway, {port - 1}).learn(kOther, {1});
    EXPECT_EQ(enable(), port);
    Lines expected = {"arping -c 1 -I br0 10.0.0.1", "switch igmpsnoop off",
                      "switch reg w " + reg + " 0x9355"};
    for (char each : lan) expected.push_back(std::string("switch igmpsnoop enable ") + each);
    expected.push_back("switch igmpsnoop on 100 " + map);
    expected.push_back("echo \"" + std::to_string(port) + "\" > /tmp/wanPort");
    EXPECT_EQ(device.shellLines(), expected);
  }
}

TEST(IgmpSnooping, TakesTheHighestPortAndTheLastMatch) {
  WanUplinkDevice device;
  device.table.learn(kGateway, {0, 1, 3});
  EXPECT_EQ(enable(), 4);
  device.table.learn(kGateway, {0, 1});
  EXPECT_EQ(enable(), 2);
  device.table.learn(kGateway, {});
  EXPECT_EQ(enable(), 2) << "an entry without a port says nothing";
  device.table.slow(10000).learnLast(kGateway, {2});
  EXPECT_EQ(enable(), 3) << "a last entry that is the gateway ends the search as usual";
}

TEST(IgmpSnooping, IsLeftAloneWhenTheSearchDoesNotEnd) {
  // The last entry is another station: that cancels the match before it.
  WanUplinkDevice cancelled;
  cancelled.table.learn(kGateway, {1}).learnLast(kOther, {2});
  EXPECT_EQ(enable(), 0);
  EXPECT_FALSE(cancelled.text("/tmp/wanPort"));

  WanUplinkDevice endless;
  // Looks in vain do not count as entries.
  endless.table.slow(10).learn(kGateway, {1}).endless();
  EXPECT_EQ(enable(), 0);

  WanUplinkDevice stuck;
  stuck.table.slow(1000000000);
  EXPECT_EQ(enable(), 0) << "a switch that never answers holds nobody for ever";
  EXPECT_EQ(stuck.clock().elapsed(), 60000);
  for (const Device *device : {&cancelled, &endless, &stuck}) {
    EXPECT_THAT(device->shellLines(), ElementsAre("arping -c 1 -I br0 10.0.0.1"));
  }
}

TEST(IgmpSnooping, RemembersAGatewayThatIsSilent) {
  WanUplinkDevice device;
  device.table.learn(kGateway, {0});
  device.gatewayAnswers("? (10.0.0.1) at <incomplete> on br0\n");
  EXPECT_EQ(enable(), 0) << "never seen";
  EXPECT_THAT(device.commands(), ElementsAre("arping -c 1 -I br0 10.0.0.1", "switch igmpsnoop off",
                                             "echo \"0\" > /tmp/wanPort"));
  EXPECT_FALSE(device.text("/tmp/gwMac"));

  device.file("/tmp/gwMac", kGateway);
  const std::string other = "? (10.0.0.1) at 0a:0b:0c:0d:0e:0f [ether] on br0\n";
  // Two neighbours make an address of 24 digits, which is none.
  for (const std::string &arp : {std::string(), other + other, std::string(300, ':') + "a:b"}) {
    device.gatewayAnswers(arp);
    EXPECT_EQ(enable(), 1) << arp;
  }
  EXPECT_EQ(device.text("/tmp/gwMac"), kGateway);
}

TEST(IgmpSnooping, EndsTheWirelessUplinkOnlyWhenAWiredOneIsThere) {
  const struct {
    const char *mode, *easy_setup, *arp;
    bool ends;
  } kCases[] = {
      {"3", "0\n", "00:11:22:aa:bb:cc", true},  {"3", nullptr, "00:11:22:aa:bb:cc", false},
      {"3", "", "00:11:22:aa:bb:cc", false},    {"3", "1\n0\n", "00:11:22:aa:bb:cc", false},
      {"1", "0\n", "00:11:22:aa:bb:cc", false}, {"3", "0\n", "0a:0b:0c:0d:0e:0f", false},
  };
  for (const auto &[mode, easy_setup, arp, ends] : kCases) {
    WanUplinkDevice device;
    device.table.learn(kGateway, {3});
    device.gatewayAnswers(arp);
    device.buffered({{"WirelessOPMode", mode}});
    if (easy_setup != nullptr) device.file("/tmp/do_vela", easy_setup);
    EXPECT_EQ(igmpsnooping_init(), 0);
    Lines commands = device.commands(), writes = device.writes();
    if (ends) {
      EXPECT_EQ(Lines(commands.begin() + 7, commands.end()),
                (Lines{"echo \"4\" > /tmp/wanPort", "echo \"1\" > /tmp/nvram_LOCK", "reboot.sh"}));
      EXPECT_THAT(writes, ElementsAre("bufset 1 WirelessOPMode=1", "commit 1"));
      EXPECT_EQ(device.text("/tmp/nvram_LOCK"), "1\n");
    } else {
      EXPECT_THAT(commands.back(), EndsWith("> /tmp/wanPort"));
      EXPECT_THAT(writes, IsEmpty());
    }
  }
}

TEST(IgmpSnooping, TurnsTheModuleIntoAnAccessPoint) {
  WanUplinkDevice device;
  device.table.learn(kGateway, {0});
  device.settings({{"OperationMode", "3"}});  // of the main space, which does not matter
  igmpHWSnoopingRule();
  EXPECT_EQ(device.commands().back(), "echo \"1\" > /tmp/wanPort");
  EXPECT_THAT(device.writes(), IsEmpty());

  device.forget();
  device.buffered({{"OperationMode", "3"}}, 2);
  igmpHWSnoopingRule();
  Lines lines = device.shellLines();
  EXPECT_EQ(Lines(lines.begin() + 8, lines.end()),
            (Lines{"call_qcsapi_sockrpc --host 1.1.1.2 disassociate wifi0 1>/dev/null 2>&1",
                   "wlan_5G.sh \"SwitchAP\" > /dev/null 1>/dev/null 2>&1"}));
  EXPECT_THAT(device.writes(), ElementsAre("set 2 WlanEnabled=1;0;0;0;0;0;0;0;0"));

  device.forget();
  device.table.learnLast(kOther, {1});
  igmpHWSnoopingRule();
  EXPECT_THAT(device.writes(), IsEmpty());

  // Without a WAN the switch is not even asked.
  device.forget();
  device.removeFile("/var/wan1.info");
  igmpsnooping_init();
  igmpHWSnoopingRule();
  EXPECT_THAT(device.events(), IsEmpty());
}

TEST(SwitchAccess, EndsTheProcessWhenItFails) {
  Device device;
  // What was recorded goes to the real standard error, where the test looks.
  device.onExit([&](int status) {
    fputs(device.errors().c_str(), stderr);
    _exit(status == 0 && fcntl(esw_fd, F_GETFD) == -1 ? 0 : 9);
  });
  sim::Switch &registers = device.part<sim::Switch>();
  registers.set(0x2008, 7);
  switch_init();
  uint32_t value = 0;
  EXPECT_EQ(reg_read(0x2008, &value), 0);
  EXPECT_EQ(value, 7u);
  EXPECT_EQ(reg_write(0x2008, 0x89ABCDEF), 0);
  EXPECT_EQ(registers.get(0x2008), 0x89ABCDEFu);

  registers.breakDown();
  const std::string complaint = std::string("^ioctl: ") + strerror(EIO) + "\n$";
  EXPECT_EXIT(reg_read(0x2008, &value), ExitedWithCode(0), complaint);
  EXPECT_EXIT(reg_write(0x2008, 1), ExitedWithCode(0), complaint);
  EXPECT_EQ(switch_fini(), 0);
  EXPECT_EQ(fcntl(esw_fd, F_GETFD), -1);
  device.withoutSockets();
  EXPECT_EXIT(switch_init(), ExitedWithCode(0), "^socket: Address family not supported");
}

}  // namespace
