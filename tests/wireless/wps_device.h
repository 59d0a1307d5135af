// A router with its LEDs and its 2.4 GHz driver, for what WPS does to it.
#ifndef ORBA_TESTS_WIRELESS_WPS_DEVICE_H
#define ORBA_TESTS_WIRELESS_WPS_DEVICE_H

#include <gtest/gtest.h>

#include <map>
#include <source_location>
#include <string>
#include <vector>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/leds.h"
#include "sim/radio.h"
#include "sim/wps_session.h"

using Lines = std::vector<std::string>;

inline Lines operator+(Lines a, const Lines &b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

constexpr char kWpsLedDark[] = "led 14: 0 4000 1 1 4000";
constexpr char kWpsLedBlinks[] = "led 14: 2 1 4000 1 4000";
// What the driver calls lit leaves these two dark, and the reverse.
constexpr char kFailureOff[] = "led 9: 4000 0 1 1 4000";
constexpr char kFailureOn[] = "led 9: 0 4000 1 0 4000";
constexpr char kSuccessOff[] = "led 10: 4000 0 1 1 4000";
constexpr char kSuccessOn[] = "led 10: 0 4000 1 1 4000";

// What stopping WPS does, and what starting it anew does behind that.
const Lines kWpsStopped = {"rm -rf /var/run/wscd.pid.ra0", kWpsLedDark,
                           "iwpriv ra0 set WscConfMode=0"};
const Lines kWpsStarted = {"iwpriv ra0 set WscConfMode=7",
                           "route add -host 239.255.255.250 dev br0",
                           "wscd -m 1 -a 192.168.1.1 -i ra0 -D", kWpsLedDark, "timer stopped"};
// A session that ends for good, and one that fails.
const Lines kSessionEnds = {"echo \"999\" > /tmp/wpsStatus", "sys ledctl 1",
                            "echo \"999\" > /tmp/wpsStatus24", "timer stopped"};
const Lines kFailureLeds = {kFailureOn, "timer once in 10000 ms"};
const Lines kFailureExit = kSessionEnds + Lines{kWpsLedDark} + kFailureLeds;

// The flags and counters are the process's, so each device starts them afresh.
struct WpsDevice : sim::Device {
  sim::Leds &leds = part<sim::Leds>();
  sim::WpsSession &session = part<sim::WpsSession>();
  sim::Radio &radio = part<sim::Radio>();

  WpsDevice() {
    setVarWscConfigured(0);
    setVarIsEnrollee(0);
    resetTimerAll();
    resetTimerAllApCli();
    interface("br0").address("192.168.1.1");
    forget();
  }

  void ticks(int count) { advance(100LL * count); }

  // All that was done since the last time, in order; then it is forgotten.
  void expect(const Lines &lines, std::source_location at = std::source_location::current()) {
    testing::ScopedTrace trace(at.file_name(), static_cast<int>(at.line()), "the whole story");
    EXPECT_EQ(story(), lines);
    forget();
  }

  // Everything that was done and said, in order, files apart.
  Lines story() const {
    Lines lines;
    for (const sim::Event &event : events()) {
      const char *introduction = introductionOf(event.kind);
      if (introduction == nullptr) continue;
      lines.push_back(introduction + sim::withoutRunnerRedirection(event.text));
    }
    return lines;
  }

 private:
  static const char *introductionOf(sim::Event::Kind kind) {
    static const std::map<sim::Event::Kind, const char *> introductions = {
        {sim::Event::kCommand, ""},          {sim::Event::kRequest, ""},
        {sim::Event::kSet, "set "},          {sim::Event::kBufset, "bufset "},
        {sim::Event::kCommit, "commit "},    {sim::Event::kConsole, "console: "},
        {sim::Event::kPrinted, "printed: "}, {sim::Event::kError, "error: "},
        {sim::Event::kTimer, "timer "},      {sim::Event::kSleep, "sleep "}};
    auto found = introductions.find(kind);
    return found != introductions.end() ? found->second : nullptr;
  }
};

#endif
