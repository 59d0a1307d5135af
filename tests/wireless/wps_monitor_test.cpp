// Whole WPS runs of the access point.
#include <gmock/gmock.h>

#include "tests/wireless/wps_device.h"

namespace {

using ::testing::EndsWith;
using ::testing::IsEmpty;

Lines polled(int status, size_t times = 1) {
  return Lines(times, "echo " + std::to_string(status) + " > /tmp/wpsStatus24");
}

const Lines kStartedTick = polled(3) + Lines{"printed: Wsc: Start to monitor WSC Status...\n",
                                             kWpsLedBlinks, kFailureOff, kSuccessOff};

// What becomes of the 5 GHz side's session stands in the middle.
Lines successTick(const std::string &module_session) {
  return {"echo 34 > /tmp/wpsStatus24",
          "console: Wsc: success\n",
          "echo \"999\" > /tmp/wpsStatus",
          "echo \"999\" > /tmp/wpsStatus24",
          "sys ledctl 0",
          module_session,
          "timer stopped",
          kWpsLedDark,
          kSuccessOn,
          "timer once in 10000 ms"};
}
const Lines kSuccessTick = successTick("error: Can't open file wpsStatus5G \n");

const Lines kReload = {"ifconfig ra0 down", "ralink_init make_wireless_config rt2860",
                       "ifconfig ra0 up"};

struct AccessPoint : WpsDevice {
  explicit AccessPoint(const char *configured = "0") {
    settings({{"OperationMode", "1"}, {"WscModeOption", "7"}, {"WscConfigured", configured}});
    file("/tmp/wpsStatus", "2\n");
    session.current({}).credential({"home", 32, 8, "secret key"});
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
  device.buffered({{"AuthMode", "OPEN;WPA2"}, {"EncrypType", "NONE;AES"}, {"IEEE8021X", "1;0"}});
  device.buffered({{"BssidNum", "2"}, {"AccessPolicy0", "1"}, {"AccessControlList0", "x;y;z"}});
  device.file("/tmp/wpsStatus5G", "1\n");
  device.session.status("ra0", {{3, 2}, {34, 1}})
      .stations({std::string("\x00\x1A\x2B\xfe\xdc\xba", 6), std::string("\x02\0\0\0\0\x01", 6)});
  device.start().ticks(2);
  device.expect(kStartedTick + polled(3));
  EXPECT_EQ(device.text("/tmp/wpsStatus24"), "3\n");

  device.ticks(1);
  device.expect(successTick("wlan_5G.sh WPS CANCEL") +
                Lines{"bufset 1 WscConfigured=1", "bufset 1 SSID1=home", "bufset 1 WscSSID=home",
                      "bufset 1 AuthMode=WPA2PSK;WPA2", "bufset 1 EncrypType=AES;AES",
                      "bufset 1 WPAPSK1=secret key", "bufset 1 IEEE8021X=0;0", "commit 1",
                      "bufset 1 AccessControlList0=00:1A:2B:FE:DC:BA;02:00:00:00:00:01;z",
                      "commit 1"} +
                kReload + Lines{"killall rt2860apd 1>/dev/null 2>&1", "rt2860apd"} + kWpsStopped +
                kWpsStarted);
  EXPECT_EQ(device.text("/tmp/wpsStatus"), "999\n");
  EXPECT_EQ(device.text("/tmp/wpsStatus24"), "999\n");
  EXPECT_EQ(device.text("/var/wscResult"), "1");
  // The restart of WPS has stopped the timer that was to turn the LEDs off.
  EXPECT_FALSE(device.clock().armed());
}

// Nothing stops the LEDs' timer, either.
TEST(WpsMonitor, AnAccessPointWithAConfigurationKeepsIt) {
  AccessPoint device("1");
  device.session.status("ra0", {{3, 1}, {34, 1}});
  device.start().ticks(2);
  device.expect(kStartedTick + kSuccessTick);
  EXPECT_EQ(device.text("/var/wscResult"), "1");
  EXPECT_EQ(reinterpret_cast<void *>(device.clock().installed()),
            reinterpret_cast<void *>(setLedOff));
  device.advance(9999);
  device.expect({});
  device.advance(60000);
  device.expect({kFailureOff, kSuccessOff});
}

TEST(WpsMonitor, AnEnrolleeRunGoesThroughFailuresAndTakesTheNetwork) {
  AccessPoint device("1");
  device.session.status("ra0", {{2, 3}, {3, 1}, {2, 1}, {34, 1}});
  WPSSingleTriggerHandler(0);
  device.expect({"timer stopped", "timer every 100 ms"});
  device.ticks(6);
  device.expect(polled(2, 3) + kStartedTick + polled(2) + kSuccessTick +
                Lines{"bufset 1 WscConfigured=1", "bufset 1 SSID1=home", "bufset 1 WscSSID=home",
                      "bufset 1 AuthMode=WPA2PSK", "bufset 1 EncrypType=AES",
                      "bufset 1 WPAPSK1=secret key", "bufset 1 IEEE8021X=0", "commit 1"} +
                kReload + kWpsStopped + kWpsStarted);

  // The restart of WPS has ended the enrollee run: a failure is one again.
  device.session.status("ra0", {{2, 1}});
  WPSAPStart();
  device.ticks(1);
  EXPECT_EQ(device.text("/var/wscResult"), "1");
  EXPECT_EQ(device.console(), "Wsc: unknown error\n");
}

// Only a flag of 1 means configured there: 2 is neither configured nor not.
TEST(WpsMonitor, NothingIsTakenOverThatTheDriverDoesNotTellOf) {
  const struct {
    const char *configured;
    uint16_t state;
    bool tells;
  } cases[] = {{"0", 1, true}, {"0", 3, true}, {"0", 2, false}, {"2", 2, true}};
  for (const auto &[configured, state, tells] : cases) {
    AccessPoint device(configured);
    device.session.current({state}).status("ra0", {{34, 1}});
    if (!tells) device.radio.fail(0x0750, EIO);
    WPSSingleTriggerHandler(0);
    device.ticks(1);
    EXPECT_EQ(device.text("/var/wscResult"), "1");
    EXPECT_THAT(device.writes(), IsEmpty());
  }
}

// Failures are not written where the others read results.
TEST(WpsMonitor, EndsOnFailureOverlapAndIdle) {
  const struct {
    int status;
    std::string said;
    Lines end;
  } cases[] = {
      {2, "console: Wsc: unknown error\n", kFailureExit},
      // Two buttons at once leave the WPS LED alone.
      {265, "console: Wsc: overlap detected\n", kSessionEnds + kFailureLeds},
      {1, "console: Wsc: idle\n", kSessionEnds + Lines{kWpsLedDark}},
  };
  for (const auto &[status, said, end] : cases) {
    AccessPoint device;
    device.session.status("ra0", {{3, 1}, {status, 1}});
    device.start().ticks(5);
    device.expect(kStartedTick + polled(status) + Lines{said} + end);
    EXPECT_EQ(device.text("/tmp/wpsStatus"), "999\n");
    EXPECT_EQ(device.text("/var/wscResult"), std::nullopt);
    EXPECT_EQ(device.clock().armed(), status != 1);
  }
}

const Lines kTimeout = Lines{"console: Wsc: timeout\n"} + kFailureExit;

// Even success comes too late at the 1200th tick.
TEST(WpsMonitor, GivesUpAtThe1200thTick) {
  for (int status : {4, 34}) {
    AccessPoint device;
    device.session.status("ra0", {{4, 1199}, {status, 1}});
    device.start().ticks(1199);
    device.expect(polled(4, 1199));
    device.ticks(2);
    device.expect(polled(status) + kTimeout);
  }
}

// The driver's start sets the counter back, once; its tick counts already.
TEST(WpsMonitor, TheTimeCountsFromTheDriversStart) {
  AccessPoint device;
  device.session.status("ra0", {{0, 49}, {3, 1}, {5, 100}, {3, 1}});
  device.start().ticks(49 + 1199);
  device.expect(polled(0, 49) + kStartedTick + polled(5, 100) + polled(3, 1098));
  device.ticks(1);
  device.expect(polled(3) + kTimeout);
}

// A run begun elsewhere goes on with the count of the one before; only a push
// button starts the count afresh. A driver that does not answer reads as status 0.
TEST(WpsMonitor, ARunBegunElsewhereIsPickedUpWhereItStands) {
  AccessPoint device;
  device.start().ticks(1000);
  WPSAPStart();
  device.ticks(199);
  EXPECT_EQ(device.commands(), polled(0, 1199));
  device.ticks(1);
  EXPECT_THAT(device.console(), EndsWith("Wsc: timeout\n"));
}

}  // namespace
