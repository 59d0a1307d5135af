// Starting, restarting and stopping Wi-Fi Protected Setup.
#include <cstdio>

#include "core/command.h"
#include "core/errno_keeper.h"
#include "core/setting.h"
#include "core/shell_word.h"
#include "orba_util.h"
#include "wireless/wps_leds.h"
#include "wireless/wps_state.h"

namespace orba {

namespace {

// As registrar and enrollee, for PIN and push button.
constexpr int kEverythingAllowed = 7;

// Compared as text, so that any digit from "1" up, and any word, enables WPS.
bool wpsIsEnabled() {
  return strcmp(setting("WscModeOption").text(), "0") > 0;
}

// False when the LAN has no address that the daemon could answer at.
bool startDaemon() {
  char lan_address[32] = "";
  if (getIfIp(getLanIfName(), lan_address) != 0) {
    debug("WPSRestart error, can't get lan ip.\n");
    return false;
  }
  doSystem("iwpriv ra0 set WscConfMode=%d", kEverythingAllowed);
  if (setting("WscConfigured").is("0")) doSystem("iwpriv ra0 set WscConfStatus=1");
  doSystem("route add -host 239.255.255.250 dev br0");
  doSystem("wscd -m 1 -a %s -i ra0 -D", ShellWord(lan_address).text());
  showWpsReady();
  return true;
}

// The wireless modes that have a second 2.4 GHz interface.
bool hasSecondInterface(int wireless_mode) {
  return wireless_mode == 2 || wireless_mode == 8 || wireless_mode == 11;
}

void restartWps() {
  Setting mode = setting("OperationMode");
  doSystem("rm -rf /var/run/wscd.pid.ra0");
  showWpsStopped();
  doSystem("iwpriv ra0 set WscConfMode=0");
  if (setting("RadioOff").is("1") || !mode.isOneOf("0", "1")) return;

  if (!wpsIsEnabled()) {
    doSystem("route delete 239.255.255.250 1>/dev/null 2>&1");
  } else if (!startDaemon()) {
    return;
  }
  readWscConfigured();
  setVarIsEnrollee(0);
  resetTimerAll();
}

constexpr char kPushButton[] =
    "iwpriv ra0 set WscConfMode=7\n"
    "iwpriv ra0 set WscMode=2\n"
    "iwpriv ra0 set WscGetConf=1\n";

constexpr char kPushButtonOfSecondInterface[] =
    "iwpriv rai0 set WscMode=2\n"
    "iwpriv rai0 set WscGetConf=1\n";

constexpr char kPushButtonOfClient[] =
    "iwpriv apcli0 set ApCliEnable=0\n"
    "iwpriv apcli0 set ApCliBssid=\"\"\n"
    "iwpriv apcli0 set WscConfMode=1\n"
    "iwpriv apcli0 set WscMode=2\n"
    "iwpriv apcli0 set ApCliEnable=1\n"
    "iwpriv apcli0 set WscGetConf=1\n";

}  // namespace

}  // namespace orba

int WPSRestart(void) {
  orba::restartWps();
  return 0;
}

void WPSAPPBCStartAll(void) {
  if (orba::setting("WscModeOption").is("0")) {
    printf("The PBC button is pressed but WPS is disabled now.\n");
    return;
  }
  orba::readWscConfigured();
  orba::runAll(orba::kPushButton);
  if (orba::hasSecondInterface(orba::setting("WirelessMode").number())) {
    orba::runAll(orba::kPushButtonOfSecondInterface);
  }
  resetTimerAll();
  orba::startWpsMonitor(WPSAPTimerHandler);
}

void WPSAPCliPBCStart(void) {
  orba::runAllDirectly(orba::kPushButtonOfClient);
  resetTimerAllApCli();
  orba::showWpsRunning();
  orba::startWpsMonitor(WPSAPCliTimerHandler);
}

// Neither the counters nor the driver are touched, so that a run begun
// elsewhere is picked up where it stands.
void WPSAPStart(void) {
  orba::readWscConfigured();
  orba::startWpsMonitor(WPSAPTimerHandler);
}

void WPSSingleTriggerHandler(int) {
  orba::ErrnoKeeper errno_keeper;
  orba::readWscConfigured();
  setVarIsEnrollee(1);
  stopTimer();
  orba::startWpsMonitor(WPSAPTimerHandler);
}
