#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>

#include "tests/wireless/wps_device.h"

namespace {

using ::testing::ElementsAre;

// ---- starting and restarting ----

TEST(WpsRestart, StartsTheDaemonWhereWpsIsOn) {
  const Lines route_only = {"route delete 239.255.255.250 1>/dev/null 2>&1", "timer stopped"};
  Lines unconfigured = kWpsStarted;
  unconfigured.insert(unconfigured.begin() + 1, "iwpriv ra0 set WscConfStatus=1");
  const std::pair<sim::Settings, Lines> cases[] = {
      {{{"OperationMode", "1"}, {"WscModeOption", "7"}, {"WscConfigured", "1"}}, kWpsStarted},
      {{{"OperationMode", "0"}, {"WscModeOption", "1"}, {"WscConfigured", "0"}}, unconfigured},
      // Without WscConfigured the driver is told nothing. Compared as text, any
      // word comes behind "0", and so does "00".
      {{{"OperationMode", "1"}, {"WscModeOption", "00"}}, kWpsStarted},
      {{{"OperationMode", "1"}, {"WscModeOption", "0"}}, route_only},
      {{{"OperationMode", "1"}}, route_only},
      // No timer is touched where WPS does not run.
      {{{"OperationMode", "2"}, {"WscModeOption", "7"}}, {}},
      {{{"OperationMode", "3"}, {"WscModeOption", "7"}}, {}},
      {{{"WscModeOption", "7"}}, {}},
      {{{"OperationMode", "1"}, {"WscModeOption", "7"}, {"RadioOff", "1"}}, {}},
  };
  for (const auto &[settings, behind_stopping] : cases) {
    WpsDevice device;
    device.buffered(settings);
    EXPECT_EQ(WPSRestart(), 0);
    device.expect(kWpsStopped + behind_stopping);
  }
}

TEST(WpsRestart, WithoutALanAddressTheMonitorGoesOn) {
  WpsDevice device;
  device.interface("br0").address("");
  device.settings({{"OperationMode", "1"}, {"WscModeOption", "7"}});
  WPSAPStart();
  device.forget();
  WPSRestart();
  device.expect(kWpsStopped + Lines{"console: WPSRestart error, can't get lan ip.\n"});
  EXPECT_TRUE(device.clock().armed());
}

TEST(WpsPushButton, StartsARunAndItsMonitor) {
  const Lines timer = {"timer stopped", "timer every 100 ms"};
  const Lines first = {"iwpriv ra0 set WscConfMode=7", "iwpriv ra0 set WscMode=2",
                       "iwpriv ra0 set WscGetConf=1"};
  const Lines both = first + Lines{"iwpriv rai0 set WscMode=2", "iwpriv rai0 set WscGetConf=1"};
  const std::pair<sim::Settings, Lines> cases[] = {
      {{{"WscModeOption", "7"}, {"WirelessMode", "9"}}, first + timer},
      {{{"WscModeOption", "7"}, {"WirelessMode", "2"}}, both + timer},
      {{{"WirelessMode", "11"}}, both + timer},
      {{{"WscModeOption", "0"}, {"WirelessMode", "11"}},
       {"printed: The PBC button is pressed but WPS is disabled now.\n"}},
  };
  for (const auto &[settings, story] : cases) {
    WpsDevice device;
    device.buffered(settings);
    WPSAPPBCStartAll();
    device.expect(story);
  }
}

// Its lines go to the shell as they are.
TEST(WpsPushButton, OfTheClientKeepsItsOutput) {
  WpsDevice device;
  WPSAPCliPBCStart();
  EXPECT_EQ(device.shellLines(), device.commands());
  EXPECT_EQ(device.clock().installed(), WPSAPCliTimerHandler);
}

// ---- asking the driver ----

TEST(WpsQuery, PinAndStatusComeFromTheInterfaceAskedFor) {
  WpsDevice device;
  device.session.pin(4294967295u).status("ra0", {{3, 1}}).status("apcli0", {{265, 1}});
  EXPECT_EQ(getAPPIN("ra0"), 4294967295u);
  EXPECT_EQ(getWscStatus("ra0"), 3);
  EXPECT_EQ(getWscStatus("apcli0"), 265);
  EXPECT_EQ(device.console(), "");

  EXPECT_EQ(getAPPIN("a-name-far-beyond-sixteen-bytes"), 0u);
  EXPECT_EQ(getWscStatus("rai0"), 0);
  device.withoutSockets();
  EXPECT_EQ(getWscStatus("ra0"), 0);
  EXPECT_EQ(device.console(),
            "ioctl: RT_OID_WSC_PIN_CODE is failed\nioctl: RT_OID_WSC_QUERY_STATUS is failed\n"
            "ioctl: RT_OID_WSC_QUERY_STATUS is failed\n");
}

TEST(WpsQuery, TheCurrentProfileNeverLeavesItsRecord) {
  WpsDevice device;
  device.session.current({2, "home", 0x22, 0x0C, 3, std::string(64, 'k')});
  // At an odd address, and watched on both sides.
  std::string space(120, '#');
  char *record = space.data() + 1;
  EXPECT_EQ(getCurrentWscProfile("ra0", record, 105), 0);
  EXPECT_EQ(space[0] + std::string(space, 106), "#" + std::string(14, '#'));
  EXPECT_EQ(std::string(record, 7), std::string("\x02\0home\0", 7));
  EXPECT_EQ(std::string(record + 35, 6), std::string("\x22\0\x0C\0\x03k", 6));

  // Each shorter record, down to the one that cannot hold the request.
  for (int length = 104; length >= -1; length--) {
    std::string kept(120, '#');
    EXPECT_EQ(getCurrentWscProfile("ra0", kept.data(), length), length >= 16 ? 0 : -1) << length;
    size_t used = length > 0 ? static_cast<size_t>(length) : 0;
    EXPECT_EQ(kept.substr(used), std::string(120 - used, '#')) << length;
  }
}

TEST(WpsQuery, WithoutADriverTheCurrentProfileIsNotKnown) {
  WpsDevice device;
  for (size_t length : {105u, 4u}) {
    std::string record(106, '#');
    EXPECT_EQ(getCurrentWscProfile("ra0", record.data(), static_cast<int>(length)), -1);
    std::string unknown = std::string("\x03\0N/A", 5) + std::string(100, '\0');
    EXPECT_EQ(record, unknown.substr(0, length) + std::string(106 - length, '#'));
  }
}

TEST(WpsQuery, TheReceivedProfileIsTakenWhole) {
  WpsDevice device;
  std::string record(938, '#');
  EXPECT_EQ(getWscProfile("ra0", record.data() + 1), -1);
  EXPECT_EQ(device.printed(),
            "ioctl error, getWscProfile:" + std::string(strerror(EOPNOTSUPP)) + "\n");
  device.session.credential({.ssid = "home", .key = "secret"});
  EXPECT_EQ(getWscProfile("ra0", record.data() + 1), 0);
  EXPECT_EQ(record.substr(9, 8), std::string("\x04\0\0\0home", 8));
  EXPECT_EQ(record.front(), '#');
  EXPECT_EQ(record.back(), '#');
}

// No separator stands between the names.
TEST(WpsQuery, NamesOfBitsFollowEachOther) {
  const struct {
    char *(*get)(const void *, char *);
    unsigned char authentication, encryption;
    const char *names;
  } cases[] = {{getWPSAuthMode, 0, 255, ">N/A"},
               {getWPSAuthMode, 2 | 32, 0, ">WPA-PSKWPA2-PSK"},
               {getWPSAuthMode, 255, 0, ">OpenWPA-PSKSharedWPAWPA2WPA2-PSK"},
               {getWPSEncrypType, 255, 0, ">N/A"},
               {getWPSEncrypType, 0, 15, ">NoneWEPTKIPAES"}};
  for (const auto &[get, authentication, encryption, names] : cases) {
    unsigned char record[39] = {};
    record[35] = authentication;
    record[37] = encryption;
    char out[40] = ">";
    EXPECT_EQ(get(record, out), out);
    EXPECT_STREQ(out, names);
  }
}

}  // namespace
