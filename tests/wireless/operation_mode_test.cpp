#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orba_util.h"
#include "sim/device.h"

namespace {

using ::testing::ElementsAreArray;

struct Row {
  sim::Settings settings;
  std::vector<std::string> commands;  // behind the four that empty the bridges
};

void PrintTo(const Row &row, std::ostream *out) {
  for (const auto &[key, value] : row.settings) *out << key << "=" << value << " ";
}

class OperationMode : public ::testing::TestWithParam<Row> {};

// Directly: the lines carry no redirection.
TEST_P(OperationMode, JoinsItsInterfaces) {
  sim::Device device;
  device.settings(GetParam().settings);
  wlanModeChange2_4_init();
  std::vector<std::string> expected = {"brctl delif br0 ra0", "brctl delif br0 apcli0",
                                       "brctl delif br1 ra0", "brctl delif br1 apcli0"};
  expected.insert(expected.end(), GetParam().commands.begin(), GetParam().commands.end());
  EXPECT_THAT(device.shellLines(), ElementsAreArray(expected));
}

const std::vector<std::string> kAccessPointOn24 = {
    "ifconfig ra0 up",
    "ifconfig apcli0 down",
    "brctl addif br0 ra0",
    "brctl addif br0 ra1",
    "brctl addif br0 ra2",
    "brctl addif br0 ra3",
    "iwpriv ra0 set WscAutoTriggerDisable=0",
    "iwpriv ra0 set WscSetupLock=1",
};

const std::vector<std::string> kWpsOnly = {
    "iwpriv ra0 set WscAutoTriggerDisable=0",
    "iwpriv ra0 set WscSetupLock=1",
};

INSTANTIATE_TEST_SUITE_P(
    AccessPoint, OperationMode,
    ::testing::Values(Row{{{"WirelessOPMode", "1"}, {"OperatingBandAP", "1"}}, kAccessPointOn24},
                      Row{{{"WirelessOPMode", "1"}, {"OperatingBandAP", "3"}}, kAccessPointOn24},
                      Row{{{"WirelessOPMode", "1"}, {"OperatingBandAP", "2"}},
                          {"ifconfig ra0 down", "ifconfig apcli0 down"}},
                      // The other modes' bands do not count.
                      Row{{{"WirelessOPMode", "1"},
                           {"OperatingBandAP", "4"},
                           {"OperatingBandCli", "1"},
                           {"OperatingBandRepeater", "1"}},
                          {}},
                      Row{{{"WirelessOPMode", "1"}}, {}}));

INSTANTIATE_TEST_SUITE_P(
    Client, OperationMode,
    ::testing::Values(
        Row{{{"WirelessOPMode", "2"}, {"OperatingBandCli", "1"}},
            {"ifconfig ra0 down", "ifconfig ra1 down", "ifconfig ra2 down", "ifconfig ra3 down",
             "ifconfig apcli0 up", "brctl addif br0 apcli0",
             "call_qcsapi_sockrpc --host 1.1.1.2 run_script remote_command bringRfenableOff"}},
        Row{{{"WirelessOPMode", "2"}, {"OperatingBandCli", "2"}},
            {"ifconfig ra0 down", "ifconfig ra1 down", "ifconfig ra2 down", "ifconfig ra3 down",
             "ifconfig apcli0 down"}},
        Row{{{"WirelessOPMode", "2"}, {"OperatingBandCli", "3"}}, {}},
        Row{{{"WirelessOPMode", "2"}, {"OperatingBandAP", "1"}}, {}}));

// On band 1 the other networks share br1 with the uplink; on band 2 ra0 is not
// brought up again; an unknown band still opens WPS.
INSTANTIATE_TEST_SUITE_P(
    Repeater, OperationMode,
    ::testing::Values(
        Row{{{"WirelessOPMode", "3"}, {"OperatingBandRepeater", "1"}, {"WlanEnabled", "0;1"}},
            {"ifconfig ra0 down", "ifconfig apcli0 up", "brctl addbr br1", "ifconfig br1 up",
             "brctl addif br0 ra0", "brctl addif br1 ra1", "brctl addif br1 ra2",
             "brctl addif br1 ra3", "brctl addif br1 apcli0",
             "iwpriv ra0 set WscAutoTriggerDisable=0", "iwpriv ra0 set WscSetupLock=1"}},
        Row{{{"WirelessOPMode", "3"}, {"OperatingBandRepeater", "2"}},
            {"brctl addif br0 ra0", "brctl addif br0 ra1", "brctl addif br0 ra2",
             "brctl addif br0 ra3", "ifconfig apcli0 down",
             "iwpriv ra0 set WscAutoTriggerDisable=0", "iwpriv ra0 set WscSetupLock=1"}},
        Row{{{"WirelessOPMode", "3"}, {"OperatingBandRepeater", "3"}},
            {"ifconfig ra0 up", "ifconfig apcli0 up", "brctl addif br0 apcli0",
             "brctl addif br0 ra0", "brctl addif br0 ra1", "brctl addif br0 ra2",
             "brctl addif br0 ra3", "iwpriv ra0 set WscAutoTriggerDisable=0",
             "iwpriv ra0 set WscSetupLock=1"}},
        Row{{{"WirelessOPMode", "3"}, {"OperatingBandRepeater", "4"}}, kWpsOnly},
        Row{{{"WirelessOPMode", "3"}}, kWpsOnly}));

INSTANTIATE_TEST_SUITE_P(
    NoOther, OperationMode,
    ::testing::Values(Row{{{"WirelessOPMode", "4"}, {"OperatingBandAP", "1"}}, {}},
                      Row{{{"WirelessOPMode", "01"}, {"OperatingBandAP", "1"}}, {}},
                      Row{{{"OperatingBandAP", "1"}}, {}}));

}  // namespace
