// Whole WPS runs of the AP client.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/wireless/wps_device.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const char kAligned[] =
    "Tx success                      = 17\n"
    "SSID                            = upstream net\n"
    "AuthType                        = WPA2PSK\n"
    "EncrypType                      = AES\n"
    "Key                             = secret = 1\n"
    "KeyIdx                          = 0\n";

const Lines kGathering = {
    "iwpriv apcli0 stat | grep SSID > /tmp/apcli.info",
    "iwpriv apcli0 stat | grep AuthType >> /tmp/apcli.info",
    "iwpriv apcli0 stat | grep EncrypType >> /tmp/apcli.info",
    "iwpriv apcli0 stat | grep \"Key \" >> /tmp/apcli.info",
};

const Lines kSuccess = Lines{"console: Apcli Wsc: success\n",
                             "echo \"999\" > /tmp/wpsStatus",
                             "sys ledctl 0",
                             "timer stopped",
                             kWpsLedDark,
                             kSuccessOn,
                             "timer once in 10000 ms"} +
                       kGathering;

struct Client : WpsDevice {
  explicit Client(const char *mode, const char *statistics = kAligned) {
    settings({{"WirelessOPMode", mode}, {"WscModeOption", "0"}});
    settings({{"WscModeOption", "7"}}, 2);
    file("/tmp/wpsStatus", "2\n");
    session.status("apcli0", {{3, 1}, {34, 1}}).clientStatistics(statistics);
  }

  // Presses the button, forgets what that did and lets the run come to its end.
  Client &run(int ticks_needed = 2) {
    WPSAPCliPBCStart();
    forget();
    ticks(ticks_needed);
    return *this;
  }
};

// Neither the access point's mode nor the client's changes its own networks.
TEST(WpsClient, TakesOverTheNetworkItJoined) {
  for (const char *mode : {"1", "2"}) {
    Client device(mode);
    device.run();
    EXPECT_THAT(
        device.story(),
        ElementsAreArray(kSuccess +
                         Lines{"console: SSID: upstream net\n", "set 1 ApCliSsid=upstream net",
                               "console: AuthType: WPA2PSK\n", "set 1 ApCliAuthMode=WPA2PSK",
                               "console: EncrypType: AES\n", "set 1 ApCliEncrypType=AES",
                               "console: Key: secret = 1\n", "set 1 ApCliWPAPSK=secret = 1",
                               "set 1 velaSetup=1", "commit 1", "iwpriv ra0 set WscConfMode=7"}));
    // Only the first lines are run directly.
    Lines lines = device.shellLines();
    EXPECT_THAT(Lines(lines.begin(), lines.begin() + 3),
                ElementsAre("echo \"999\" > /tmp/wpsStatus", "sys ledctl 0",
                            kGathering[0] + " 1>/dev/null 2>&1"));
    EXPECT_EQ(device.text("/tmp/wpsStatus"), "999\n");
    EXPECT_EQ(device.text("/tmp/apcli.info"),
              "SSID                            = upstream net\n"
              "AuthType                        = WPA2PSK\n"
              "EncrypType                      = AES\n"
              "Key                             = secret = 1\n");
    device.forget();
    device.advance(60000);
    EXPECT_THAT(device.story(), ElementsAre(kFailureOff, kSuccessOff));
  }
}

TEST(WpsClient, ARepeaterAnnouncesTheNetworkItself) {
  Client device("3");
  device.run();
  EXPECT_THAT(device.writes(),
              ElementsAre("set 1 ApCliSsid=upstream net", "set 1 SSID1=upstream net",
                          "set 1 SSID2=upstream net", "set 1 SSID3=upstream net",
                          "set 1 SSID4=upstream net", "set 1 ApCliAuthMode=WPA2PSK",
                          "set 1 AuthMode=WPA2PSK;WPA2PSK;WPA2PSK;WPA2PSK",
                          "set 1 ApCliEncrypType=AES", "set 1 EncrypType=AES;AES;AES;AES",
                          "set 1 ApCliWPAPSK=secret = 1", "set 1 WPAPSK1=secret = 1",
                          "set 1 WPAPSK2=secret = 1", "set 1 WPAPSK3=secret = 1",
                          "set 1 WPAPSK4=secret = 1", "set 1 velaSetup=1", "commit 1"));
  Lines commands = device.commands();
  EXPECT_THAT(Lines(commands.end() - 2, commands.end()),
              ElementsAre("wlan.sh", "iwpriv ra0 set WscConfMode=7"));
}

// The text in the column of the AuthType value decides; only the repeater's list
// takes the line's own value.
TEST(WpsClient, TheEncryptionIsReadInTheColumnOfTheAuthType) {
  struct {
    const char *statistics;
    const char *client;
    const char *repeater;
  } cases[] = {
      {"AuthType   = OPEN\nEncrypType = OPEN\n", "NONE", "NONE;NONE;NONE;NONE"},
      {"AuthType   = OPEN\nEncrypType = NONE\n", "NONE", "NONE;NONE;NONE;NONE"},
      {"AuthType   = WPAPSK\nEncrypType = TKIP\n", "TKIP", "TKIP;TKIP;TKIP;TKIP"},
      {"AuthType = WPA2PSK\nEncrypType = AES\n", "= AES", "AES;AES;AES;AES"},
      {"AuthType = OPEN\nEncrypType = OPEN\n", "= OPEN", "OPEN;OPEN;OPEN;OPEN"},
      {"AuthType     = OPEN\nEncrypType =   OPEN\n", "NONE", "NONE;NONE;NONE;NONE"},
      // A line that ends before that column, and one without an AuthType before.
      {"AuthType             = OPEN\nEncrypType = AES\n", "", "AES;AES;AES;AES"},
      {"EncrypType = OPEN\n", "NONE", "NONE;NONE;NONE;NONE"},
  };
  for (const auto &c : cases) {
    Client device("3", c.statistics);
    device.run();
    EXPECT_EQ(device.setting("ApCliEncrypType"), c.client) << c.statistics;
    EXPECT_EQ(device.setting("EncrypType"), c.repeater) << c.statistics;
  }
}

TEST(WpsClient, OddStatisticsDoNoHarm) {
  // What a name or key holds is not taken for another line's mark.
  Client marks("2",
               "SSID = AuthType = Key EncrypType\nAuthType = OPEN\nEncrypType = NONE\n"
               "Key = MyKey\n");
  marks.run();
  EXPECT_EQ(marks.setting("ApCliSsid"), "AuthType = Key EncrypType");
  EXPECT_EQ(marks.setting("ApCliAuthMode"), "OPEN");
  EXPECT_EQ(marks.setting("ApCliWPAPSK"), "MyKey");

  // Lines are 127 characters; the rest of a longer one is a line of its own.
  std::string value(400, 'v');
  Client long_line("3", ("SSID = " + value + "\nAuthType = " + value + "\n").c_str());
  long_line.run();
  EXPECT_EQ(long_line.setting("ApCliSsid"), value.substr(0, 120));
  std::string cut = value.substr(0, 116);
  EXPECT_EQ(long_line.setting("AuthMode"), cut + ";" + cut + ";" + cut + ";" + cut);

  // An empty value is nothing of the line before.
  Client odd("3", "SSID of old\nSSID =\nAuthType =x\nKey = \nKey =\n=\n\n");
  odd.run();
  EXPECT_EQ(odd.setting("ApCliSsid"), "");
  EXPECT_EQ(odd.setting("ApCliAuthMode"), "");
  EXPECT_EQ(odd.setting("ApCliWPAPSK"), "");
  EXPECT_EQ(odd.setting("velaSetup"), "1");

  Client silent("3", "");
  silent.run();
  EXPECT_THAT(silent.writes(), ElementsAre("set 1 velaSetup=1", "commit 1"));
}

TEST(WpsClient, WithoutItsStatisticsNothingIsStored) {
  Client device("3");
  device.refuse("/tmp/apcli.info");
  device.run();
  EXPECT_THAT(device.story(),
              ElementsAreArray(kSuccess + Lines{"wlan.sh", "iwpriv ra0 set WscConfMode=7"}));
}

const Lines kFailureExit = {
    "echo \"999\" > /tmp/wpsStatus",
    "sys ledctl 1",
    "echo \"999\" > /tmp/wpsStatus24",
    "timer stopped",
    kWpsLedDark,
    kFailureOn,
    "timer once in 10000 ms",
};

TEST(WpsClient, AFailureEndsTheRun) {
  Client device("3");
  device.session.status("apcli0", {{3, 4}, {2, 1}});
  device.run(9);
  EXPECT_THAT(device.story(),
              ElementsAreArray(Lines{"console: Apcli: unknown error\n"} + kFailureExit +
                               Lines{"iwpriv ra0 set WscConfMode=7"}));
}

// Not an end for the client: idle, and the overlap of push buttons.
TEST(WpsClient, GivesUpAtThe1200thTick) {
  for (int status : {0, 1, 3, 265}) {
    Client device("2");
    device.settings({{"WscModeOption", "1"}}, 2);
    device.session.status("apcli0", {{status, 1199}, {34, 1}});
    device.run(1199);
    EXPECT_THAT(device.story(), IsEmpty()) << status;
    device.ticks(1);
    EXPECT_THAT(device.story(),
                ElementsAreArray(Lines{"console: Apcli Wsc: timeout\n"} + kFailureExit));
  }
}

// The access point's own WscModeOption, is not asked.
TEST(WpsClient, OnlyTheModulesSettingBringsThePushButtonBack) {
  Client device("2");
  device.settings({{"WscModeOption", "7"}}).settings({{"WscModeOption", "0"}}, 2);
  device.run();
  EXPECT_EQ(device.commands().back(), kGathering.back());
}

}  // namespace
