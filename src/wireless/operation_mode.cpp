// Which of the 2.4 GHz interfaces are up, and in which bridge, in each wireless
// operation mode.
#include "core/command.h"
#include "core/setting.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr char kLeaveBridges[] =
    "brctl delif br0 ra0\n"
    "brctl delif br0 apcli0\n"
    "brctl delif br1 ra0\n"
    "brctl delif br1 apcli0\n";

constexpr char kOpenWps[] =
    "iwpriv ra0 set WscAutoTriggerDisable=0\n"
    "iwpriv ra0 set WscSetupLock=1\n";

struct ModeRow {
  const char *mode;      // WirelessOPMode
  const char *band_key;  // which setting chooses the band
  const char *band;      // null: whatever the setting holds, and when it is missing
  bool starts_ra0;
  bool opens_wps;
  const char *commands;
};

// The first row that fits is taken; what fits no row changes nothing.
constexpr ModeRow kModes[] = {
    // Access point
    {"1", "OperatingBandAP", "1", true, true,
     "ifconfig apcli0 down\n"
     "brctl addif br0 ra0\n"
     "brctl addif br0 ra1\n"
     "brctl addif br0 ra2\n"
     "brctl addif br0 ra3\n"},
    {"1", "OperatingBandAP", "2", false, false,
     "ifconfig ra0 down\n"
     "ifconfig apcli0 down\n"},
    {"1", "OperatingBandAP", "3", true, true,
     "ifconfig apcli0 down\n"
     "brctl addif br0 ra0\n"
     "brctl addif br0 ra1\n"
     "brctl addif br0 ra2\n"
     "brctl addif br0 ra3\n"},
    // Client
    {"2", "OperatingBandCli", "1", false, false,
     "ifconfig ra0 down\n"
     "ifconfig ra1 down\n"
     "ifconfig ra2 down\n"
     "ifconfig ra3 down\n"
     "ifconfig apcli0 up\n"
     "brctl addif br0 apcli0\n"
     "call_qcsapi_sockrpc --host 1.1.1.2 run_script remote_command bringRfenableOff\n"},
    {"2", "OperatingBandCli", "2", false, false,
     "ifconfig ra0 down\n"
     "ifconfig ra1 down\n"
     "ifconfig ra2 down\n"
     "ifconfig ra3 down\n"
     "ifconfig apcli0 down\n"},
    // Repeater. On band 1 only the first network stays with the LAN; the others
    // and the uplink share a bridge of their own.
    {"3", "OperatingBandRepeater", "1", true, true,
     "ifconfig apcli0 up\n"
     "brctl addbr br1\n"
     "ifconfig br1 up\n"
     "brctl addif br0 ra0\n"
     "brctl addif br1 ra1\n"
     "brctl addif br1 ra2\n"
     "brctl addif br1 ra3\n"
     "brctl addif br1 apcli0\n"},
    {"3", "OperatingBandRepeater", "2", false, true,
     "brctl addif br0 ra0\n"
     "brctl addif br0 ra1\n"
     "brctl addif br0 ra2\n"
     "brctl addif br0 ra3\n"
     "ifconfig apcli0 down\n"},
    {"3", "OperatingBandRepeater", "3", true, true,
     "ifconfig apcli0 up\n"
     "brctl addif br0 apcli0\n"
     "brctl addif br0 ra0\n"
     "brctl addif br0 ra1\n"
     "brctl addif br0 ra2\n"
     "brctl addif br0 ra3\n"},
    {"3", "OperatingBandRepeater", nullptr, false, true, ""},
};

const ModeRow *presentMode() {
  Setting mode = setting("WirelessOPMode");
  for (const ModeRow &row : kModes) {
    if (!mode.is(row.mode)) continue;
    if (row.band == nullptr || setting(row.band_key).is(row.band)) return &row;
  }
  return nullptr;
}

}  // namespace

}  // namespace orba

int wlanModeChange2_4_init(void) {
  orba::runAllDirectly(orba::kLeaveBridges);
  const orba::ModeRow *row = orba::presentMode();
  if (row == nullptr) return 0;
  if (row->starts_ra0) InitWireless_ra0();
  orba::runAllDirectly(row->commands);
  if (row->opens_wps) orba::runAllDirectly(orba::kOpenWps);
  return 0;
}
