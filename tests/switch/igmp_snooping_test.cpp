// Snooping follows the port on which the gateway has been learnt.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <iterator>

#include "switch/wan_uplink.h"

namespace {

using sim::Device;
using sim::Event;
using sim::Switch;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;

int openDescriptors() {
  std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<int>(std::distance(begin(all), end(all)));
}

class IgmpSnooping : public WanUplink {
 protected:
  int enable() {
    switch_init();
    int port = igmpsnoopingenable();
    switch_fini();
    return port;
  }
};

TEST_F(IgmpSnooping, IsTurnedOnForTheGatewaysPort) {
  table_.learn(kOther, {0}).slow(3).learn(kGateway, {2}).slow(1);
  int descriptors = openDescriptors();
  EXPECT_EQ(enable(), 3);
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_THAT(device_.shellLines(),
              ElementsAre("arping -c 1 -I br0 10.0.0.1", "switch igmpsnoop off",
                          "switch reg w 0x2208 0x9355", "switch igmpsnoop enable 0",
                          "switch igmpsnoop enable 1", "switch igmpsnoop enable 3",
                          "switch igmpsnoop on 100 0010111", "echo \"3\" > /tmp/wanPort"));
  EXPECT_THAT(device_.pipes(), ElementsAre("cat /var/wan1.info | sed -n 's/:.*//p'",
                                           "arp -an | grep \"(10.0.0.1)\""));
  EXPECT_EQ(device_.openPipes(), 0);
  EXPECT_EQ(device_.text("/tmp/wanPort"), "3\n");
  EXPECT_EQ(device_.text("/tmp/gwMac"), kGateway);
  EXPECT_EQ(device_.console(),
            "igmpsnoopingenable: servMAC:001122aabbcc string length=12 Line 4529 \n");
  EXPECT_THAT(device_.requests(),
              ElementsAre("switch register 80 = 8004", "switch register 80 = 8005",
                          "switch register 80 = 8005"));
  // Eight registers first; then the control register 2 + 4 + 1 times, two looks at
  // each MAC address, and one at the gateway's ports.
  EXPECT_EQ(table_.reads(), 8 + (1 + 4 + 2) + 4 + 1);
  // 5 ms for each entry and for each look in vain.
  EXPECT_EQ(device_.clock().elapsed(), 5 * (2 + 3 + 1));
}

TEST_F(IgmpSnooping, HasACommandListForEveryPort) {
  const struct {
    int port;
    std::vector<std::string> commands;
  } kCases[] = {
      {1,
       {"switch reg w 0x2008 0x9355", "switch igmpsnoop enable 1", "switch igmpsnoop enable 2",
        "switch igmpsnoop enable 3", "switch igmpsnoop on 100 1000111"}},
      {2,
       {"switch reg w 0x2108 0x9355", "switch igmpsnoop enable 0", "switch igmpsnoop enable 2",
        "switch igmpsnoop enable 3", "switch igmpsnoop on 100 0100111"}},
      {3,
       {"switch reg w 0x2208 0x9355", "switch igmpsnoop enable 0", "switch igmpsnoop enable 1",
        "switch igmpsnoop enable 3", "switch igmpsnoop on 100 0010111"}},
      {4,
       {"switch reg w 0x2308 0x9355", "switch igmpsnoop enable 0", "switch igmpsnoop enable 1",
        "switch igmpsnoop enable 2", "switch igmpsnoop on 100 0001111"}},
      {0, {}},
  };
  for (const auto &each : kCases) {
    Device device;
    device.answer("cat /var/wan1.info", "10.0.0.1\n");
    device.answer("arp -an", "? (10.0.0.1) at 00:11:22:aa:bb:cc [ether] on br0\n");
    if (each.port != 0) device.part<Switch>().learn(kGateway, {each.port - 1});
    device.part<Switch>().learn(kOther, {1});
    EXPECT_EQ(enable(), each.port);
    std::vector<std::string> expected = each.commands;
    expected.insert(expected.begin(), {"arping -c 1 -I br0 10.0.0.1", "switch igmpsnoop off"});
    expected.push_back("echo \"" + std::to_string(each.port) + "\" > /tmp/wanPort");
    EXPECT_EQ(device.shellLines(), expected);
    EXPECT_EQ(device.text("/tmp/wanPort"), std::to_string(each.port) + "\n");
  }
}

TEST_F(IgmpSnooping, TakesTheHighestPortAndTheLastMatch) {
  table_.learn(kGateway, {0, 1, 3});
  EXPECT_EQ(enable(), 4);
  table_.learn(kGateway, {0, 1});
  EXPECT_EQ(enable(), 2);
  table_.learn(kGateway, {});
  EXPECT_EQ(enable(), 2) << "an entry without a port says nothing";
  table_.slow(10000).learnLast(kGateway, {2});
  EXPECT_EQ(enable(), 3) << "a last entry that is the gateway ends the search as usual";
}

TEST_F(IgmpSnooping, IsLeftAloneWhenTheSearchDoesNotEnd) {
  const std::vector<std::string> only_arping = {"arping -c 1 -I br0 10.0.0.1"};
  // The last entry is another station: that cancels the match before it.
  table_.learn(kGateway, {1}).learnLast(kOther, {2});
  EXPECT_EQ(enable(), 0);
  EXPECT_EQ(device_.shellLines(), only_arping);
  EXPECT_FALSE(device_.text("/tmp/wanPort"));

  Device endless;
  endless.answer("cat /var/wan1.info", "10.0.0.1\n");
  endless.answer("arp -an", "? (10.0.0.1) at 00:11:22:aa:bb:cc [ether] on br0\n");
  // Looks in vain do not count as entries.
  endless.part<Switch>().slow(10).learn(kGateway, {1}).endless();
  EXPECT_EQ(enable(), 0);
  EXPECT_EQ(endless.requests().size(), 1u + 2048);
  EXPECT_EQ(endless.shellLines(), only_arping);

  Device stuck;
  stuck.answer("cat /var/wan1.info", "10.0.0.1\n");
  stuck.part<Switch>().slow(1000000000);
  EXPECT_EQ(enable(), 0) << "a switch that never answers holds nobody for ever";
  EXPECT_EQ(stuck.clock().elapsed(), 60000);
  EXPECT_EQ(stuck.shellLines(), only_arping);
}

TEST_F(IgmpSnooping, RemembersAGatewayThatIsSilent) {
  table_.learn(kGateway, {0});
  gatewayAnswers("? (10.0.0.1) at <incomplete> on br0\n");
  EXPECT_EQ(enable(), 0) << "never seen";
  EXPECT_EQ(device_.text("/tmp/wanPort"), "0\n");
  EXPECT_FALSE(device_.text("/tmp/gwMac"));

  device_.file("/tmp/gwMac", kGateway);
  EXPECT_EQ(enable(), 1);
  gatewayAnswers("");
  EXPECT_EQ(enable(), 1);
  // Two neighbours make an address of 24 digits, which is none.
  gatewayAnswers(
      "? (10.0.0.1) at 0a:0b:0c:0d:0e:0f [ether] on br0\n"
      "? (10.0.0.1) at 0a:0b:0c:0d:0e:0f [ether] on eth2.2\n");
  EXPECT_EQ(enable(), 1);
  EXPECT_EQ(device_.text("/tmp/gwMac"), kGateway);
  gatewayAnswers(":" + std::string(300, ':') + "a:b");
  EXPECT_EQ(enable(), 1);

  device_.forget();
  device_.unstartable("arp -an");
  EXPECT_EQ(enable(), 0);
  EXPECT_THAT(device_.commands(), ElementsAre("arping -c 1 -I br0 10.0.0.1"));
  EXPECT_EQ(device_.console(), "");
}

TEST_F(IgmpSnooping, RunsNoSecondCommandOutOfAnAddress) {
  table_.learn(kGateway, {0});
  device_.answer("cat /var/wan1.info", "$(reboot)\n");
  enable();
  EXPECT_EQ(device_.commands().front(), "arping -c 1 -I br0 ");
  EXPECT_EQ(device_.pipes().back(), "arp -an | grep \"()\"");
}

TEST_F(IgmpSnooping, EndsTheWirelessUplinkWhenAWiredOneIsThere) {
  table_.learn(kGateway, {3});
  device_.settings({{"WirelessOPMode", "3"}}).file("/tmp/do_vela", "0\n");
  EXPECT_EQ(igmpsnooping_init(), 0);
  EXPECT_THAT(device_.writes(), ElementsAre("set 1 WirelessOPMode=1", "commit 1"));
  std::vector<std::string> commands = device_.commands();
  ASSERT_EQ(commands.size(), 10u);
  EXPECT_THAT(
      (std::vector<std::string>(commands.begin() + 7, commands.end())),
      ElementsAre("echo \"4\" > /tmp/wanPort", "echo \"1\" > /tmp/nvram_LOCK", "reboot.sh"));
  EXPECT_EQ(device_.text("/tmp/nvram_LOCK"), "1\n");
}

TEST_F(IgmpSnooping, KeepsTheWirelessUplinkOtherwise) {
  table_.learn(kGateway, {3});
  device_.settings({{"WirelessOPMode", "3"}});
  igmpsnooping_init();  // no /tmp/do_vela, which is not 0
  device_.file("/tmp/do_vela", "1\n0\n");
  igmpsnooping_init();
  device_.file("/tmp/do_vela", "");
  igmpsnooping_init();
  device_.file("/tmp/do_vela", "0\n").settings({{"WirelessOPMode", "1"}});
  igmpsnooping_init();
  device_.settings({{"WirelessOPMode", "3"}}).file("/tmp/gwMac", kOther);
  gatewayAnswers("");
  igmpsnooping_init();
  EXPECT_EQ(device_.text("/tmp/wanPort"), "0\n");
  EXPECT_THAT(device_.writes(), IsEmpty());
  EXPECT_FALSE(device_.text("/tmp/nvram_LOCK"));

  device_.forget();
  device_.removeFile("/var/wan1.info");
  igmpsnooping_init();
  igmpHWSnoopingRule();
  EXPECT_THAT(device_.events(), IsEmpty());
}

TEST_F(IgmpSnooping, TurnsTheModuleIntoAnAccessPoint) {
  table_.learn(kGateway, {0});
  device_.settings({{"OperationMode", "3"}});  // of the main space, which does not matter
  igmpHWSnoopingRule();
  EXPECT_EQ(device_.commands().back(), "echo \"1\" > /tmp/wanPort");
  EXPECT_THAT(device_.writes(), IsEmpty());

  device_.forget();
  device_.settings({{"OperationMode", "3"}}, 2);
  igmpHWSnoopingRule();
  std::vector<std::string> lines = device_.shellLines();
  ASSERT_EQ(lines.size(), 10u);
  EXPECT_EQ(lines[8], "call_qcsapi_sockrpc --host 1.1.1.2 disassociate wifi0 1>/dev/null 2>&1");
  EXPECT_EQ(lines[9], "wlan_5G.sh \"SwitchAP\" > /dev/null 1>/dev/null 2>&1");
  EXPECT_THAT(device_.writes(), ElementsAre("set 2 WlanEnabled=1;0;0;0;0;0;0;0;0"));

  device_.forget();
  table_.learnLast(kOther, {1});
  igmpHWSnoopingRule();
  EXPECT_THAT(device_.writes(), IsEmpty());
}

TEST(SwitchAccess, EndsTheProcessWhenItFails) {
  Device device;
  // What was recorded goes to the real standard error, where the test looks.
  device.onExit([&](int status) {
    fputs(device.errors().c_str(), stderr);
    _exit(status == 0 && fcntl(esw_fd, F_GETFD) == -1 ? 0 : 9);
  });
  Switch &registers = device.part<Switch>();
  registers.set(0x2008, 7);
  switch_init();
  uint32_t value = 0;
  EXPECT_EQ(reg_read(0x2008, &value), 0);
  EXPECT_EQ(value, 7u);
  EXPECT_EQ(reg_write(0x2008, 0x89ABCDEF), 0);
  EXPECT_EQ(registers.get(0x2008), 0x89ABCDEFu);

  registers.breakDown();
  EXPECT_EXIT(reg_read(0x2008, &value), ExitedWithCode(0), "^ioctl: Input/output error\n$");
  EXPECT_EXIT(reg_write(0x2008, 1), ExitedWithCode(0), "^ioctl: Input/output error\n$");
  EXPECT_EQ(switch_fini(), 0);
  EXPECT_EQ(fcntl(esw_fd, F_GETFD), -1);
  device.withoutSockets();
  EXPECT_EXIT(switch_init(), ExitedWithCode(0), "^socket: Address family not supported");
}

}  // namespace
