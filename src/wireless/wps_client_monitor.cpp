// Following a WPS run of the AP client to its end.
#include "core/command.h"
#include "core/errno_keeper.h"
#include "core/setting.h"
#include "orba_util.h"
#include "wireless/wps_client_network.h"
#include "wireless/wps_leds.h"
#include "wireless/wps_state.h"
#include "wireless/wps_status_file.h"

namespace orba {

namespace {

// Push button on the access point was taken away while the client searched.
// What brings it back is the 5 GHz module's setting, not this radio's.
void restoreAccessPoint(const Setting &module_wps_mode) {
  if (module_wps_mode.is("7")) doSystem("iwpriv ra0 set WscConfMode=7");
}

void fail(const char *trace) {
  debug("%s", trace);
  updateWpsStatusFlag();
  resetTimerAllApCli();
  showWpsFailure();
}

void succeed(bool repeater) {
  debug("Apcli Wsc: success\n");
  clearStatusDirectly();
  runDirectly("sys ledctl 0");
  resetTimerAllApCli();
  showWpsSuccess();
  storeClientNetwork(repeater);
  if (repeater) doSystem("wlan.sh");
}

}  // namespace

}  // namespace orba

void WPSAPCliTimerHandler(int) {
  if (orba::commandRuns()) return;  // the next tick finds what this one would have
  orba::ErrnoKeeper errno_keeper;
  orba::Setting module_wps_mode = orba::setting("WscModeOption", orba::kModuleSpace);
  int status = getWscStatus("apcli0");
  bool repeater = orba::setting("WirelessOPMode").is("3");

  if (!orba::wpsTimeIsLeft(orba::wps_state.client_elapsed)) {
    orba::fail("Apcli Wsc: timeout\n");
  } else if (status == orba::kWscFailed) {
    orba::fail("Apcli: unknown error\n");
  } else if (status == orba::kWscSucceeded) {
    orba::succeed(repeater);
  } else {
    return;
  }
  orba::restoreAccessPoint(module_wps_mode);
}
