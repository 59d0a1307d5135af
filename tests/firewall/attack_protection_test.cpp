// What firewall_test.cpp's gateway, with every defence on, leaves out.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

namespace {

const sim::Settings kAllOff = settingsOf(
    "WANPingFilter=0 LANPingFilter=0 BlockPortScan=0 BlockSynFlood=0 BlockPingofDeath=0 "
    "BlockLAND=0");

constexpr char kPingsAnswered[] = R"(
iptables -A malicious_input_filter -i ! br+ -p icmp --icmp-type echo-request -j ACCEPT
iptables -A malicious_input_filter -i br+ -p icmp --icmp-type echo-request -j ACCEPT)";

TEST(AttackProtection, SwitchedOffItAnswersPings) {
  const struct {
    const char *key, *value, *commands;
  } kCases[] = {
      {"BlockLAND", "0", kPingsAnswered},
      {"LANPingFilter", "1", R"(
iptables -A malicious_input_filter -i ! br+ -p icmp --icmp-type echo-request -j ACCEPT
iptables -A malicious_input_filter -i br+ -p icmp --icmp-type echo-request -j DROP)"},
      // Three switches may be missing; without one of the others nothing is done.
      {"LANPingFilter", nullptr, kPingsAnswered},
      {"BlockPingofDeath", nullptr, kPingsAnswered},
      {"BlockLAND", nullptr, kPingsAnswered},
      {"WANPingFilter", nullptr, ""},
      {"BlockPortScan", nullptr, ""},
      {"BlockSynFlood", nullptr, ""},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    device.buffered(kAllOff).remove(c.key);
    if (c.value != nullptr) device.buffered({{c.key, c.value}});
    iptablesMaliciousFilterRun();
    EXPECT_EQ(transcript(device), c.commands) << c.key;
    EXPECT_THAT(device.pipes(), testing::IsEmpty());
  }
}

TEST(AttackProtection, LandNeedsAWanThatIsUpWithItsOwnAddress) {
  const struct {
    const char *situation, *mode, *address, *link, *guarded;
  } kCases[] = {
      {"a PPP link that is up", "PPPOE", "10.64.65.1", "value=0x1", "10.64.65.1"},
      {"a PPP link under negotiation", "PPPOE", "10.64.64.64", "value=0x1", ""},
      {"the same address, honestly", "STATIC", "10.64.64.64", "value=0x1", "10.64.64.64"},
      {"a WAN without link", "STATIC", "203.0.113.9", "value=0x0", ""},
      {"a WAN without address", "STATIC", "", "value=0x1", ""},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    device.settings(kAllOff).answer("switch reg r 3608", c.link);
    device.settings({{"BlockLAND", "1"}, {"OperationMode", "1"}, {"wanConnectionMode", c.mode}});
    if (*c.address != '\0') {
      device.interface(*c.mode == 'P' ? "ppp0" : "eth2.2").address(c.address);
    }
    iptablesMaliciousFilterRun();
    std::string guarded = c.guarded;
    std::string rule = "\niptables -A malicious_input_filter ! -i br+ -s " + guarded + " -d " +
                       guarded + " -j DROP";
    EXPECT_EQ(transcript(device), kPingsAnswered + (guarded.empty() ? "" : rule)) << c.situation;
  }
}

}  // namespace
