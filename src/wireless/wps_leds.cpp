#include "wireless/wps_leds.h"

#include "orba_util.h"

// setLedOff under a timer handler's type: with an argument and without a result,
// neither of which it looks at. Whoever asks for the installed handler finds
// setLedOff itself.
extern "C" __attribute__((visibility("default"))) void setLedOffWhenDue(int) __asm__("setLedOff");

namespace orba {

namespace {

// GPIO lines. The driver lights the last two on what it calls dark.
constexpr unsigned int kWpsLed = 14;
constexpr unsigned int kFailureLed = 9;
constexpr unsigned int kSuccessLed = 10;

constexpr unsigned int kResultSeconds = 10;

}  // namespace

void showWpsStopped() {
  ledWps(kWpsLed, 6);
}

void showWpsReady() {
  ledWps(kWpsLed, 1);
}

void showWpsRunning() {
  ledWps(kWpsLed, 2);
  ledWps(kFailureLed, 7);
  ledWps(kSuccessLed, 7);
}

void showWpsSuccess() {
  ledWps(kWpsLed, 1);
  ledWps(kSuccessLed, 5);
  setTimerOnce(kResultSeconds, setLedOffWhenDue);
}

void showWpsFailure() {
  ledWps(kWpsLed, 1);
  showWpsOverlap();
}

// Leaves the WPS LED itself blinking.
void showWpsOverlap() {
  ledWps(kFailureLed, 3);
  setTimerOnce(kResultSeconds, setLedOffWhenDue);
}

}  // namespace orba
