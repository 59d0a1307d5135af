// Following a WPS run of the access point to its end.
#include <unistd.h>

#include "core/command.h"
#include "core/console.h"
#include "core/errno_keeper.h"
#include "core/setting.h"
#include "orba_util.h"
#include "wireless/wps_credentials.h"
#include "wireless/wps_leds.h"
#include "wireless/wps_profile.h"
#include "wireless/wps_state.h"
#include "wireless/wps_status_file.h"

namespace orba {

namespace {

void fail(const char *trace) {
  debug("%s", trace);
  wps_state.result = kWpsFailed;
  updateWpsStatusFlag();
  resetTimerAll();
}

void failWithTimeout() {
  fail("Wsc: timeout\n");
  showWpsFailure();
}

void failWithOverlap() {
  fail("Wsc: overlap detected\n");
  showWpsOverlap();
}

// An enrollee run goes through failures before it succeeds.
void failUnlessEnrollee() {
  if (wps_state.enrollee != 0) return;
  fail("Wsc: unknown error\n");
  showWpsFailure();
}

void stopQuietly() {
  debug("Wsc: idle\n");
  updateWpsStatusFlag();
  resetTimerAll();
  showWpsReady();
}

constexpr int kModuleSessionRuns = 1;

void announceSuccess() {
  debug("Wsc: success\n");
  clearStatus();
  clearStatus24();
  doSystem("sys ledctl 0");
  if (getWscResultGUIOrba() == kModuleSessionRuns) doSystem("wlan_5G.sh WPS CANCEL");
  resetTimerAll();
  wps_state.result = kWpsSucceeded;
  setWscResult(kWpsSucceeded);
  showWpsSuccess();
}

// An access point without a configuration takes what it was sent, one that has
// a configuration only in an enrollee run.
bool takesCredentials() {
  return wps_state.configured == 0 || (wps_state.configured == 1 && wps_state.enrollee == 1);
}

constexpr char kReloadRadio[] =
    "ifconfig ra0 down\n"
    "ralink_init make_wireless_config rt2860\n"
    "ifconfig ra0 up\n";

void takeCredentials() {
  WscProfile profile = {};
  // An access point whose driver does not tell keeps the network it has.
  if (getWscProfile("ra0", &profile) != 0) return;

  nvram_bufset(kMainSpace, "WscConfigured", "1");
  wps_state.configured = 1;
  storeCredential(profile.first);
  nvram_commit(kMainSpace);
  if (setting("AccessPolicy0").is("1")) {
    storeAccessControlList();
    nvram_commit(kMainSpace);
  }

  runAll(kReloadRadio);
  restart8021XDaemon(kMainSpace);
  WPSRestart();
}

void succeed() {
  announceSuccess();
  CurrentWscProfile current = {};
  getCurrentWscProfile("ra0", &current, sizeof current);
  if (takesCredentials() && current.state == kWscConfigured) takeCredentials();
}

// What a tick does about each status; about any other it keeps polling.
struct Reaction {
  int status;
  void (*react)();
};

constexpr Reaction kReactions[] = {
    {kWscIdle, stopQuietly},
    {kWscFailed, failUnlessEnrollee},
    {kWscSucceeded, succeed},
    {kWscOverlap, failWithOverlap},
};

// The time allowed counts from here, or from the first tick when the driver
// never says that it started.
void startWatching() {
  print(STDOUT_FILENO, "Wsc: Start to monitor WSC Status...\n");
  wps_state.started = 1;
  wps_state.elapsed = 0;
  showWpsRunning();
}

}  // namespace

}  // namespace orba

void WPSAPTimerHandler(int) {
  if (orba::commandRuns()) return;  // the next tick finds what this one would have
  orba::ErrnoKeeper errno_keeper;
  int status = getWscStatus("ra0");
  orba::writeStatus24(status);
  if (status == orba::kWscStarted && orba::wps_state.started == 0) orba::startWatching();
  if (!orba::wpsTimeIsLeft(orba::wps_state.elapsed)) {
    orba::failWithTimeout();
    return;
  }
  for (const orba::Reaction &reaction : orba::kReactions) {
    if (reaction.status == status) return reaction.react();
  }
}
