// Whole WPS runs of the access point.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/wireless/wps_device.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

using Lines = std::vector<std::string>;

Lines operator+(Lines a, const Lines &b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

const Lines kStartedTick = {
    "echo 3 > /tmp/wpsStatus24",
    "printed: Wsc: Start to monitor WSC Status...\n",
    kWpsLedBlinks,
    kFailureOff,
    kSuccessOff,
};

// With a session of the 5 GHz side unheard of.
const Lines kSuccessTick = {
    "echo 34 > /tmp/wpsStatus24",
    "console: Wsc: success\n",
    "echo \"999\" > /tmp/wpsStatus",
    "echo \"999\" > /tmp/wpsStatus24",
    "sys ledctl 0",
    "error: Can't open file wpsStatus5G \n",
    "timer stopped",
    kWpsLedDark,
    kSuccessOn,
    "timer once in 10000 ms",
};

const Lines kReload = {
    "ifconfig ra0 down",
    "ralink_init make_wireless_config rt2860",
    "ifconfig ra0 up",
};

const Lines kWpsRestart = {
    "rm -rf /var/run/wscd.pid.ra0",
    kWpsLedDark,
    "iwpriv ra0 set WscConfMode=0",
    "iwpriv ra0 set WscConfMode=7",
    "route add -host 239.255.255.250 dev br0",
    "wscd -m 1 -a 192.168.1.1 -i ra0 -D",
    kWpsLedDark,
    "timer stopped",
};

// Status files in this state end a session for good.
const Lines kSessionEnds = {
    "echo \"999\" > /tmp/wpsStatus",
    "sys ledctl 1",
    "echo \"999\" > /tmp/wpsStatus24",
};

struct AccessPoint : WpsDevice {
  explicit AccessPoint(const char *configured = "0") {
    settings({{"OperationMode", "1"}, {"WscModeOption", "7"}, {"WscConfigured", configured}});
    file("/tmp/wpsStatus", "2\n");
    session.current({.state = 2})
        .credential({.ssid = "home", .authentication = 32, .encryption = 8, .key = "secret key"});
  }

  // Presses the button and forgets what that did.
  AccessPoint &start() {
    WPSAPPBCStartAll();
    forget();
    return *this;
  }
};

TEST(WpsMonitor, AConfiguredRegistrarsNetworkIsTakenOver) {
  AccessPoint device;
  device.settings(
      {{"AuthMode", "OPEN;WPA2"},
       {"EncrypType", "NONE;AES"},
       {"IEEE8021X", "1;0"},
       {"BssidNum", "2"},
       {"AccessPolicy0", "1"},
       {"AccessControlList0", "11:11:11:11:11:11;22:22:22:22:22:22;33:33:33:33:33:33"}});
  device.file("/tmp/wpsStatus5G", "1\n");
  device.session.status("ra0", {{3, 2}, {34, 1}})
      .stations({std::string("\x00\x1A\x2B\xfe\xdc\xba", 6), std::string("\x02\0\0\0\0\x01", 6)});
  device.start().ticks(2);
  EXPECT_THAT(device.story(), ElementsAreArray(kStartedTick + Lines{"echo 3 > /tmp/wpsStatus24"}));
  EXPECT_EQ(device.text("/tmp/wpsStatus24"), "3\n");

  device.forget();
  device.ticks(1);
  EXPECT_THAT(
      device.story(),
      ElementsAreArray(
          Lines{
              "echo 34 > /tmp/wpsStatus24",
              "console: Wsc: success\n",
              "echo \"999\" > /tmp/wpsStatus",
              "echo \"999\" > /tmp/wpsStatus24",
              "sys ledctl 0",
              "wlan_5G.sh WPS CANCEL",
              "timer stopped",
              kWpsLedDark,
              kSuccessOn,
              "timer once in 10000 ms",
              "set 1 WscConfigured=1",
              "set 1 SSID1=home",
              "set 1 WscSSID=home",
              "set 1 AuthMode=WPA2PSK;WPA2",
              "set 1 EncrypType=AES;AES",
              "set 1 WPAPSK1=secret key",
              "set 1 IEEE8021X=0;0",
              "commit 1",
              "set 1 AccessControlList0=00:1A:2B:FE:DC:BA;02:00:00:00:00:01;33:33:33:33:33:33",
              "commit 1",
          } +
          kReload + Lines{"killall rt2860apd 1>/dev/null 2>&1", "rt2860apd"} + kWpsRestart));
  EXPECT_EQ(device.text("/tmp/wpsStatus"), "999\n");
  EXPECT_EQ(device.text("/tmp/wpsStatus24"), "999\n");
  EXPECT_EQ(device.text("/var/wscResult"), "1");
  // The restart of WPS has stopped the timer that was to turn the LEDs off.
  EXPECT_FALSE(device.clock().armed());
}

// The radio is off: the restart ends early and leaves the LEDs' timer alone.
TEST(WpsMonitor, TheLedsGoOffTenSecondsLater) {
  AccessPoint device;
  device.settings({{"RadioOff", "1"}});
  device.session.status("ra0", {{34, 1}});
  device.start().ticks(1);
  EXPECT_EQ(reinterpret_cast<void *>(device.clock().installed()),
            reinterpret_cast<void *>(setLedOff));
  device.forget();
  device.advance(9999);
  EXPECT_THAT(device.story(), IsEmpty());
  device.advance(60000);
  EXPECT_THAT(device.story(), ElementsAre(kFailureOff, kSuccessOff));
}

TEST(WpsMonitor, AnAccessPointWithAConfigurationKeepsIt) {
  AccessPoint device("1");
  device.session.status("ra0", {{3, 1}, {34, 1}});
  device.start().ticks(2);
  EXPECT_THAT(device.story(), ElementsAreArray(kStartedTick + kSuccessTick));
  EXPECT_EQ(device.text("/var/wscResult"), "1");
}

TEST(WpsMonitor, AnEnrolleeRunGoesThroughFailuresAndTakesTheNetwork) {
  AccessPoint device("1");
  device.session.status("ra0", {{2, 3}, {3, 1}, {2, 1}, {34, 1}});
  WPSSingleTriggerHandler(0);
  EXPECT_THAT(device.story(), ElementsAre("timer stopped", "timer every 100 ms"));
  device.forget();
  device.ticks(6);
  EXPECT_THAT(
      device.story(),
      ElementsAreArray(Lines(3, "echo 2 > /tmp/wpsStatus24") + kStartedTick +
                       Lines{"echo 2 > /tmp/wpsStatus24"} + kSuccessTick +
                       Lines{"set 1 WscConfigured=1", "set 1 SSID1=home", "set 1 WscSSID=home",
                             "set 1 AuthMode=WPA2PSK", "set 1 EncrypType=AES",
                             "set 1 WPAPSK1=secret key", "set 1 IEEE8021X=0", "commit 1"} +
                       kReload + kWpsRestart));

  // The restart of WPS has ended the enrollee run: a failure is one again.
  device.session.status("ra0", {{2, 1}});
  WPSAPStart();
  device.ticks(1);
  EXPECT_EQ(device.text("/var/wscResult"), "1");
  EXPECT_THAT(device.console(), ::testing::EndsWith("Wsc: unknown error\n"));
}

// Only 1 means configured there: another number is neither configured nor not.
TEST(WpsMonitor, AnEnrolleeRunNeedsTheExactFlag) {
  AccessPoint device("2");
  device.session.status("ra0", {{34, 1}});
  WPSSingleTriggerHandler(0);
  device.ticks(1);
  EXPECT_THAT(device.writes(), IsEmpty());
}

TEST(WpsMonitor, NothingIsTakenOverThatTheDriverDoesNotTellOf) {
  auto writes_after = [](void (*prepare)(AccessPoint &)) {
    AccessPoint device;
    device.session.status("ra0", {{34, 1}});
    prepare(device);
    device.start().ticks(1);
    EXPECT_EQ(device.text("/var/wscResult"), "1");
    return device.writes();
  };
  EXPECT_THAT(writes_after([](AccessPoint &device) { device.session.current({.state = 1}); }),
              IsEmpty());
  EXPECT_THAT(writes_after([](AccessPoint &device) { device.session.current({.state = 3}); }),
              IsEmpty());
  EXPECT_THAT(writes_after([](AccessPoint &device) { device.radio.fail(0x0750, EIO); }), IsEmpty());
}

TEST(WpsMonitor, TwoButtonsAtOnceFailAndLeaveTheWpsLedAlone) {
  AccessPoint device;
  device.session.status("ra0", {{3, 1}, {265, 1}});
  device.start().ticks(3);
  EXPECT_THAT(
      device.story(),
      ElementsAreArray(
          kStartedTick + Lines{"echo 265 > /tmp/wpsStatus24", "console: Wsc: overlap detected\n"} +
          kSessionEnds + Lines{"timer stopped", kFailureOn, "timer once in 10000 ms"}));
  EXPECT_EQ(device.text("/tmp/wpsStatus"), "999\n");
  // Failures are not written where the others read results.
  EXPECT_EQ(device.text("/var/wscResult"), std::nullopt);
}

TEST(WpsMonitor, AFailureEndsTheRun) {
  AccessPoint device;
  device.file("/tmp/wpsStatus", "1\n");
  device.session.status("ra0", {{2, 1}});
  device.start().ticks(5);
  EXPECT_THAT(device.story(),
              ElementsAre("echo 2 > /tmp/wpsStatus24", "console: Wsc: unknown error\n",
                          "echo \"2\" > /tmp/wpsStatus", "echo \"999\" > /tmp/wpsStatus24",
                          "timer stopped", kWpsLedDark, kFailureOn, "timer once in 10000 ms"));
  EXPECT_EQ(device.text("/tmp/wpsStatus"), "2\n");
}

TEST(WpsMonitor, AnIdleDriverEndsTheRunQuietly) {
  AccessPoint device;
  device.session.status("ra0", {{1, 1}});
  device.start().ticks(5);
  EXPECT_THAT(device.story(),
              ElementsAreArray(Lines{"echo 1 > /tmp/wpsStatus24", "console: Wsc: idle\n"} +
                               kSessionEnds + Lines{"timer stopped", kWpsLedDark}));
  EXPECT_FALSE(device.clock().armed());
}

const Lines kTimeout = Lines{"console: Wsc: timeout\n"} + kSessionEnds +
                       Lines{"timer stopped", kWpsLedDark, kFailureOn, "timer once in 10000 ms"};

// Even success comes too late at the 1200th tick.
TEST(WpsMonitor, GivesUpAtThe1200thTick) {
  for (int status : {4, 34}) {
    AccessPoint device;
    device.session.status("ra0", {{4, 1199}, {status, 1}});
    device.start().ticks(1199);
    EXPECT_THAT(device.story(), ElementsAreArray(Lines(1199, "echo 4 > /tmp/wpsStatus24")));
    device.forget();
    device.ticks(2);
    Lines tick = {"echo " + std::to_string(status) + " > /tmp/wpsStatus24"};
    EXPECT_THAT(device.story(), ElementsAreArray(tick + kTimeout));
  }
}

// The driver's start sets the counter back, once; its tick counts already.
TEST(WpsMonitor, TheTimeCountsFromTheDriversStart) {
  AccessPoint device;
  device.session.status("ra0", {{0, 49}, {3, 1}, {5, 100}, {3, 1}});
  device.start().ticks(49 + 1199);
  EXPECT_EQ(device.console(), "");
  EXPECT_EQ(device.printed(), "Wsc: Start to monitor WSC Status...\n");
  device.forget();
  device.ticks(1);
  EXPECT_THAT(device.story(), ElementsAreArray(Lines{"echo 3 > /tmp/wpsStatus24"} + kTimeout));
}

// A driver that does not answer reads as status 0.
TEST(WpsMonitor, ASilentDriverIsPolledToTheTimeout) {
  AccessPoint device;
  device.start().ticks(1200);
  EXPECT_EQ(device.commands().front(), "echo 0 > /tmp/wpsStatus24");
  EXPECT_EQ(device.text("/tmp/wpsStatus"), "999\n");
  EXPECT_THAT(device.console(), ::testing::EndsWith("Wsc: timeout\n"));
}

// A run begun elsewhere goes on with the count of the one before; only a push
// button starts the count afresh.
TEST(WpsMonitor, ARunBegunElsewhereIsPickedUpWhereItStands) {
  AccessPoint device;
  device.session.status("ra0", {{0, 1}});
  device.start().ticks(1000);
  WPSAPStart();
  device.ticks(199);
  EXPECT_THAT(device.console(), IsEmpty());
  device.ticks(1);
  EXPECT_EQ(device.console(), "Wsc: timeout\n");
}

}  // namespace
