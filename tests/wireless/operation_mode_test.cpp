#include <gmock/gmock.h>

#include "tests/wireless/wps_device.h"

namespace {

const Lines kLeaveBridges = {"brctl delif br0 ra0", "brctl delif br0 apcli0", "brctl delif br1 ra0",
                             "brctl delif br1 apcli0"};
const Lines kJoinLan = {"brctl addif br0 ra0", "brctl addif br0 ra1", "brctl addif br0 ra2",
                        "brctl addif br0 ra3"};
const Lines kOpenWps = {"iwpriv ra0 set WscAutoTriggerDisable=0", "iwpriv ra0 set WscSetupLock=1"};
const Lines kAllDown = {"ifconfig ra0 down", "ifconfig ra1 down", "ifconfig ra2 down",
                        "ifconfig ra3 down"};

// Directly: the lines carry no redirection.
TEST(OperationMode, JoinsItsInterfaces) {
  const Lines access_point = Lines{"ifconfig ra0 up", "ifconfig apcli0 down"} + kJoinLan + kOpenWps;
  const std::pair<sim::Settings, Lines> cases[] = {
      {{{"WirelessOPMode", "1"}, {"OperatingBandAP", "1"}}, access_point},
      {{{"WirelessOPMode", "1"}, {"OperatingBandAP", "3"}}, access_point},
      {{{"WirelessOPMode", "1"}, {"OperatingBandAP", "2"}},
       {"ifconfig ra0 down", "ifconfig apcli0 down"}},
      // The other modes' bands do not count.
      {{{"WirelessOPMode", "1"}, {"OperatingBandCli", "1"}, {"OperatingBandRepeater", "1"}}, {}},
      {{{"WirelessOPMode", "2"}, {"OperatingBandCli", "1"}},
       kAllDown + Lines{"ifconfig apcli0 up", "brctl addif br0 apcli0",
                        "call_qcsapi_sockrpc --host 1.1.1.2 run_script remote_command "
                        "bringRfenableOff"}},
      {{{"WirelessOPMode", "2"}, {"OperatingBandCli", "2"}},
       kAllDown + Lines{"ifconfig apcli0 down"}},
      {{{"WirelessOPMode", "2"}, {"OperatingBandCli", "3"}, {"OperatingBandAP", "1"}}, {}},
      // On band 1 the other networks share br1 with the uplink.
      {{{"WirelessOPMode", "3"}, {"OperatingBandRepeater", "1"}, {"WlanEnabled", "0;1"}},
       Lines{"ifconfig ra0 down", "ifconfig apcli0 up", "brctl addbr br1", "ifconfig br1 up",
             "brctl addif br0 ra0", "brctl addif br1 ra1", "brctl addif br1 ra2",
             "brctl addif br1 ra3", "brctl addif br1 apcli0"} +
           kOpenWps},
      // On band 2 ra0 is not brought up again.
      {{{"WirelessOPMode", "3"}, {"OperatingBandRepeater", "2"}},
       kJoinLan + Lines{"ifconfig apcli0 down"} + kOpenWps},
      // An unknown band still opens WPS.
      {{{"WirelessOPMode", "3"}, {"OperatingBandRepeater", "4"}}, kOpenWps},
      {{{"WirelessOPMode", "01"}, {"OperatingBandAP", "1"}}, {}},
  };
  for (const auto &[settings, commands] : cases) {
    sim::Device device;
    device.buffered(settings);
    wlanModeChange2_4_init();
    EXPECT_EQ(device.shellLines(), kLeaveBridges + commands) << testing::PrintToString(settings);
  }
}

}  // namespace
