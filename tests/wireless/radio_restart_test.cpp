#include <gmock/gmock.h>

#include "tests/wireless/wps_device.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Redirected by the line itself, and once more by the runner, like all.
constexpr char kKill[] = "killall rt2860apd 1>/dev/null 2>&1";

TEST(Authenticator, StartsWhenAnyOfTheNetworksNeedsIt) {
  const Lines needed = {kKill, "rt2860apd"};
  const std::pair<sim::Settings, Lines> cases[] = {
      {{{"BssidNum", "2"}, {"AuthMode", "WPAPSK;WPA2"}}, needed},
      {{{"BssidNum", "1"}, {"AuthMode", "WPA"}, {"IEEE8021X", "0"}}, needed},
      {{{"BssidNum", "1"}, {"AuthMode", "WPA1WPA2"}}, needed},
      {{{"BssidNum", "2"}, {"AuthMode", "OPEN;OPEN"}, {"IEEE8021X", "0;1"}}, needed},
      {{{"BssidNum", "2"}, {"IEEE8021X", "0;1"}}, needed},
      // The second network is configured but not counted.
      {{{"BssidNum", "1"}, {"AuthMode", "WPAPSK;WPA2"}, {"IEEE8021X", "0;1"}}, {kKill}},
      // Only these exact words.
      {{{"BssidNum", "4"}, {"AuthMode", "WPA2PSK;wpa; WPA;WPA3"}, {"IEEE8021X", "01;2"}}, {kKill}},
      {{{"BssidNum", "-1"}, {"AuthMode", "WPA2"}}, {kKill}},
      {{{"AuthMode", "WPA2"}, {"IEEE8021X", "1"}}, {}},
  };
  for (const auto &[settings, commands] : cases) {
    sim::Device main_space;
    main_space.buffered(settings);
    restart8021XDaemon(1);
    EXPECT_EQ(main_space.commands(), commands) << testing::PrintToString(settings);
    for (size_t i = 0; i < commands.size(); i++) {
      EXPECT_EQ(main_space.shellLines()[i], commands[i] + " 1>/dev/null 2>&1");
    }

    // Another space is only read, and without IEEE8021X.
    sim::Settings others = settings;
    std::erase_if(others, [](const auto &setting) { return setting.first == "IEEE8021X"; });
    sim::Device other_space;
    other_space.buffered(others, 2);
    restart8021XDaemon(2);
    EXPECT_THAT(other_space.events(), IsEmpty());
  }
}

TEST(Ra0, GoesDownOnlyForAnExactZeroOfTheFirstNetwork) {
  const std::pair<const char *, const char *> cases[] = {
      {"0;1", "ifconfig ra0 down"}, {"0", "ifconfig ra0 down"}, {"1;0", "ifconfig ra0 up"},
      {";0", "ifconfig ra0 up"},    {"00", "ifconfig ra0 up"},  {nullptr, "ifconfig ra0 up"}};
  for (const auto &[enabled, line] : cases) {
    sim::Device device;
    if (enabled != nullptr) device.buffered({{"WlanEnabled", enabled}});
    EXPECT_EQ(InitWireless_ra0(), 0);
    EXPECT_THAT(device.shellLines(), ElementsAre(line));
  }
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
  device.expect(Lines{"bufset 1 own_ip_addr=192.168.1.1", "bufset 1 EAPifname=br0",
                      "bufset 1 PreAuthifname=br0", "commit 1", "wlan.sh", kKill, "rt2860apd"} +
                kWpsStopped + kWpsStarted);
}

TEST(RadioRestart, AtBootWpsGetsThreeSeconds) {
  WpsDevice device;
  device.settings({{"OperationMode", "3"}, {"AuthMode", "WPA2"}});
  EXPECT_EQ(wlan_init(), 0);
  device.expect(kWpsStopped + Lines{"sleep 3000 ms"});
}

}  // namespace
