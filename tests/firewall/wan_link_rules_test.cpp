// Segment sizes on PPP links, and the DHCP relay.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

namespace {

TEST(PathMtu, PppoeGetsARuleOfItsOwn) {
  const struct {
    const char *mode, *by_hand, *mtu, *mss;
  } kCases[] = {
      {"PPPOE", "1", "1400", "1360"},
      {"PPPOE", "2", "1400", "1452"},
      {"PPPOE", "", "", "1452"},
      {"PPPOE", "1", "", "-40"},  // not bounded
      {"PPPOE", "1", "-2147483648", "2147483608"},
      // The two rules for every PPP link stand in other modes too.
      {"DHCP", "1", "1400", ""},
      {"pppoe", "1", "1400", ""},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    device.settings(
        {{"wanConnectionMode", c.mode}, {"wan_MTU_manaul", c.by_hand}, {"wan_MTU", c.mtu}});
    iptablesPathMTU();
    std::string trace = std::string("ifname:, wanmode:") + c.mode + "\n", rule, mss = c.mss;
    if (!mss.empty()) {
      trace += "default:ppp0, WAN MTU:" + mss + "\n";
      rule = "\niptables -A FORWARD -p tcp -i ppp0 --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss " +
             mss + ":1536 -j TCPMSS --set-mss " + mss;
    }
    EXPECT_EQ(transcript(device), R"(
iptables -t filter -A FORWARD -o ppp+ -p tcp --tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu 1>/dev/null 2>&1)" +
                                      rule + R"(
iptables -A FORWARD -p tcp -i ppp+ --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1452:1536 -j TCPMSS --set-mss 1452)");
    EXPECT_EQ(device.console(), trace);
  }
}

TEST(DhcpRelay, ServersOnTheWanSideAnswerOnlyARelay) {
  sim::Device device;
  for (const char *settings : {"", "dhcpEnabled=0", "dhcpEnabled=1", "dhcpEnabled=22"}) {
    device.buffered(settingsOf(settings));
    iptablesDHCPRelayChainRun();
  }
  EXPECT_EQ(transcript(device), "");
}

}  // namespace
