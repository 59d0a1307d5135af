// Segment sizes on PPP links, and the DHCP relay.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char *const kClamp =
    "iptables -t filter -A FORWARD -o ppp+ -p tcp --tcp-flags SYN,RST SYN -j TCPMSS "
    "--clamp-mss-to-pmtu 1>/dev/null 2>&1";
const char *const kFixed =
    "iptables -A FORWARD -p tcp -i ppp+ --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1452:1536 "
    "-j TCPMSS --set-mss 1452";

TEST(PathMtu, PppoeGetsARuleOfItsOwn) {
  struct {
    const char *by_hand, *mtu, *mss;
  } const kCases[] = {
      {"1", "1400", "1360"},
      {"0", "1400", "1452"},
      {"", "", "1452"},
      {"1", "", "-40"},  // not bounded
      {"1", "-2147483648", "2147483608"},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    device.settings(
        {{"wanConnectionMode", "PPPOE"}, {"wan_MTU_manaul", c.by_hand}, {"wan_MTU", c.mtu}});
    iptablesPathMTU();
    std::string mss = c.mss;
    EXPECT_THAT(device.commands(),
                ElementsAre(kClamp,
                            "iptables -A FORWARD -p tcp -i ppp0 --tcp-flags SYN,ACK SYN,ACK "
                            "-m tcpmss --mss " +
                                mss + ":1536 -j TCPMSS --set-mss " + mss,
                            kFixed));
    EXPECT_EQ(device.console(), "ifname:, wanmode:PPPOE\ndefault:ppp0, WAN MTU:" + mss + "\n");
  }
}

TEST(PathMtu, OtherModesGetTheTwoForEveryPppLink) {
  for (const char *mode : {"DHCP", "L2TP", "pppoe", ""}) {
    sim::Device device;
    device.settings({{"wanConnectionMode", mode}, {"wan_MTU_manaul", "1"}, {"wan_MTU", "1400"}});
    iptablesPathMTU();
    EXPECT_THAT(device.commands(), ElementsAre(kClamp, kFixed));
    EXPECT_EQ(device.console(), "ifname:, wanmode:" + std::string(mode) + "\n");
  }
  sim::Device unset;
  iptablesPathMTU();
  EXPECT_THAT(unset.commands(), ElementsAre(kClamp, kFixed));
}

TEST(DhcpRelay, ServersOnTheWanSideAnswerOnlyARelay) {
  sim::Device device;
  iptablesDHCPRelayChainRun();
  for (const char *off : {"0", "1", "22", ""}) {
    device.settings({{"dhcpEnabled", off}});
    iptablesDHCPRelayChainRun();
  }
  EXPECT_THAT(device.commands(), IsEmpty());
  device.settings({{"dhcpEnabled", "2"}});
  iptablesDHCPRelayChainRun();
  iptablesDHCPRelayChainFlush();
  EXPECT_THAT(device.commands(),
              ElementsAre("iptables -t filter -A dhcp_relay_chain ! -i br+ -p udp --sport 67 "
                          "--dport 67 -j ACCEPT",
                          "iptables -F dhcp_relay_chain"));
}

}  // namespace
