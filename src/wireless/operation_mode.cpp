// Which of the 2.4 GHz interfaces are up, and in which bridge, in each wireless
// operation mode.
#include "core/command.h"
#include "core/setting.h"
#include "orba_util.h"

namespace orba {

namespace {

// Hands the commands to the shell in order, up to the first null.
template <size_t N>
void runList(const char *const (&commands)[N]) {
  for (const char *command : commands) {
    if (command == nullptr) break;
    runDirectly("%s", command);
  }
}

constexpr const char *kLeaveBridges[] = {
    "brctl delif br0 ra0",
    "brctl delif br0 apcli0",
    "brctl delif br1 ra0",
    "brctl delif br1 apcli0",
};

constexpr const char *kOpenWps[] = {
    "iwpriv ra0 set WscAutoTriggerDisable=0",
    "iwpriv ra0 set WscSetupLock=1",
};

struct ModeRow {
  const char *mode;      // WirelessOPMode
  const char *band_key;  // which setting chooses the band
  const char *band;      // null: whatever the setting holds, and when it is missing
  bool starts_ra0;
  bool opens_wps;
  const char *commands[10];
};

// The first row that fits is taken; what fits no row changes nothing.
constexpr ModeRow kModes[] = {
    // Access point
    {"1",
     "OperatingBandAP",
     "1",
     true,
     true,
     {
         "ifconfig apcli0 down",
         "brctl addif br0 ra0",
         "brctl addif br0 ra1",
         "brctl addif br0 ra2",
         "brctl addif br0 ra3",
     }},
    {"1",
     "OperatingBandAP",
     "2",
     false,
     false,
     {
         "ifconfig ra0 down",
         "ifconfig apcli0 down",
     }},
    {"1",
     "OperatingBandAP",
     "3",
     true,
     true,
     {
         "ifconfig apcli0 down",
         "brctl addif br0 ra0",
         "brctl addif br0 ra1",
         "brctl addif br0 ra2",
         "brctl addif br0 ra3",
     }},
    // Client
    {"2",
     "OperatingBandCli",
     "1",
     false,
     false,
     {
         "ifconfig ra0 down",
         "ifconfig ra1 down",
         "ifconfig ra2 down",
         "ifconfig ra3 down",
         "ifconfig apcli0 up",
         "brctl addif br0 apcli0",
         "call_qcsapi_sockrpc --host 1.1.1.2 run_script remote_command bringRfenableOff",
     }},
    {"2",
     "OperatingBandCli",
     "2",
     false,
     false,
     {
         "ifconfig ra0 down",
         "ifconfig ra1 down",
         "ifconfig ra2 down",
         "ifconfig ra3 down",
         "ifconfig apcli0 down",
     }},
    // Repeater. On band 1 only the first network stays with the LAN; the others
    // and the uplink share a bridge of their own.
    {"3",
     "OperatingBandRepeater",
     "1",
     true,
     true,
     {
         "ifconfig apcli0 up",
         "brctl addbr br1",
         "ifconfig br1 up",
         "brctl addif br0 ra0",
         "brctl addif br1 ra1",
         "brctl addif br1 ra2",
         "brctl addif br1 ra3",
         "brctl addif br1 apcli0",
     }},
    {"3",
     "OperatingBandRepeater",
     "2",
     false,
     true,
     {
         "brctl addif br0 ra0",
         "brctl addif br0 ra1",
         "brctl addif br0 ra2",
         "brctl addif br0 ra3",
         "ifconfig apcli0 down",
     }},
    {"3",
     "OperatingBandRepeater",
     "3",
     true,
     true,
     {
         "ifconfig apcli0 up",
         "brctl addif br0 apcli0",
         "brctl addif br0 ra0",
         "brctl addif br0 ra1",
         "brctl addif br0 ra2",
         "brctl addif br0 ra3",
     }},
    {"3", "OperatingBandRepeater", nullptr, false, true, {}},
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
  orba::runList(orba::kLeaveBridges);
  const orba::ModeRow *row = orba::presentMode();
  if (row == nullptr) return 0;
  if (row->starts_ra0) InitWireless_ra0();
  orba::runList(row->commands);
  if (row->opens_wps) orba::runList(orba::kOpenWps);
  return 0;
}
