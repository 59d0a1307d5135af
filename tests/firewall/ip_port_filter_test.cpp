#include "src/firewall/ip_port_filter.h"

#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

namespace {

const std::string kLog = "-j LOG --log-level DEBUG --log-prefix [FirewallLog]Filter:";

// Policy 2 adds no rules of its own around those of the records.
std::string rulesOf(const std::string &records, const char *more = "firewallAction=DROP") {
  sim::Device device;
  device.buffered(settingsOf("DefaultFirewallPolicy=2")).buffered(settingsOf(more));
  device.buffered({{"IPPortFilterRules", records}});
  iptablesIPPortFilterRun();
  return transcript(device);
}

// The rule for the log, and the rule itself.
std::string logged(const std::string &match, const std::string &target = "-j DROP") {
  return "\n" + match + kLog + "\n" + match + target;
}

// The chain and the state match go by type, action and stateful filtering; an
// unknown action drops, and rules for the router are never stateful.
TEST(IpPortFilter, HeadAndTargetFollowTheSettings) {
  const char *const kPlain = "iptables -A macipport_filter ";
  const char *const kStateful = "iptables -A macipport_filter -m state --state NEW,INVALID ";
  const char *const kRouter = "iptables -A macipport_input_filter ";
  const struct {
    const char *settings;
    std::string head;
    const char *target;
  } kCases[] = {
      {"firewallAction=DROP SPIFWEnabled=1 IPPortFilterType=LAN_TO_WAN", kStateful, "-j DROP"},
      {"firewallAction=DROP SPIFWEnabled=2 IPPortFilterType=", kStateful, "-j DROP"},
      {"firewallAction=DROP SPIFWEnabled=0 IPPortFilterType=LAN_TO_WAN", kPlain, "-j DROP"},
      {"firewallAction=ACCEPT SPIFWEnabled=1 IPPortFilterType=LAN_TO_WAN", kPlain, "-j ACCEPT"},
      {"firewallAction=reject SPIFWEnabled=1 IPPortFilterType=LAN_TO_WAN", kStateful, "-j DROP"},
      {"firewallAction=DROP SPIFWEnabled=1 IPPortFilterType=WAN_TO_WAN", kRouter, "-j DROP"},
  };
  for (const auto &c : kCases) {
    EXPECT_EQ(rulesOf("any/0,,0,0,192.168.1.5,,80,0,1,,,,,,", c.settings),
              logged(c.head + "-s any/0 -d 192.168.1.5 -p tcp --dport 80 ", c.target));
  }
}

TEST(IpPortFilter, WithoutRecordsOnlyThePolicyIsBuilt) {
  sim::Device device;
  iptablesIPPortFilterRun();
  EXPECT_EQ(transcript(device), "");
  EXPECT_EQ(device.printed(), "Warning: can't find \"IPPortFilterRules\" in flash.\n");
  EXPECT_EQ(rulesOf("", "DefaultFirewallPolicy="), R"(
iptables -t filter -A macipport_filter ! -i br+ -j ACCEPT
iptables -t filter -A macipport_input_filter ! -i br+ -j ACCEPT)");
  // Policy 1 accepts answers only where filtering is stateful.
  EXPECT_EQ(rulesOf("", "DefaultFirewallPolicy=1 SPIFWEnabled=1"), R"(
iptables -t filter -A macipport_input_filter -m state --state RELATED,ESTABLISHED -j ACCEPT
iptables -t filter -A macipport_filter -m state --state RELATED,ESTABLISHED -j ACCEPT
iptables -t filter -A macipport_filter -i lo -j ACCEPT
iptables -t filter -A macipport_input_filter -i lo -j ACCEPT)");
  EXPECT_EQ(rulesOf("", "DefaultFirewallPolicy=1"), R"(
iptables -t filter -A macipport_filter -i lo -j ACCEPT
iptables -t filter -A macipport_input_filter -i lo -j ACCEPT)");
}

TEST(IpPortFilter, PortsAndAddressesMakeTheirPartOfTheMatch) {
  const std::pair<const char *, const char *> kCases[] = {
      {"any,,1000,0,any,,0,0,1,,,,,,", "-s any -d any -p tcp --sport 1000 "},
      {"any,,1000,2000,any,,0,99,2,,,,,,", "-s any -d any -p udp --sport 1000:2000 "},
      {"any,,0,2000,any,,65535,0,2,,,,,,", "-s any -d any -p udp --dport 65535 "},
      {"any,,,,any,,,,1,,,,,,", "-s any -d any -p tcp "},
      // A prefix and a mask both stand; ports need a protocol that has them.
      {"10.0.0.0/8,24,0,0,any,,80,0,5,,,,,,", "-s 10.0.0.0/8/24 -d any  "},
      {"any,,80,0,any,,80,0,4,,,,,,", "-s any -d any -p icmp "},
      {"any,,0,0,any,,0,0,5,,,02:00:00:00:00:01,,,",
       "-m mac --mac-source 02:00:00:00:00:01 -s any -d any  "},
      {"any,,0,0,any,,0,0,5,,,,,02:00:00:00:00:01,02:00:00:00:00:09",
       "-m macrange --dst-macrange 02:00:00:00:00:01-02:00:00:00:00:09 -s any -d any  "},
      // The end of a MAC range means nothing alone.
      {"any,,0,0,any,,0,0,5,,,,02:00:00:00:00:01,,02:00:00:00:00:02", "-s any -d any  "},
      // A "-j" in a value is not the target's.
      {"any,24 -j `reboot`,0,0,any,,0,0,5,,,,,,", "-s any/'24 -j `reboot`' -d any  "},
      // Fields are cut: seven digits of a port, 31 characters of a mask.
      {"any,,00000808,0,any,,0,0,1,,,,,,", "-s any -d any -p tcp --sport 80 "},
      {"any,1234567890123456789012345678901x,0,0,any,,0,0,5,,,,,,",
       "-s any/1234567890123456789012345678901 -d any  "},
  };
  for (const auto &[record, match] : kCases) {
    EXPECT_EQ(rulesOf(record), logged(std::string("iptables -A macipport_filter ") + match));
  }
  EXPECT_EQ(rulesOf("any,24 -j ACCEPT;x,,0,0,any,,0,0,5,,,,,,"), "");
}

TEST(IpPortFilter, FaultyRecordsArePassedOverAndSayWhy) {
  const char *const kAddress = "is neither \"any\" nor an IPv4 address with a prefix of at most 32";
  const char *const kPort = "is not below 65536";
  const char *const kProtocol = "is not a protocol code: 1 TCP, 2 UDP, 4 ICMP, 5 any";
  const char *const kMac = "is not a MAC address";
  const struct {
    const char *record;
    int field;
    const char *reason;
  } kCases[] = {
      {"any,,0,0,any,,0,0,5,,,,,,", -1, nullptr},
      {",,0,0,any,,0,0,1,,,,,,", 0, kAddress},
      {"ANY,,0,0,any,,0,0,1,,,,,,", 0, kAddress},
      {"any,,65536,0,any,,0,0,1,,,,,,", 2, kPort},
      {"any,,0,0,10.0.0.0/33,,0,0,1,,,,,,", 4, kAddress},
      {"any,,0,0,any,,65536,0,1,,,,,,", 6, kPort},
      {"any,,0,0,any,,0,65536,1,,,,,,", 7, kPort},
      {"any,,0,0,any,,0,0,TCP,,,,,,", 8, kProtocol},
      {"any,,0,0,any,,0,0,1,,,00:0C:43:00:00:1,,,", 11, kMac},
      {"any,,0,0,any,,0,0,1,,,,00-0C-43-00-00-01,,", 12, kMac},
      {"any,,0,0,any,,0,0,1,,,,,00:0C:43:00:00:011,", 13, kMac},
      {"any,,0,0,any,,0,0,1,,,,,,00:0C:43:00:00:0g", 14, kMac},
      {"any,,0,0,any,,0,0,1,,,,,", 14, "is missing"},
      {"any,,0,0,any,,0,0,1", 11, "is missing"},
      {"any", 1, "is missing"},
      {"", -1, "is empty"},
  };
  const std::string kGood = logged("iptables -A macipport_filter -s any -d any  ");
  for (const auto &c : kCases) {
    orba::IpPortFilter filter;
    orba::RecordFault fault =
        orba::readIpPortFilter(orba::Record({c.record, strlen(c.record)}, 0), filter);
    EXPECT_EQ(fault.field, c.field) << c.record;
    EXPECT_STREQ(fault.reason, c.reason) << c.record;
    // The rule builder passes over the same records, and goes on behind them.
    EXPECT_EQ(rulesOf(std::string(c.record) + ";any,,0,0,any,,0,0,5,,,,,,"),
              c.reason == nullptr ? kGood + kGood : kGood);
  }
}

TEST(IpPortFilter, WhatIsCutIsToldThoughItCounts) {
  auto cutOf = [](const std::string &list) {
    orba::IpPortFilter filter;
    for (orba::Record record : orba::RuleList(list.c_str())) {
      EXPECT_EQ(orba::readIpPortFilter(record, filter).reason, nullptr);
    }
    return std::to_string(filter.cut.field) + " " + (faulty(filter.cut) ? filter.cut.reason : "");
  };
  EXPECT_EQ(cutOf("any,,1234,0,any,,0,0,1,,,,,,"), "-1 ");
  EXPECT_EQ(cutOf("any,,00001234,0,any,,0,0,1,,,,,,"), "2 is too long and loses its end");

  // 255 characters of a record count; what stands behind them is gone.
  const std::string kMac = "02:00:00:00:00:09";
  auto padded = [&](size_t length) {
    std::string front = "any,,0,0,any,,0,0,5,", back = ",,,," + kMac + ",";
    return front + std::string(length - front.size() - back.size(), 'x') + back;
  };
  const std::string kRule =
      logged("iptables -A macipport_filter -m mac --mac-destination " + kMac + " -s any -d any  ");
  EXPECT_EQ(rulesOf(padded(255)), kRule);
  EXPECT_EQ(rulesOf(padded(256)), "");  // the last field is missing
  // Cut inside a field that makes it another, whole, one.
  EXPECT_EQ(rulesOf(padded(255) + kMac), kRule);
  EXPECT_EQ(cutOf(padded(255) + kMac), "-1 is longer than 255 characters and loses its end");
}

// ---- one rule for strangers ----

// Of every size that a caller may have, and of no more.
std::string ruleOf(const char *source_mac, const char *source, const char *source_mask, int port,
                   int protocol, int action, int size = 1024) {
  std::string output(static_cast<size_t>(size) + 1, '#');
  makeIPPortFilterRule(output.data(), size, source_mac, "", "", "", source, source_mask, 0, 0,
                       "any", "", port, 0, protocol, action);
  EXPECT_EQ(output.back(), '#') << size;
  return output.c_str();
}

TEST(MakeIPPortFilterRule, WritesWhatItsArgumentsName) {
  sim::Device device;
  char output[1024];
  makeIPPortFilterRule(output, sizeof output, "00:0C:43:00:00:01", "00:0C:43:00:00:02",
                       "00:0C:43:00:00:03", "00:0C:43:00:00:04", "10.0.0.1", "32", 1, 2, "10.0.0.0",
                       "8", 3, 4, 2, 1);
  EXPECT_STREQ(output,
               "iptables -A macipport_filter "
               "-m macrange --src-macrange 00:0C:43:00:00:01-00:0C:43:00:00:02 "
               "-m macrange --dst-macrange 00:0C:43:00:00:03-00:0C:43:00:00:04 "
               "-s 10.0.0.1/32 -d 10.0.0.0/8 -p udp --sport 1:2 --dport 3:4 -j ACCEPT");
  // Missing texts are empty ones, and match everything.
  makeIPPortFilterRule(output, sizeof output, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       0, 0, nullptr, nullptr, 0, 0, 1, 0);
  EXPECT_STREQ(output, "iptables -A macipport_filter -p tcp -j DROP");
  EXPECT_EQ(ruleOf("x -j ACCEPT", "any", "", 0, 1, 0),
            "iptables -A macipport_filter -m mac --mac-source 'x -j ACCEPT' -s any -d any -p tcp "
            "-j DROP");
  // A mask without an address, a protocol or an action that is none.
  EXPECT_EQ(ruleOf("", "", "24", 0, 5, 0), "iptables -A macipport_filter -d any  -j DROP");
  EXPECT_EQ(ruleOf("", "any", "", 80, 3, 0), "iptables -A macipport_filter -s any -d any ");
  EXPECT_EQ(ruleOf("", "any", "", 0, 1, 2), "-s any -d any -p tcp ");
  device.settings({{"IPPortFilterType", "WAN_TO_WAN"}});
  EXPECT_EQ(ruleOf("", "any", "", 0, 1, 2),
            "iptables -A macipport_input_filter -s any -d any -p tcp ");
}

// Nothing of a rule is better than its beginning.
TEST(MakeIPPortFilterRule, WritesAWholeRuleOrNoneIntoAnySize) {
  sim::Device device;
  const std::string kRule = "iptables -A macipport_filter -s any -d any -p tcp -j DROP";
  for (int size = 1; size <= 80; size++) {
    EXPECT_EQ(ruleOf("", "any", "", 0, 1, 0, size),
              size > static_cast<int>(kRule.size()) ? kRule : "");
  }
  for (int size : {0, -1}) {
    char output[] = "#";
    makeIPPortFilterRule(output, size, "", "", "", "", "", "", 0, 0, "", "", 0, 0, 1, 0);
    EXPECT_STREQ(output, "#");
  }
  makeIPPortFilterRule(nullptr, 10, "", "", "", "", "", "", 0, 0, "", "", 0, 0, 1, 0);
  EXPECT_EQ(ruleOf(std::string(5000, 'x').c_str(), "any", "", 0, 1, 0, 8192), "");
  EXPECT_EQ(ruleOf("", "any", std::string(5000, '\'').c_str(), 0, 1, 0, 8192), "");
}

// ---- addresses ----

TEST(Addresses, MacsAreSixPairsWithColons) {
  EXPECT_EQ(isMacValid("aa:bB:0C:43:20:ff"), 1);
  for (const char *bad :
       {"", "000C:43:76:20:58:", "00:0C:43:76:20 58", static_cast<const char *>(nullptr)}) {
    EXPECT_EQ(isMacValid(bad), 0);
  }
}

TEST(Addresses, IpMayHaveAPrefixAndOnlyAWrongAddressIsPrinted) {
  sim::Device device;
  for (const char *valid :
       {"any", "any/0", "192.168.1.1", "10.0.0.0/8", "10.0.0.0/0", "10.0.0.0/32",
        "10.1",  // the short forms of addresses
        // 32 characters count, so the letter behind them is not seen.
        "10.0.0.1/0000000000000000000000024x"}) {
    EXPECT_EQ(isIpNetmaskValid(valid), 1) << valid;
  }
  for (const char *refused : {"any/8", "10.0.0.0/33", "10.0.0.0/99999999999", "10.0.0.0/8/8",
                              "10.0.0.0/", "10.0.0.0/8.", "10.0.0.x", "10.0.0.1 ", ""}) {
    EXPECT_EQ(isIpNetmaskValid(refused), 0) << refused;
  }
  EXPECT_EQ(isIpNetmaskValid(nullptr), 0);
  EXPECT_EQ(device.printed(), "");
  EXPECT_EQ(isIpNetmaskValid("10.0.0.256/24") + isIpNetmaskValid("/24"), 0);
  EXPECT_EQ(device.printed(),
            "isIpNetmaskValid(): 10.0.0.256 is not a valid IP address.\n"
            "isIpNetmaskValid():  is not a valid IP address.\n");
}

}  // namespace
