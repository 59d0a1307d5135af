#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/firewall/transcript.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char *const kSynCookies = "/proc/sys/net/ipv4/tcp_syncookies";

sim::Settings allOff() {
  return {{"WANPingFilter", "0"}, {"LANPingFilter", "0"},    {"BlockPortScan", "0"},
          {"BlockSynFlood", "0"}, {"BlockPingofDeath", "0"}, {"BlockLAND", "0"}};
}

TEST(AttackProtection, BuildsEveryDefence) {
  sim::Device device;
  device.settings({{"WANPingFilter", "1"},
                   {"LANPingFilter", "1"},
                   {"BlockPortScan", "1"},
                   {"BlockSynFlood", "1"},
                   {"BlockPingofDeath", "1"},
                   {"BlockLAND", "1"},
                   {"OperationMode", "1"}});
  device.interface("eth2.2").address("203.0.113.9");
  device.answer("switch reg r 3608", "value=0x1\n");
  device.file(kSynCookies, "0\n");
  iptablesMaliciousFilterRun();
  EXPECT_EQ(transcript(device), lines(R"(
iptables -A malicious_input_filter -i ! br+ -p icmp --icmp-type echo-request -j DROP
iptables -A malicious_input_filter -i br+ -p icmp --icmp-type echo-request -j DROP
iptables -A malicious_filter -p tcp --tcp-flags ALL FIN,URG,PSH -j DROP
iptables -A malicious_filter -p tcp --tcp-flags ALL SYN,RST,ACK,FIN,URG -j DROP
iptables -A malicious_filter -p tcp --tcp-flags ALL NONE -j DROP
iptables -A malicious_filter -p tcp --tcp-flags SYN,RST SYN,RST -j DROP
iptables -A malicious_filter -p tcp --tcp-flags SYN,FIN SYN,FIN -j DROP
iptables -A malicious_input_filter -p tcp --tcp-flags ALL FIN,URG,PSH -j DROP
iptables -A malicious_input_filter -p tcp --tcp-flags ALL SYN,RST,ACK,FIN,URG -j DROP
iptables -A malicious_input_filter -p tcp --tcp-flags ALL NONE -j DROP
iptables -A malicious_input_filter -p tcp --tcp-flags SYN,RST SYN,RST -j DROP
iptables -A malicious_input_filter -p tcp --tcp-flags SYN,FIN SYN,FIN -j DROP
echo 1 > /proc/sys/net/ipv4/tcp_syncookies
iptables -A PING_DEATH -p icmp -m length ! --length 0:1536 -j DROP
iptables -A PING_DEATH -p icmp --icmp-type echo-request -m limit --limit 1/s -j RETURN
iptables -A PING_DEATH -p icmp -j DROP
iptables -A malicious_input_filter -p icmp --icmp-type echo-request -m state --state NEW -j PING_DEATH
iptables -A malicious_filter -p icmp --icmp-type echo-request -m state --state NEW -j PING_DEATH
iptables -A malicious_input_filter ! -i br+ -s 203.0.113.9 -d 203.0.113.9 -j DROP
)"));
  EXPECT_EQ(device.text(kSynCookies), "1\n");
}

TEST(AttackProtection, SwitchedOffItAnswersPings) {
  sim::Device device;
  device.settings(allOff());
  iptablesMaliciousFilterRun();
  const char *const kWan =
      "iptables -A malicious_input_filter -i ! br+ -p icmp --icmp-type echo-request -j ACCEPT";
  const char *const kLan =
      "iptables -A malicious_input_filter -i br+ -p icmp --icmp-type echo-request -j ACCEPT";
  EXPECT_THAT(device.commands(), ElementsAre(kWan, kLan));
  EXPECT_THAT(device.pipes(), IsEmpty());

  // Three switches may be missing; without one of the others nothing is done.
  device.forget();
  device.remove("LANPingFilter").remove("BlockPingofDeath").remove("BlockLAND");
  iptablesMaliciousFilterRun();
  EXPECT_THAT(device.commands(), ElementsAre(kWan, kLan));
  for (const char *key : {"WANPingFilter", "BlockPortScan", "BlockSynFlood"}) {
    sim::Device other;
    other.settings(allOff()).remove(key);
    iptablesMaliciousFilterRun();
    EXPECT_THAT(other.commands(), IsEmpty()) << key;
  }
}

TEST(AttackProtection, LandNeedsAWanThatIsUpWithItsOwnAddress) {
  struct {
    const char *situation, *mode, *address, *link, *guarded;
  } const kCases[] = {
      {"a PPP link that is up", "PPPOE", "10.64.65.1", "value=0x1", "10.64.65.1"},
      {"a PPP link under negotiation", "PPPOE", "10.64.64.64", "value=0x1", ""},
      {"the same address, honestly", "STATIC", "10.64.64.64", "value=0x1", "10.64.64.64"},
      {"a WAN without link", "STATIC", "203.0.113.9", "value=0x0", ""},
      {"a WAN without address", "STATIC", "", "value=0x1", ""},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    device.settings(allOff());
    device.settings({{"BlockLAND", "1"}, {"OperationMode", "1"}, {"wanConnectionMode", c.mode}});
    if (*c.address != '\0') {
      device.interface(*c.mode == 'P' ? "ppp0" : "eth2.2").address(c.address);
    }
    device.answer("switch reg r 3608", c.link);
    iptablesMaliciousFilterRun();
    std::vector<std::string> commands = device.commands();
    ASSERT_EQ(commands.size(), *c.guarded != '\0' ? 3u : 2u) << c.situation;
    std::string address = c.guarded;
    std::string rule =
        "iptables -A malicious_input_filter ! -i br+ -s " + address + " -d " + address + " -j DROP";
    if (!address.empty()) {
      EXPECT_EQ(commands[2], rule);
    }
  }
}

TEST(AttackProtection, TheFlushLeavesTheSynJumpsAndNoSynCookies) {
  sim::Device device;
  device.file(kSynCookies, "1\n");
  iptablesMaliciousFilterFlush();
  EXPECT_EQ(transcript(device), lines(R"(
iptables -F malicious_filter  1>/dev/null 2>&1
iptables -F synflood_filter  1>/dev/null 2>&1
iptables -A malicious_filter -p tcp --syn -j synflood_filter 1>/dev/null 2>&1
iptables -F malicious_input_filter  1>/dev/null 2>&1
iptables -F synflood_input_filter  1>/dev/null 2>&1
iptables -A malicious_input_filter -p tcp --syn -j synflood_input_filter 1>/dev/null 2>&1
iptables -F PING_DEATH  1>/dev/null 2>&1
echo 0 > /proc/sys/net/ipv4/tcp_syncookies
)"));
  EXPECT_EQ(device.text(kSynCookies), "0\n");
}

}  // namespace
