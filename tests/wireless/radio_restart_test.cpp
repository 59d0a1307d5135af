#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/wireless/wps_device.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// Redirected by the line itself, and once more by the runner.
constexpr char kKill[] = "killall rt2860apd 1>/dev/null 2>&1";

TEST(Authenticator, StartsWhenAnyOfTheNetworksNeedsIt) {
  struct {
    sim::Settings settings;
    std::vector<std::string> commands;
  } cases[] = {
      {{{"BssidNum", "2"}, {"AuthMode", "WPAPSK;WPA2"}}, {kKill, "rt2860apd"}},
      {{{"BssidNum", "1"}, {"AuthMode", "WPA"}, {"IEEE8021X", "0"}}, {kKill, "rt2860apd"}},
      {{{"BssidNum", "1"}, {"AuthMode", "WPA1WPA2"}}, {kKill, "rt2860apd"}},
      {{{"BssidNum", "2"}, {"AuthMode", "OPEN;OPEN"}, {"IEEE8021X", "0;1"}}, {kKill, "rt2860apd"}},
      {{{"BssidNum", "2"}, {"IEEE8021X", "0;1"}}, {kKill, "rt2860apd"}},
      // The second network is configured but not counted.
      {{{"BssidNum", "1"}, {"AuthMode", "WPAPSK;WPA2"}, {"IEEE8021X", "0;1"}}, {kKill}},
      {{{"BssidNum", "1"}, {"AuthMode", "WPA2PSK"}, {"IEEE8021X", "0"}}, {kKill}},
      // Only these exact words.
      {{{"BssidNum", "4"}, {"AuthMode", "WPA2PSK;wpa; WPA;WPA3"}, {"IEEE8021X", "01;2"}}, {kKill}},
      {{{"BssidNum", "0"}, {"AuthMode", "WPA2"}, {"IEEE8021X", "1"}}, {kKill}},
      {{{"BssidNum", "none"}, {"AuthMode", "WPA2"}}, {kKill}},
      {{{"BssidNum", "-1"}, {"AuthMode", "WPA2"}}, {kKill}},
      {{{"BssidNum", "2147483647"}}, {kKill}},
      {{{"AuthMode", "WPA2"}, {"IEEE8021X", "1"}}, {}},
  };
  for (const auto &c : cases) {
    sim::Device main_space;
    main_space.settings(c.settings);
    restart8021XDaemon(1);
    EXPECT_THAT(main_space.commands(), ElementsAreArray(c.commands));

    // Another space is only read.
    sim::Device other_space;
    other_space.settings(c.settings, 2);
    restart8021XDaemon(2);
    EXPECT_THAT(other_space.events(), IsEmpty());
  }
}

TEST(Authenticator, LinesCarryTheRunnersRedirectionToo) {
  sim::Device device;
  device.settings({{"BssidNum", "1"}, {"AuthMode", "WPA"}});
  restart8021XDaemon(1);
  EXPECT_THAT(device.shellLines(),
              ElementsAre("killall rt2860apd 1>/dev/null 2>&1 1>/dev/null 2>&1",
                          "rt2860apd 1>/dev/null 2>&1"));
}

TEST(Ra0, GoesDownOnlyForAnExactZeroOfTheFirstNetwork) {
  auto line_for = [](const sim::Settings &settings) {
    sim::Device device;
    device.settings(settings);
    EXPECT_EQ(InitWireless_ra0(), 0);
    return device.shellLines();
  };
  EXPECT_THAT(line_for({{"WlanEnabled", "0;1"}}), ElementsAre("ifconfig ra0 down"));
  EXPECT_THAT(line_for({{"WlanEnabled", "0"}}), ElementsAre("ifconfig ra0 down"));
  EXPECT_THAT(line_for({{"WlanEnabled", "1;0"}}), ElementsAre("ifconfig ra0 up"));
  EXPECT_THAT(line_for({{"WlanEnabled", ";0"}}), ElementsAre("ifconfig ra0 up"));
  EXPECT_THAT(line_for({{"WlanEnabled", "00"}}), ElementsAre("ifconfig ra0 up"));
  EXPECT_THAT(line_for({{"WlanEnabled", ""}}), ElementsAre("ifconfig ra0 up"));
  EXPECT_THAT(line_for({}), ElementsAre("ifconfig ra0 up"));
}

TEST(RadioRestart, AfterASettingsChangeEverythingOnTheRadioStartsAnew) {
  WpsDevice device;
  device.settings({{"OperationMode", "1"},
                   {"RADIUS_Server", "192.168.1.7"},
                   {"BssidNum", "1"},
                   {"AuthMode", "WPA2"},
                   {"WscModeOption", "7"},
                   {"WscConfigured", "1"}});
  EXPECT_EQ(WlanRestart(), 0);
  EXPECT_THAT(
      device.story(),
      ElementsAre("set 1 own_ip_addr=192.168.1.1", "set 1 EAPifname=br0", "set 1 PreAuthifname=br0",
                  "commit 1", "wlan.sh", kKill, "rt2860apd", "rm -rf /var/run/wscd.pid.ra0",
                  kWpsLedDark, "iwpriv ra0 set WscConfMode=0", "iwpriv ra0 set WscConfMode=7",
                  "route add -host 239.255.255.250 dev br0", "wscd -m 1 -a 192.168.1.1 -i ra0 -D",
                  kWpsLedDark, "timer stopped"));
}

TEST(RadioRestart, AtBootWpsGetsThreeSeconds) {
  WpsDevice device;
  device.settings({{"OperationMode", "3"}, {"AuthMode", "WPA2"}});
  EXPECT_EQ(wlan_init(), 0);
  EXPECT_THAT(device.story(), ElementsAre("rm -rf /var/run/wscd.pid.ra0", kWpsLedDark,
                                          "iwpriv ra0 set WscConfMode=0", "sleep 3000 ms"));
}

}  // namespace
