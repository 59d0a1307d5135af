// Whole WPS runs of the AP client.
#include <gmock/gmock.h>

#include "tests/wireless/wps_device.h"

namespace {

using ::testing::ElementsAre;

const char kAligned[] =
    "Tx success                      = 17\n"
    "SSID                            = upstream net\n"
    "AuthType                        = WPA2PSK\n"
    "EncrypType                      = AES\n"
    "Key                             = secret = 1\n"
    "KeyIdx                          = 0\n";

const Lines kGathering = {"iwpriv apcli0 stat | grep SSID > /tmp/apcli.info",
                          "iwpriv apcli0 stat | grep AuthType >> /tmp/apcli.info",
                          "iwpriv apcli0 stat | grep EncrypType >> /tmp/apcli.info",
                          "iwpriv apcli0 stat | grep \"Key \" >> /tmp/apcli.info"};

const Lines kSuccess = Lines{"console: Apcli Wsc: success\n",
                             "echo \"999\" > /tmp/wpsStatus",
                             "sys ledctl 0",
                             "timer stopped",
                             kWpsLedDark,
                             kSuccessOn,
                             "timer once in 10000 ms"} +
                       kGathering;
// The runner's redirection has kept the text from the file.
const Lines kTriedAgain = kSuccess + kGathering;

struct Client : WpsDevice {
  explicit Client(const char *mode, const char *statistics = kAligned) {
    buffered({{"WirelessOPMode", mode}, {"WscModeOption", "0"}});
    buffered({{"WscModeOption", "7"}}, 2);
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
    device.file("/tmp/apcli.info", "");  // as a run that was cut off leaves it
    device.run();
    // Only the first lines are run directly.
    Lines lines = device.shellLines();
    EXPECT_THAT(Lines(lines.begin(), lines.begin() + 3),
                ElementsAre("echo \"999\" > /tmp/wpsStatus", "sys ledctl 0",
                            kGathering[0] + " 1>/dev/null 2>&1"));
    device.expect(kTriedAgain +
                  Lines{"console: SSID: upstream net\n", "bufset 1 ApCliSsid=upstream net",
                        "console: AuthType: WPA2PSK\n", "bufset 1 ApCliAuthMode=WPA2PSK",
                        "console: EncrypType: AES\n", "bufset 1 ApCliEncrypType=AES",
                        "console: Key: secret = 1\n", "bufset 1 ApCliWPAPSK=secret = 1",
                        "bufset 1 velaSetup=1", "commit 1", "iwpriv ra0 set WscConfMode=7"});
    EXPECT_EQ(device.text("/tmp/wpsStatus"), "999\n");
    EXPECT_EQ(device.text("/tmp/apcli.info"), std::nullopt);
    device.advance(60000);
    device.expect({kFailureOff, kSuccessOff});
  }
}

TEST(WpsClient, ARepeaterAnnouncesTheNetworkItself) {
  Client device("3");
  device.run();
  EXPECT_THAT(device.writes(),
              ElementsAre("bufset 1 ApCliSsid=upstream net", "bufset 1 SSID1=upstream net",
                          "bufset 1 SSID2=upstream net", "bufset 1 SSID3=upstream net",
                          "bufset 1 SSID4=upstream net", "bufset 1 ApCliAuthMode=WPA2PSK",
                          "bufset 1 AuthMode=WPA2PSK;WPA2PSK;WPA2PSK;WPA2PSK",
                          "bufset 1 ApCliEncrypType=AES", "bufset 1 EncrypType=AES;AES;AES;AES",
                          "bufset 1 ApCliWPAPSK=secret = 1", "bufset 1 WPAPSK1=secret = 1",
                          "bufset 1 WPAPSK2=secret = 1", "bufset 1 WPAPSK3=secret = 1",
                          "bufset 1 WPAPSK4=secret = 1", "bufset 1 velaSetup=1", "commit 1"));

  // Without the statistics nothing is stored.
  Client blind("3");
  blind.refuse("/tmp/apcli.info");
  blind.run();
  blind.expect(kSuccess + Lines{"wlan.sh", "iwpriv ra0 set WscConfMode=7"});
}

// The text in the column of the AuthType value decides; only the repeater's list
// takes the line's own value.
TEST(WpsClient, TheEncryptionIsReadInTheColumnOfTheAuthType) {
  const struct {
    const char *statistics, *client, *repeater;
  } cases[] = {
      {"AuthType   = OPEN\nEncrypType = OPEN\n", "NONE", "NONE;NONE;NONE;NONE"},
      {"AuthType   = OPEN\nEncrypType = NONE\n", "NONE", "NONE;NONE;NONE;NONE"},
      {"AuthType = WPA2PSK\nEncrypType = AES\n", "= AES", "AES;AES;AES;AES"},
      {"AuthType     = OPEN\nEncrypType =   OPEN\n", "NONE", "NONE;NONE;NONE;NONE"},
      // A line that ends before that column, and one without an AuthType before.
      {"AuthType             = OPEN\nEncrypType = AES\n", "", "AES;AES;AES;AES"},
      {"EncrypType = OPEN\n", "NONE", "NONE;NONE;NONE;NONE"},
  };
  for (const auto &[statistics, client, repeater] : cases) {
    Client device("3", statistics);
    device.run();
    EXPECT_EQ(device.setting("ApCliEncrypType"), client) << statistics;
    EXPECT_EQ(device.setting("EncrypType"), repeater) << statistics;
  }
}

TEST(WpsClient, OddStatisticsDoNoHarm) {
  const std::string value(400, 'v'), cut(116, 'v');
  const struct {
    std::string statistics;
    std::optional<std::string> ssid, auth_mode, four_times, key;
  } cases[] = {
      // What a name or key holds is not taken for another line's mark.
      {"SSID = AuthType = Key EncrypType\nAuthType = OPEN\nEncrypType = NONE\nKey = MyKey\n",
       "AuthType = Key EncrypType", "OPEN", "OPEN;OPEN;OPEN;OPEN", "MyKey"},
      // Lines are 127 characters; the rest of a longer one is a line of its own.
      {"SSID = " + value + "\nAuthType = " + value + "\n", value.substr(0, 120), cut,
       cut + ";" + cut + ";" + cut + ";" + cut, std::nullopt},
      // An empty value is nothing of the line before.
      {"SSID of old\nSSID =\nAuthType =x\nKey = \nKey =\n=\n\n", "", "", ";;;", ""},
      {"", std::nullopt, std::nullopt, std::nullopt, std::nullopt},
  };
  for (const auto &[statistics, ssid, auth_mode, four_times, key] : cases) {
    Client device("3", statistics.c_str());
    device.run();
    EXPECT_EQ(device.setting("ApCliSsid"), ssid);
    EXPECT_EQ(device.setting("ApCliAuthMode"), auth_mode);
    EXPECT_EQ(device.setting("AuthMode"), four_times);
    EXPECT_EQ(device.setting("ApCliWPAPSK"), key);
    EXPECT_EQ(device.setting("velaSetup"), "1");
  }
}

TEST(WpsClient, AFailureEndsTheRun) {
  Client device("3");
  device.session.status("apcli0", {{3, 4}, {2, 1}});
  device.run(9);
  device.expect(Lines{"console: Apcli: unknown error\n"} + kFailureExit +
                Lines{"iwpriv ra0 set WscConfMode=7"});
}

// Not an end for the client: idle, and the overlap of push buttons. What brings
// the push button back is the module's WscModeOption, not the access point's.
TEST(WpsClient, GivesUpAtThe1200thTick) {
  for (int status : {0, 1, 3, 265}) {
    Client device("2");
    device.buffered({{"WscModeOption", "7"}}).buffered({{"WscModeOption", "1"}}, 2);
    device.session.status("apcli0", {{status, 1199}, {34, 1}});
    device.run(1199);
    device.expect({});
    device.ticks(1);
    device.expect(Lines{"console: Apcli Wsc: timeout\n"} + kFailureExit);
  }
}

}  // namespace
