// The daylight-saving rule and the backup of the wireless settings.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

using testing::ElementsAre;
using testing::IsEmpty;

TEST(DaylightSaving, IsCopiedOnce) {
  sim::Device device;
  device.buffered({{"DSTEnabled", "1"}, {"isDSTsynced", "0"}})
      .file("/etc/TZ", "UTC\nCET-1CEST,M3.5.0/2,M10.5.6/3\r\n");
  EXPECT_EQ(TZsync2nvram(), 1);
  EXPECT_THAT(
      device.writes(),
      ElementsAre("bufset 1 DSTSWM=5", "bufset 1 DSTSDW=0", "bufset 1 DSTSM=3", "bufset 1 DSTSH=2",
                  "bufset 1 DSTEWM=5", "bufset 1 DSTEDW=6", "bufset 1 DSTEM=10", "bufset 1 DSTEH=3",
                  "bufset 1 isDSTsynced=1", "commit 1"));
  device.forget();
  EXPECT_EQ(TZsync2nvram(), 0);
  EXPECT_THAT(device.writes(), IsEmpty());
}

TEST(DaylightSaving, WithoutARuleChangesNothing) {
  for (const char *zone :
       {"", "\n", "UTC", "CET-1CEST,M3.5.0,M10.5.0/3", "CET-1CEST,M3.5.0/2,M10.5.0",
        "CET-1CEST,3.5.0/2,10.5.0/3", "M3.5.0/2,M10.5.0/3", "..//..//MM"}) {
    sim::Device device;
    device.buffered({{"DSTEnabled", "1"}}).file("/etc/TZ", zone);
    EXPECT_EQ(TZsync2nvram(), 0) << zone;
    EXPECT_THAT(device.writes(), IsEmpty()) << zone;
  }
  sim::Device device;
  device.buffered({{"DSTEnabled", "1"}});
  EXPECT_EQ(TZsync2nvram(), 0);  // no /etc/TZ
  device.buffered({{"DSTEnabled", "0"}});
  int result = TZsync2nvram();
  EXPECT_TRUE(result != 0 && result != 1);
}

// What takes part, in order, by space.
const std::pair<int, std::vector<std::string>> kBackedUp[] = {
    {1,
     {"OperatingBandCli", "OperatingBandRepeater", "WirelessOPMode", "ApCliAuthMode",
      "ApCliEncrypType", "ApCliSsid", "ApCliWepDefaultkey", "ApCliWPAPSK", "AuthMode", "EncrypType",
      "SSID1"}},
    {2, {"AuthModeSTA", "AuthSTA", "PSKSTA", "SSID1", "SSIDSTA", "WPAPSK1", "AuthMode"}}};

TEST(SettingsBackup, PutsBackWhatAWizardChanged) {
  sim::Device device;
  std::vector<std::string> copied, recovered, cleared;
  for (const auto &[space, keys] : kBackedUp) {
    for (const std::string &key : keys) {
      device.settings({{key, "old"}}, space).buffered({{key, "my " + key}}, space);
      const std::string bufset = "bufset " + std::to_string(space) + " " + key;
      copied.push_back(bufset + "BAK=my " + key);
      recovered.insert(recovered.end(), {bufset + "=my " + key, bufset + "BAK="});
      cleared.push_back(bufset + "BAK=");
    }
  }
  recovered.insert(recovered.end(), {"commit 1", "commit 2"});
  EXPECT_EQ(backupRecoverSettings(2), 0);
  EXPECT_EQ(device.writes(), copied);

  for (const auto &[space, keys] : kBackedUp) {
    for (const std::string &key : keys) device.buffered({{key, "other"}}, space);
  }
  device.settings({{"WlanEnabled", "0"}, {"WlanEnabledBAK", "1"}});
  device.forget();
  EXPECT_EQ(backupRecoverSettings(1), 0);
  EXPECT_EQ(device.writes(), recovered);
  EXPECT_EQ(device.setting("SSID1", 2), "my SSID1");
  EXPECT_EQ(device.setting("SSID1BAK", 2), "");

  device.forget();
  EXPECT_EQ(backupRecoverSettings(0), 0);
  EXPECT_EQ(device.writes(), cleared);
}

TEST(SettingsBackup, OfNothingLosesNothing) {
  sim::Device device;
  device.settings({{"SSID1", "home"}});
  EXPECT_EQ(backupRecoverSettings(1), 0);
  EXPECT_EQ(device.setting("SSID1"), "home");
  device.forget();
  EXPECT_EQ(backupRecoverSettings(3), 2);
  EXPECT_THAT(device.writes(), IsEmpty());
}
