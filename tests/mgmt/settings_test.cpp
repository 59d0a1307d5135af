// The daylight-saving rule and the backup of the wireless settings.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

using testing::ElementsAre;
using testing::IsEmpty;

TEST(DaylightSaving, IsCopiedOnce) {
  sim::Device device;
  device.settings({{"DSTEnabled", "1"}, {"isDSTsynced", "0"}})
      .file("/etc/TZ", "UTC\nCET-1CEST,M3.5.0/2,M10.5.6/3\r\n");
  EXPECT_EQ(TZsync2nvram(), 1);
  EXPECT_THAT(device.writes(),
              ElementsAre("set 1 DSTSWM=5", "set 1 DSTSDW=0", "set 1 DSTSM=3", "set 1 DSTSH=2",
                          "set 1 DSTEWM=5", "set 1 DSTEDW=6", "set 1 DSTEM=10", "set 1 DSTEH=3",
                          "set 1 isDSTsynced=1", "commit 1"));
  device.forget();
  EXPECT_EQ(TZsync2nvram(), 0);
  EXPECT_THAT(device.writes(), IsEmpty());
}

TEST(DaylightSaving, WithoutARuleChangesNothing) {
  for (const char *zone :
       {"", "\n", "UTC", "CET-1CEST,M3.5.0,M10.5.0/3", "CET-1CEST,M3.5.0/2,M10.5.0",
        "CET-1CEST,3.5.0/2,10.5.0/3", "M3.5.0/2,M10.5.0/3", "/.M", "////", "..//..//MM"}) {
    sim::Device device;
    device.settings({{"DSTEnabled", "1"}}).file("/etc/TZ", zone);
    EXPECT_EQ(TZsync2nvram(), 0) << zone;
    EXPECT_THAT(device.writes(), IsEmpty()) << zone;
  }
  sim::Device device;
  device.settings({{"DSTEnabled", "1"}});
  EXPECT_EQ(TZsync2nvram(), 0);  // no /etc/TZ
  device.settings({{"DSTEnabled", "0"}});
  int result = TZsync2nvram();
  EXPECT_TRUE(result != 0 && result != 1);
}

TEST(SettingsBackup, PutsBackWhatAWizardChanged) {
  sim::Device device;
  device.settings({{"WirelessOPMode", "1"}, {"SSID1", "home"}, {"WlanEnabled", "1"}})
      .settings({{"SSID1", "home 5G"}, {"EncrypType", "AES"}}, 2);
  EXPECT_EQ(backupRecoverSettings(2), 0);
  EXPECT_EQ(device.writes().size(), 18u);
  EXPECT_EQ(device.setting("WlanEnabledBAK"), std::nullopt);
  EXPECT_EQ(device.setting("EncrypTypeBAK", 2), std::nullopt);
  EXPECT_EQ(device.setting("EncrypTypeBAK"), "");

  device.settings({{"WirelessOPMode", "3"}, {"SSID1", "other"}, {"WlanEnabled", "0"}})
      .settings({{"SSID1", "other"}}, 2);
  device.forget();
  EXPECT_EQ(backupRecoverSettings(1), 0);
  EXPECT_EQ(device.setting("WirelessOPMode"), "1");
  EXPECT_EQ(device.setting("WirelessOPModeBAK"), "");
  EXPECT_EQ(device.setting("SSID1"), "home");
  EXPECT_EQ(device.setting("SSID1", 2), "home 5G");
  EXPECT_EQ(device.setting("WlanEnabled"), "0");
  std::vector<std::string> writes = device.writes();
  ASSERT_EQ(writes.size(), 38u);
  EXPECT_EQ(writes[36] + writes[37], "commit 1commit 2");
}

TEST(SettingsBackup, OfNothingLosesNothing) {
  sim::Device device;
  device.settings({{"SSID1", "home"}});
  EXPECT_EQ(backupRecoverSettings(1), 0);
  EXPECT_EQ(device.setting("SSID1"), "home");
  device.settings({{"SSID1BAK", "old"}});
  device.forget();
  EXPECT_EQ(backupRecoverSettings(0), 0);
  EXPECT_EQ(device.setting("SSID1"), "home");
  EXPECT_EQ(device.setting("SSID1BAK"), "");
  EXPECT_EQ(device.writes().size(), 18u);
  device.forget();
  EXPECT_EQ(backupRecoverSettings(3), 2);
  EXPECT_THAT(device.writes(), IsEmpty());
}
