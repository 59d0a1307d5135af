#include "wireless/wps_state.h"

#include "core/setting.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr int kTickMilliseconds = 100;
constexpr int kLongestRunMilliseconds = 120000;

}  // namespace

WpsState wps_state;

void readWscConfigured() {
  wps_state.configured = setting("WscConfigured").number();
}

void startWpsMonitor(void (*tick)(int)) {
  setTimer(kTickMilliseconds * 1000, tick);
}

bool wpsTimeIsLeft(volatile int &elapsed) {
  int now = elapsed + kTickMilliseconds;
  elapsed = now;
  return now < kLongestRunMilliseconds;
}

}  // namespace orba

void setVarWscConfigured(int value) {
  orba::wps_state.configured = value;
}

void setVarIsEnrollee(int value) {
  orba::wps_state.enrollee = value;
}

void resetTimerAll(void) {
  stopTimer();
  orba::wps_state.started = 0;
  orba::wps_state.elapsed = 0;
}

void resetTimerAllApCli(void) {
  stopTimer();
  orba::wps_state.client_elapsed = 0;
}
