// The DMZ host: by rules, by the super DMZ program, and the simple set-up.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

using sim::Settings;
using testing::HasSubstr;

namespace {

struct DmzGateway : sim::Device {
  explicit DmzGateway(const Settings &more) {
    settings(
        settingsOf("OperationMode=1 wanConnectionMode=DHCP wanConnectionMode2=PPTP "
                   "defaultRouteNum=1 DMZAddress=192.168.1.50 DMZAvoidTCPPort80=0 "
                   "RMWWWServerPort=8888"));
    settings(more);
  }

  std::string run() {
    iptablesDMZRun();
    return transcript(*this);
  }
};

}  // namespace

TEST(Dmz, WithoutItsSettingsItSaysSoAndDoesNothing) {
  const char kIncomplete[] =
      "Warning: can't find \"DMZAddress\" or \"DMZAvoidTCPPort80\" in flash\n";
  const struct {
    const char *missing, *mode, *printed;
  } kCases[] = {
      {"DMZEnable", "", "Warning: can't find \"DMZEnable\" in flash\n"},
      {"DMZAddress", "1", kIncomplete},
      {"DMZAvoidTCPPort80", "1", kIncomplete},
      {"none", "3", ""},
      {"none", "", ""},
  };
  for (const auto &expected : kCases) {
    DmzGateway device(Settings{{"DMZEnable", expected.mode}});
    device.remove(expected.missing);
    EXPECT_EQ(device.run(), "") << expected.missing << expected.mode;
    EXPECT_EQ(device.printed(), expected.printed);
  }
}

TEST(SuperDmz, IsToldThePortsInTheirOwnTexts) {
  const struct {
    const char *avoid, *forward, *rules, *single, *single_rules, *command;
  } kCases[] = {
      {"1", "1", "a,80,90,1;a,0443,0,2;a,5000,5001,3;a,70,,1", "1", "a,22,x,1;a,53,x,2;a,25,x,3",
       "-t 80  -t 80:90 -u 0443 -t 5000:5001 -u 5000:5001 -t 70  -t 22 -u 53 -t 25 -u 25 "},
      // A protocol's name is no code: the rule builder's records are all passed over.
      {"0", "1", "a,80,90,TCP;a,81,0,UDP", "", "a,22,x,1", "  "},
      {"0", "0", "a,80,90,1", "1", "", "  "},
      // Odd ports are skipped.
      {"0", "1", "a,0,0,1;a,65536,0,1;a,80,65536,1;a,80,0,4;a,80,0;a;;a,80$(id)x,0,1", "1",
       "a,0,x,1;a,22,x,0;a,22", " -t '80$(id)'  "},
  };
  for (const auto &c : kCases) {
    DmzGateway device(Settings{{"DMZEnable", "2"},
                            {"DMZAvoidTCPPort80", c.avoid},
                            {"PortForwardEnable", c.forward},
                            {"PortForwardRules", c.rules},
                            {"SinglePortForwardEnable", c.single},
                            {"SinglePortForwardRules", c.single_rules}});
    EXPECT_EQ(device.run(), std::string("\n/bin/super_dmz ") + c.command);
  }
  DmzGateway bare(settingsOf("DMZEnable=2 PortForwardEnable=1 SinglePortForwardEnable=1"));
  bare.remove("DMZAvoidTCPPort80").remove("DMZAddress");
  EXPECT_EQ(bare.run(), "\n/bin/super_dmz   ");
  EXPECT_EQ(bare.printed(), "");

  // It does not start with some of the ports.
  std::string rules;
  for (int i = 0; i < 200; i++) rules += "a,80,90,1;";
  DmzGateway device(
      Settings{{"DMZEnable", "2"}, {"PortForwardEnable", "1"}, {"PortForwardRules", rules}});
  EXPECT_EQ(device.run(), "");
  EXPECT_THAT(device.console(), HasSubstr("not run: /bin/super_dmz"));
}

TEST(SimpleDmz, ServesTheFirstWanWithNatAndAHost) {
  DmzGateway device(Settings{{"natEnabled", "1"}, {"defaultRouteNum", "2"}});
  device.interface("eth2.2").address("10.0.0.2");
  iptablesDMZInit();
  device.buffered({{"DMZAddress", ""}, {"natEnabled", "0"}});  // the ones committed count
  RT_iptablesDMZRun();
  const std::string kServed = transcript(device);
  EXPECT_THAT(kServed, HasSubstr("\niptables -I DMZ 1 -i eth2.2 -d 192.168.1.50 -j ACCEPT\n"));
  for (const char *off : {"DMZAddress=", "natEnabled=0 DMZAddress=192.168.1.50"}) {
    device.settings(settingsOf(off));
    RT_iptablesDMZRun();
    EXPECT_EQ(transcript(device), kServed);
  }
  device.remove("natEnabled");
  RT_iptablesDMZRun();
  EXPECT_EQ(transcript(device), kServed);
}
