#include "src/firewall/ip_port_filter.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/firewall/transcript.h"

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::Pair;
using testing::StrEq;

namespace {

const char *const kLog = "-j LOG --log-level DEBUG --log-prefix [FirewallLog]Filter:";

// Policy 2 adds no rules of its own around those of the records.
sim::Settings filterSettings(const std::string &rules) {
  return {{"IPPortFilterRules", rules},
          {"firewallAction", "DROP"},
          {"DefaultFirewallPolicy", "2"},
          {"SPIFWEnabled", "0"},
          {"IPPortFilterType", "LAN_TO_WAN"}};
}

// What one record becomes in front of its target, empty when it makes no rule.
std::string matchOf(const std::string &record, const sim::Settings &more = {}) {
  sim::Device device;
  device.settings(filterSettings(record)).settings(more);
  iptablesIPPortFilterRun();
  std::vector<std::string> commands = device.commands();
  if (commands.empty()) return "";
  EXPECT_EQ(commands.size(), 2u) << record;
  std::string match = commands[0].substr(0, commands[0].rfind(kLog));
  EXPECT_EQ(commands[0], match + kLog);
  EXPECT_THAT(commands[1], AnyOf(match + "-j DROP", match + "-j ACCEPT"));
  return match;
}

TEST(IpPortFilter, BuildsTheListBetweenAnswersAndLoopback) {
  sim::Device device;
  device.settings({{"IPPortFilterRules",
                    // A LAN host's web, a range of MACs by name server, a ping, and
                    // everything from a network; then what the page leaves behind.
                    "192.168.1.20,,0,0,any/0,,80,443,1,,,,,,;"
                    "any,,1024,65535,10.0.0.0/8,,53,0,2,1,x,00:0C:43:00:00:01,00:0C:43:00:00:FF,,;"
                    "any/0,,7,7,192.168.1.5,32,7,7,4,,,,,aa:bb:cc:dd:ee:ff,;"
                    "172.16.0.0,255.240.0.0,5,6,any,,7,8,5,,,,,"
                    "02:00:00:00:00:01,02:00:00:00:00:09;"},
                   {"firewallAction", "ACCEPT"},
                   {"DefaultFirewallPolicy", "1"},
                   {"SPIFWEnabled", "1"},
                   {"OperationMode", "2"}});
  iptablesIPPortFilterRun();
  EXPECT_EQ(transcript(device), lines(R"(
iptables -t filter -A macipport_input_filter -m state --state RELATED,ESTABLISHED -j ACCEPT
iptables -t filter -A macipport_filter -m state --state RELATED,ESTABLISHED -j ACCEPT
iptables -A macipport_filter -s 192.168.1.20 -d any/0 -p tcp --dport 80:443 -j LOG --log-level DEBUG --log-prefix [FirewallLog]Filter:
iptables -A macipport_filter -s 192.168.1.20 -d any/0 -p tcp --dport 80:443 -j ACCEPT
iptables -A macipport_filter -m macrange --src-macrange 00:0C:43:00:00:01-00:0C:43:00:00:FF -s any -d 10.0.0.0/8 -p udp --sport 1024:65535 --dport 53 -j LOG --log-level DEBUG --log-prefix [FirewallLog]Filter:
iptables -A macipport_filter -m macrange --src-macrange 00:0C:43:00:00:01-00:0C:43:00:00:FF -s any -d 10.0.0.0/8 -p udp --sport 1024:65535 --dport 53 -j ACCEPT
iptables -A macipport_filter -m mac --mac-destination aa:bb:cc:dd:ee:ff -s any/0 -d 192.168.1.5/32 -p icmp -j LOG --log-level DEBUG --log-prefix [FirewallLog]Filter:
iptables -A macipport_filter -m mac --mac-destination aa:bb:cc:dd:ee:ff -s any/0 -d 192.168.1.5/32 -p icmp -j ACCEPT
iptables -A macipport_filter -m macrange --dst-macrange 02:00:00:00:00:01-02:00:00:00:00:09 -s 172.16.0.0/255.240.0.0 -d any  -j LOG --log-level DEBUG --log-prefix [FirewallLog]Filter:
iptables -A macipport_filter -m macrange --dst-macrange 02:00:00:00:00:01-02:00:00:00:00:09 -s 172.16.0.0/255.240.0.0 -d any  -j ACCEPT
iptables -t filter -A macipport_filter -i lo -j ACCEPT
iptables -t filter -A macipport_input_filter -i lo -j ACCEPT
)"));
  EXPECT_EQ(device.printed() + device.console(), "");
}

// The chain and the state match go by type, action and stateful filtering; an
// unknown action drops, and rules for the router are never stateful.
TEST(IpPortFilter, HeadAndTargetFollowTheSettings) {
  const std::string kRecord = "any/0,,0,0,192.168.1.5,,80,0,1,,,,,,";
  const std::string kMatch = "-s any/0 -d 192.168.1.5 -p tcp --dport 80 ";
  const std::string kStateful = "iptables -A macipport_filter -m state --state NEW,INVALID ";
  struct {
    const char *action, *stateful, *type;
    std::string head, target;
  } const kCases[] = {
      {"DROP", "1", "LAN_TO_WAN", kStateful, "-j DROP"},
      {"DROP", "2", "", kStateful, "-j DROP"},
      {"DROP", "0", "LAN_TO_WAN", "iptables -A macipport_filter ", "-j DROP"},
      {"ACCEPT", "1", "LAN_TO_WAN", "iptables -A macipport_filter ", "-j ACCEPT"},
      {"reject", "1", "LAN_TO_WAN", kStateful, "-j DROP"},
      {"DROP", "1", "WAN_TO_WAN", "iptables -A macipport_input_filter ", "-j DROP"},
      {"ACCEPT", "0", "WAN_TO_WAN", "iptables -A macipport_input_filter ", "-j ACCEPT"},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    device.settings({{"IPPortFilterRules", kRecord},
                     {"firewallAction", c.action},
                     {"DefaultFirewallPolicy", "2"},
                     {"SPIFWEnabled", c.stateful},
                     {"IPPortFilterType", c.type}});
    iptablesIPPortFilterRun();
    EXPECT_THAT(device.commands(), ElementsAre(c.head + kMatch + kLog, c.head + kMatch + c.target));
  }
}

TEST(IpPortFilter, WithoutRecordsOnlyThePolicyIsBuilt) {
  sim::Device device;
  iptablesIPPortFilterRun();
  EXPECT_THAT(device.commands(), IsEmpty());
  EXPECT_EQ(device.printed(), "Warning: can't find \"IPPortFilterRules\" in flash.\n");

  // Nothing else set: policy 0.
  device.settings({{"IPPortFilterRules", ""}});
  iptablesIPPortFilterRun();
  EXPECT_THAT(device.commands(),
              ElementsAre("iptables -t filter -A macipport_filter ! -i br+ -j ACCEPT",
                          "iptables -t filter -A macipport_input_filter ! -i br+ -j ACCEPT"));

  // Policy 1 accepts answers only where filtering is stateful.
  device.forget();
  device.settings({{"DefaultFirewallPolicy", "1"}});
  iptablesIPPortFilterRun();
  EXPECT_THAT(device.commands(),
              ElementsAre("iptables -t filter -A macipport_filter -i lo -j ACCEPT",
                          "iptables -t filter -A macipport_input_filter -i lo -j ACCEPT"));
}

TEST(IpPortFilter, PortsAndAddressesMakeTheirPartOfTheMatch) {
  const std::string kHead = "iptables -A macipport_filter ";
  struct {
    const char *record;
    const char *match;
  } const kCases[] = {
      {"any,,1000,0,any,,0,0,1,,,,,,", "-s any -d any -p tcp --sport 1000 "},
      {"any,,1000,2000,any,,0,99,2,,,,,,", "-s any -d any -p udp --sport 1000:2000 "},
      {"any,,0,2000,any,,65535,0,2,,,,,,", "-s any -d any -p udp --dport 65535 "},
      {"any,,,,any,,,,1,,,,,,", "-s any -d any -p tcp "},
      // A prefix and a mask both stand; ports need a protocol that has them.
      {"10.0.0.0/8,24,0,0,any,,80,0,5,,,,,,", "-s 10.0.0.0/8/24 -d any  "},
      {"any,,80,0,any,,80,0,4,,,,,,", "-s any -d any -p icmp "},
      // The end of a MAC range means nothing alone.
      {"any,,0,0,any,,0,0,5,,,,02:00:00:00:00:01,,02:00:00:00:00:02", "-s any -d any  "},
      // Values are words to the shell, and a "-j" in one is not the target's.
      {"any,24 -j ACCEPT;x,,0,0,any,,0,0,5,,,,,,", ""},
      {"any,24 -j `reboot`,0,0,any,,0,0,5,,,,,,", "-s any/'24 -j `reboot`' -d any  "},
      {"any,-j,0,0,any,'-j,0,0,5,,,,,,", "-s any/-j -d any/''\\''-j'  "},
      // Fields are cut: seven digits of a port, 31 characters of a mask.
      {"any,,00000808,0,any,,0,0,1,,,,,,", "-s any -d any -p tcp --sport 80 "},
      {"any,1234567890123456789012345678901x,0,0,any,,0,0,5,,,,,,",
       "-s any/1234567890123456789012345678901 -d any  "},
  };
  for (const auto &c : kCases) {
    std::string expected = *c.match != '\0' ? kHead + c.match : "";
    EXPECT_EQ(matchOf(c.record), expected) << c.record;
  }
}

TEST(IpPortFilter, FaultyRecordsArePassedOverAndSayWhy) {
  const char *const kAddress = "is neither \"any\" nor an IPv4 address with a prefix of at most 32";
  const char *const kPort = "is not below 65536";
  const char *const kProtocol = "is not a protocol code: 1 TCP, 2 UDP, 4 ICMP, 5 any";
  const char *const kMac = "is not a MAC address";
  struct {
    const char *record;
    int field;
    const char *reason;
  } const kCases[] = {
      {"any,,0,0,any,,0,0,1,,,,,,", -1, nullptr},
      {",,0,0,any,,0,0,1,,,,,,", 0, kAddress},
      {"ANY,,0,0,any,,0,0,1,,,,,,", 0, kAddress},
      {"any,,65536,0,any,,0,0,1,,,,,,", 2, kPort},
      {"any,,0,99999999999,any,,0,0,1,,,,,,", 3, kPort},
      {"any,,0,0,10.0.0.0/33,,0,0,1,,,,,,", 4, kAddress},
      {"any,,0,0,any,,65536,0,1,,,,,,", 6, kPort},
      {"any,,0,0,any,,0,65536,1,,,,,,", 7, kPort},
      {"any,,0,0,any,,0,0,3,,,,,,", 8, kProtocol},
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
  for (const auto &c : kCases) {
    sim::Device device;
    orba::IpPortFilter filter;
    orba::Record record({c.record, strlen(c.record)}, 0);
    orba::RecordFault fault = orba::readIpPortFilter(record, filter);
    EXPECT_EQ(fault.field, c.field) << c.record;
    EXPECT_STREQ(fault.reason, c.reason) << c.record;
    // The rule builder passes over the same records, and goes on behind them.
    device.settings(filterSettings(std::string(c.record) + ";any,,0,0,any,,0,0,5,,,,,,"));
    iptablesIPPortFilterRun();
    EXPECT_EQ(device.commands().size(), c.reason == nullptr ? 4u : 2u) << c.record;
  }
}

TEST(IpPortFilter, WhatIsCutIsToldThoughItCounts) {
  auto cutOf = [](const std::string &list) {
    orba::IpPortFilter filter;
    for (orba::Record record : orba::RuleList(list.c_str())) {
      EXPECT_EQ(orba::readIpPortFilter(record, filter).reason, nullptr);
    }
    return std::make_pair(filter.cut.field, filter.cut.reason);
  };
  const std::string kWhole = "any,,1234,0,any,,0,0,1,,,,,,";
  EXPECT_THAT(cutOf(kWhole), Pair(-1, IsNull()));
  EXPECT_THAT(cutOf("any,,00001234,0,any,,0,0,1,,,,,,"),
              Pair(2, StrEq("is too long and loses its end")));
  std::string note(230, 'x');
  EXPECT_THAT(cutOf("any,,0,0,any,,0,0,1,," + note + ",,,,02:00:00:00:00:01"),
              Pair(-1, StrEq("is longer than 255 characters and loses its end")));
}

// 255 characters of a record count; what stands behind them is gone.
TEST(IpPortFilter, LongRecordsAreCutAtTheirEnd) {
  const std::string kMac = "02:00:00:00:00:09";
  auto padded = [&](size_t length) {
    std::string front = "any,,0,0,any,,0,0,5,", back = ",,,," + kMac + ",";
    return front + std::string(length - front.size() - back.size(), 'x') + back;
  };
  const std::string kRule = "iptables -A macipport_filter -m mac --mac-destination " + kMac;
  EXPECT_EQ(matchOf(padded(255)), kRule + " -s any -d any  ");
  EXPECT_EQ(matchOf(padded(256)), "");  // the last field is missing
  // Cut inside a field that makes it another, whole, one.
  EXPECT_EQ(matchOf(padded(255) + kMac), kRule + " -s any -d any  ");
}

TEST(IpPortFilter, ListsMayBeLong) {
  sim::Device device;
  std::string rules;
  for (int i = 0; i < 2000; i++) rules += "any,,0,0,any,,80,0,1,,,,,,;";
  device.settings(filterSettings(rules));
  iptablesIPPortFilterRun();
  EXPECT_EQ(device.commands().size(), 4000u);
}

TEST(IpPortFilter, TheFlushEmptiesBothChains) {
  sim::Device device;
  iptablesIPPortFilterFlush();
  EXPECT_THAT(device.commands(),
              ElementsAre("iptables -F macipport_filter 1>/dev/null 2>&1",
                          "iptables -F macipport_input_filter 1>/dev/null 2>&1"));
}

// ---- one rule for strangers ----

struct RuleArguments {
  const char *source_mac = "", *source_mac_end = "", *destination_mac = "",
             *destination_mac_end = "", *source = "any", *source_mask = "";
  int source_port = 0, source_port_end = 0;
  const char *destination = "any", *destination_mask = "";
  int destination_port = 0, destination_port_end = 0, protocol = 1, action = 0;
};

void makeRule(char *output, int size, const RuleArguments &a) {
  makeIPPortFilterRule(output, size, a.source_mac, a.source_mac_end, a.destination_mac,
                       a.destination_mac_end, a.source, a.source_mask, a.source_port,
                       a.source_port_end, a.destination, a.destination_mask, a.destination_port,
                       a.destination_port_end, a.protocol, a.action);
}

std::string ruleOf(const RuleArguments &arguments) {
  char output[1024];
  makeRule(output, sizeof output, arguments);
  return output;
}

TEST(MakeIPPortFilterRule, WritesWhatItsArgumentsName) {
  sim::Device device;
  EXPECT_EQ(ruleOf({.source_mac = "00:0C:43:00:00:01",
                    .source_mac_end = "00:0C:43:00:00:02",
                    .destination_mac = "00:0C:43:00:00:03",
                    .destination_mac_end = "00:0C:43:00:00:04",
                    .source = "10.0.0.1",
                    .source_mask = "32",
                    .source_port = 1,
                    .source_port_end = 2,
                    .destination = "10.0.0.0",
                    .destination_mask = "8",
                    .destination_port = 3,
                    .destination_port_end = 4,
                    .protocol = 2,
                    .action = 1}),
            "iptables -A macipport_filter "
            "-m macrange --src-macrange 00:0C:43:00:00:01-00:0C:43:00:00:02 "
            "-m macrange --dst-macrange 00:0C:43:00:00:03-00:0C:43:00:00:04 "
            "-s 10.0.0.1/32 -d 10.0.0.0/8 -p udp --sport 1:2 --dport 3:4 -j ACCEPT");
  // Missing texts are empty ones, and match everything.
  EXPECT_EQ(ruleOf({nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr, nullptr}),
            "iptables -A macipport_filter -p tcp -j DROP");
  EXPECT_EQ(ruleOf({.source = "", .source_mask = "24", .protocol = 5}),
            "iptables -A macipport_filter -d any  -j DROP");
  // A mask without an address, a protocol or an action that is none.
  EXPECT_EQ(ruleOf({.destination_port = 80, .protocol = 3}),
            "iptables -A macipport_filter -s any -d any ");
  EXPECT_EQ(ruleOf({.action = 2}), "-s any -d any -p tcp ");
  device.settings({{"IPPortFilterType", "WAN_TO_WAN"}});
  EXPECT_EQ(ruleOf({.action = 2}), "iptables -A macipport_input_filter -s any -d any -p tcp ");
}

// Nothing of a rule is better than its beginning.
TEST(MakeIPPortFilterRule, WritesAWholeRuleOrNoneIntoAnySize) {
  sim::Device device;
  const std::string kRule = "iptables -A macipport_filter -s any -d any -p tcp -j DROP";
  for (int size = 0; size <= 80; size++) {
    std::vector<char> output(static_cast<size_t>(size) + 1, '#');
    makeRule(output.data(), size, {});
    if (size > 0) {
      EXPECT_EQ(std::string(output.data()), size > static_cast<int>(kRule.size()) ? kRule : "");
    }
    EXPECT_EQ(output.back(), '#') << size;
  }
  char output[8192] = "#";
  makeRule(output, -1, {});
  EXPECT_STREQ(output, "#");
  makeRule(nullptr, 10, {});

  const std::string kLong(5000, 'x'), kQuotes(5000, '\'');
  makeRule(output, sizeof output, {.source_mac = kLong.c_str()});
  EXPECT_STREQ(output, "");
  makeRule(output, sizeof output, {.destination_mask = kQuotes.c_str()});
  EXPECT_STREQ(output, "");
}

TEST(MakeIPPortFilterRule, KeepsStrangersValuesInOneWord) {
  sim::Device device;
  EXPECT_EQ(ruleOf({.source_mac = "x -j ACCEPT; reboot #", .source = "$(reboot)"}),
            "iptables -A macipport_filter -m mac --mac-source 'x -j ACCEPT; reboot #' "
            "-s '$(reboot)' -d any -p tcp -j DROP");
}

// ---- addresses ----

TEST(Addresses, MacsAreSixPairsWithColons) {
  for (const char *good : {"00:0C:43:76:20:58", "aa:bB:cc:dd:ee:ff"}) {
    EXPECT_EQ(isMacValid(good), 1) << good;
  }
  for (const char *bad : {"", "00:0C:43:76:20:5", "00:0C:43:76:20:580", "00-0C-43-76-20-58",
                          "00:0C:43:76:20:5G", "000C:43:76:20:58:", "00:0C:43:76:20 58"}) {
    EXPECT_EQ(isMacValid(bad), 0) << bad;
  }
  EXPECT_EQ(isMacValid(nullptr), 0);
}

TEST(Addresses, IpMayHaveAPrefixAndOnlyAWrongAddressIsPrinted) {
  struct {
    const char *text;
    int valid;
    std::string complaint_about;
  } const kCases[] = {
      {"any", 1, ""},
      {"any/0", 1, ""},
      {"any/8", 0, ""},
      {"192.168.1.1", 1, ""},
      {"10.0.0.0/8", 1, ""},
      {"10.0.0.0/0", 1, ""},
      {"10.0.0.0/32", 1, ""},
      {"10.0.0.0/33", 0, ""},
      {"10.0.0.0/99999999999", 0, ""},
      {"10.0.0.0/8/8", 0, ""},
      {"10.0.0.0/", 0, ""},
      {"10.0.0.0/8.", 0, ""},
      {"10.0.0.x", 0, ""},
      {"10.0.0.1 ", 0, ""},
      {"10.1", 1, ""},  // the short forms of addresses
      {"256.0.0.1", 0, "256.0.0.1"},
      {"10.0.0.0.0", 0, "10.0.0.0.0"},
      {"10.0.0.256/24", 0, "10.0.0.256"},
      {"/24", 0, "-"},
      // 32 characters count, so the letter behind them is not seen.
      {"10.0.0.1/0000000000000000000000024x", 1, ""},
      {"", 0, ""},
      {nullptr, 0, ""},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    std::string text = c.text != nullptr ? c.text : "null";
    EXPECT_EQ(isIpNetmaskValid(c.text), c.valid) << text;
    std::string about = c.complaint_about == "-" ? "" : c.complaint_about;
    std::string message = "isIpNetmaskValid(): " + about + " is not a valid IP address.\n";
    EXPECT_EQ(device.printed(), c.complaint_about.empty() ? "" : message) << text;
  }
}

}  // namespace
