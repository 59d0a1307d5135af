// What becomes of a packet, as orba trace tells it.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/catalog/entry_point.h"
#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/traffic/record_words.h"
#include "tools/traffic/trace.h"
#include "tools/traffic/trace_report.h"
#include "tools/traffic/verdict.h"

using namespace orba::tool;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

const DeskRouter &routerOf(const std::string &settings) {
  static std::map<std::string, DeskRouter> made;
  auto found = made.find(settings);
  if (found == made.end()) {
    const bool example = settings.find('=') == std::string::npos;
    const auto config = example ? readConfig(std::string(ORBA_EXAMPLES "/") + settings)
                                : nvram::parseSettings(settings, nullptr);
    found = made.emplace(settings, deskRouter(config,
                                              [](sim::Device &device) {
                                                DeskDevice{"", ""}.prepare(device);
                                              }))
                .first;
  }
  return found->second;
}

// As it is typed: "lan 192.168.1.20 198.51.100.1 tcp/25 --length 1600".
PacketQuestion question(const std::string &typed) {
  std::istringstream words(typed);
  PacketQuestion made;
  words >> made.from >> made.source >> made.destination >> made.protocol;
  const std::map<std::string, std::string *> options = {{"--state", &made.state},
                                                        {"--flags", &made.flags},
                                                        {"--mac", &made.mac},
                                                        {"--source-port", &made.source_port},
                                                        {"--length", &made.length}};
  for (std::string option; words >> option;) words >> *options.at(option);
  return made;
}

struct Traced {
  std::string text, sentence;
  nlohmann::ordered_json json;
};

Traced traced(const std::string &settings, const std::string &typed, bool why = false) {
  const DeskRouter &desk = routerOf(settings);
  const std::vector<FollowedWay> ways = waysOf(packetOf(question(typed), desk), desk);
  Blame blame(desk, setUpDeskDevice);
  blame.askOf(commandsOf(ways, desk, blame));
  std::ostringstream out;
  printTrace(out, ways, desk, blame, why);
  return {out.str(), verdictSentence(ways, desk, blame), traceAsJson(ways, desk, blame)};
}

std::string complaint(const std::string &typed) {
  try {
    packetOf(question(typed), routerOf("OperationMode=1"));
  } catch (const BadArgument &error) {
    return error.what();
  }
  return "no complaint";
}

// A gateway of the test's own: examples change.
constexpr char kGateway[] = R"([1]
OperationMode=1
defaultRouteNum=1
SPIFWEnabled=1
RemoteManagement=0
DefaultFirewallPolicy=1
firewallAction=DROP
IPPortFilterType=LAN_TO_WAN
IPPortFilterRules=192.168.1.20,,0,0,any/0,,25,0,1,1,no mail,,,,;192.168.1.64,255.255.255.192,1024,65535,any/0,,22,21,2,1,,,,,;192.168.1.64,255.255.255.192,1024,65535,any/0,,21,22,2,1,,00:0C:43:30:00:00,00:0C:43:30:00:FF,,
PortForwardRules=192.168.1.10,443,0,TCP
MacFilterAction=DROP
MACFilterRules=02:00:00:00:00:02;00:0C:43:28:60:2A
WANPingFilter=0
BlockPortScan=1
BlockSynFlood=0
BlockPingofDeath=1
websFilterProxy=0
websFilterJava=0
websFilterActivex=0
websFilterCookies=0
websFilterTrustIP=0.0.0.0
websURLFilters=ads.example.com
websHostFiltersEnable=0
websHostFilters=
icmpMode=2
sshMode=0
DMZEnable=0
StaticRoutingRules=1,office,10.8.0.0,255.255.0.0,192.168.1.253,br0;1,far,10.9.0.0,255.255.0.0,10.9.0.1,br0
)";

}  // namespace

// The sentence says where it ended, because of which record or setting, and as what it went on.
TEST(Trace, EndsWithOneSentence) {
  const std::string passes =
      "accepted by the policy of FORWARD, ACCEPT because of "
      "firewallAction=DROP: no rule there decides";
  const std::pair<const char *, std::string> kCases[] = {
      {"lan 192.168.1.20 198.51.100.1 tcp/25",
       "dropped by record 1 of IPPortFilterRules (192.168.1.20 to any, TCP 25)"},
      {"lan 192.168.1.70 198.51.100.1 udp/21 --mac 0:c:43:30:0:7",
       "dropped by record 3 of IPPortFilterRules (192.168.1.64/255.255.255.192 port 1024-65535 to "
       "any, UDP 21-22, from 00:0C:43:30:00:00 to 00:0C:43:30:00:FF)"},
      {"lan 192.168.1.70 198.51.100.1 udp/21 --mac 00:0C:43:28:60:2A",
       "dropped by record 2 of MACFilterRules (00:0C:43:28:60:2A)"},
      {"wan 198.51.100.1 router tcp/443",
       "forwarded out of br0 to 192.168.1.10:443 by record 1 of PortForwardRules (TCP 443 to "
       "192.168.1.10)"},
      {"wan 198.51.100.1 router tcp/22", "dropped by rule 10 of MCL_FILTER, because of sshMode=0"},
      {"wan 198.51.100.1 router tcp/7547",
       "delivered to the router: accepted by rule 2 of INPUT, which is always there"},
      {"wan 198.51.100.1 router tcp/1 --flags FIN,URG,PSH",
       "dropped by rule 5 of malicious_input_filter, because of BlockPortScan=1"},
      {"lan 192.168.1.30 10.8.4.4 udp/1", "forwarded out of br0: " + passes},
      // The host would answer by its own address, and nobody waits for that.
      {"lan 192.168.1.30 203.0.113.2 tcp/443",
       "forwarded out of br0 to 192.168.1.10:443, translated by record 1 of PortForwardRules (TCP "
       "443 to 192.168.1.10): " +
           passes +
           "; but its answer goes past the router, from 192.168.1.10 straight to 192.168.1.30, "
           "which asked 203.0.113.2"},
      {"lan 192.168.1.30 10.9.4.4 udp/1",
       "forwarded out of eth2.2 as 203.0.113.2:40000: " + passes},
      {"router router 198.51.100.1 udp/53",
       "sent out of eth2.2: accepted by the policy of OUTPUT, ACCEPT: no rule there decides"},
      {"lan 192.168.1.30 192.168.1.31 udp/1",
       "passed on by the bridge: it is for another host, and only rules of the bridge see it"},
      {"lan 192.168.1.30 239.1.1.1 udp/1",
       "dropped by routing: the router is not in the group 239.1.1.1"},
      {"wan 192.168.1.1 router udp/1",
       "dropped by routing: 192.168.1.1 is the router's own address"},
      {"lan 192.168.1.30 198.51.100.1 tcp/80",
       "forwarded out of eth2.2 as 203.0.113.2:40000: " + passes +
           "; what it then sends depends on the URL that is asked for (--url ads.example.com): "
           "where --url ads.example.com matches, rejected by record 1 of websURLFilters "
           "(ads.example.com); otherwise it gets through"},
  };
  for (const auto &[typed, expected] : kCases) {
    const Traced found = traced(kGateway, typed);
    EXPECT_EQ(found.sentence, expected) << typed;
    EXPECT_THAT(found.text, EndsWith("\n" + expected + "\n"));
    EXPECT_EQ(found.json["sentence"], expected);
  }
}

TEST(Trace, TellsTheWayThereAndBack) {
  EXPECT_EQ(
      traced(kGateway, "wan 198.51.100.1 router tcp/443").text,
      R"(tcp from 198.51.100.1:40000 to 203.0.113.2:443 (SYN), new, 40 bytes, in by eth2.2 from 02:00:00:00:00:01

iptables nat PREROUTING (policy ACCEPT)
   1  -j port_forward
       1  -j DNAT -d 203.0.113.2 -p tcp --dport 443 --to 192.168.1.10
            now to 192.168.1.10:443
            from record 1 of PortForwardRules (TCP 443 to 192.168.1.10)
            because of defaultRouteNum=1; OperationMode=1
            made by command 135 of firewall_init

routing
      192.168.1.0/24 dev br0 table main

iptables filter FORWARD (policy ACCEPT)
   3  -j FORWARD_IGMP  (empty)
   4  -j FORWARD_UPNP  (empty)
   5  -j port_forward
       1  -i eth2.2 -d 192.168.1.10 -p tcp --dport 443 -j ACCEPT
            from record 1 of PortForwardRules (TCP 443 to 192.168.1.10)
            because of defaultRouteNum=1; OperationMode=1
            made by command 134 of firewall_init

iptables nat POSTROUTING (policy ACCEPT)
   1  -j LAN_NAT_CHAIN  (no match in 1 rule)

The answer: tcp from 192.168.1.10:443 to 198.51.100.1:40000 (SYN,ACK), established, 40 bytes, in by eth2.1 from 02:00:00:00:00:01

ebtables nat PREROUTING (policy ACCEPT)
   1  -j MAC_Filter  (policy RETURN)  (no match in 2 rules)

bridge
      the frame is for the router

ebtables filter INPUT (policy ACCEPT)
   1  -j Policy_Route  (policy ACCEPT)  (empty)

routing
      default via 203.0.113.1 dev eth2.2 table main

iptables filter FORWARD (policy ACCEPT)
   3  -j FORWARD_IGMP  (empty)
   4  -j FORWARD_UPNP  (empty)
   5  -j port_forward  (no match in 1 rule)
   6  -j DMZ  (empty)
   7  -j web_filter  (no match in 1 rule)
   8  -j malicious_filter  (no match in 7 rules)
   9  -j macipport_filter
       1  -m state --state RELATED,ESTABLISHED -j ACCEPT
            because of DefaultFirewallPolicy=1; SPIFWEnabled=1
            made by command 76 of firewall_init

connection
      now from 203.0.113.2:443

the answer is forwarded out of eth2.2 as 203.0.113.2:443: accepted by rule 1 of macipport_filter, because of DefaultFirewallPolicy=1

missing: record 2 of IPPortFilterRules (192.168.1.64/255.255.255.192 port 1024-65535 to any, UDP 22-21): 22:21: the first is above the last
forwarded out of br0 to 192.168.1.10:443 by record 1 of PortForwardRules (TCP 443 to 192.168.1.10)
)");
}

// Each rule that does not match says why, in the field's own words; what is known only to a limit
// or a page has both ways.
TEST(Trace, SaysWhyNotAndOnWhatItDepends) {
  const std::string why = traced(kGateway, "lan 192.168.1.30 198.51.100.1 tcp/80", true).text;
  for (const char *reason :
       {"--dport 25 -j DROP\n            no: the source is 192.168.1.30, not 192.168.1.20\n",
        "no: the protocol is tcp, not icmp\n", "no: its state is new, not established or related\n",
        "no: it carries no text to look at\n", "no: it comes in by br0, not eth2.2\n",
        "no: its flags are SYN, not FIN,PSH,URG\n"}) {
    EXPECT_THAT(why, HasSubstr(reason));
  }
  const Traced ping = traced(kGateway, "lan 192.168.1.30 198.51.100.1 icmp");
  EXPECT_EQ(ping.sentence,
            "depends on how many such packets came lately (--limit 1/s): where --limit 1/s "
            "matches, forwarded out of eth2.2 as 203.0.113.2: accepted by the policy of FORWARD, "
            "ACCEPT because of firewallAction=DROP: no rule there decides; otherwise dropped by "
            "rule 3 of PING_DEATH, because of BlockPingofDeath=1");
  EXPECT_THAT(ping.text, HasSubstr("Where --limit 1/s matches:\n\niptables filter FORWARD"));
  EXPECT_EQ(ping.json["verdict"], "depends");
  EXPECT_EQ(ping.json["ways"].size(), 2u);
}

// What was refused is told of where the packet would have met it, once for each record.
TEST(Trace, NamesWhatIsMissing) {
  const std::string filter =
                        "missing: record 2 of IPPortFilterRules (192.168.1.64/"
                        "255.255.255.192 port 1024-65535 to any, UDP 22-21): 22:21: the first "
                        "is above the last\n",
                    route =
                        "missing: record 2 of StaticRoutingRules (10.9.0.0/255.255.0.0 through "
                        "10.9.0.1 by br0): the gateway 10.9.0.1 is not behind br0\n";
  EXPECT_THAT(traced(kGateway, "lan 192.168.1.30 10.9.4.4 udp/1").text,
              HasSubstr("\n\n" + filter + route + "forwarded"));
  EXPECT_THAT(traced(kGateway, "lan 192.168.1.30 10.8.4.4 udp/1").text, Not(HasSubstr(route)));
  EXPECT_THAT(traced(kGateway, "wan 198.51.100.1 router tcp/22").text, Not(HasSubstr("missing")));
}

// A policy's mark chooses the table, and the route is the record's too.
TEST(Trace, TellsMarksAndTables) {
  const std::string marked =
      std::string(kGateway) +
      "wanConnectionMode2=DHCP\nwan2Vid=20\n"
      "PolicyRoutingRules=255.255.255.255,192.168.1.30,0,,-1,WAN2,eth2.20,settop\n";
  EXPECT_THAT(traced(marked, "lan 192.168.1.30 198.51.100.1 udp/1").text, HasSubstr(R"(
       1  -p ipv4 --ip-src 192.168.1.30/255.255.255.255 -j mark --mark-or 0x40000000 --mark-target CONTINUE
            now with mark 0x40000000
            from record 1 of PolicyRoutingRules (from 192.168.1.30, out by WAN2)
            made by command 4 of executePolicyRoute

iptables nat PREROUTING (policy ACCEPT)
   1  -j port_forward  (no match in 1 rule)
   2  -j DMZ  (empty)

routing
      default via 203.0.113.1 dev eth2.20 table pf_settop
          by the rule for mark 0x40000000/0xe0000000, priority 202
          from record 1 of PolicyRoutingRules (from 192.168.1.30, out by WAN2)
          made by command 5 of executePolicyRoute
)"));
}

TEST(Trace, SaysWhatToType) {
  const std::pair<const char *, const char *> kCases[] = {
      {"wna 1 1 tcp/1", "FROM: 'wna' is no side of this router; type lan, wifi, wan or router"},
      {"wan 198.51.100.1 example.com tcp/1",
       "DESTINATION: 'example.com' is no IPv4 address; type one such as 198.51.100.1, or router "
       "for the router's own"},
      {"router 192.168.1.9 198.51.100.1 tcp/1",
       "SOURCE: 192.168.1.9 is no address of the router; type router for the one that it would "
       "take"},
      {"wan 1.1.1.1 router tcp", "PROTOCOL: tcp needs a port, such as tcp/80"},
      {"wan 1.1.1.1 router tcp/65536", "PROTOCOL: '65536' is no number from 0 to 65535"},
      {"wan 1.1.1.1 router esp/1", "PROTOCOL: esp has no ports; type it without /1"},
      {"wan 1.1.1.1 router 256",
       "PROTOCOL: '256' is no protocol; type tcp/PORT, udp/PORT, icmp, icmp/TYPE, igmp, esp, gre "
       "or a number up to 255"},
      {"wan 1.1.1.1 router udp/1 --flags SYN", "--flags: only tcp has flags"},
      {"wan 1.1.1.1 router tcp/1 --flags SYM",
       "--flags: 'SYM' is no flag; type some of FIN, SYN, RST, PSH, ACK, URG with commas between "
       "them, or NONE"},
      {"wan 1.1.1.1 router tcp/1 --flags FIN --state new",
       "--state: no connection begins with such a packet; leave the state out, or type "
       "established, related or invalid"},
      {"lan 1.1.1.1 router tcp/1 --mac 1",
       "--mac: '1' is no MAC address of a station; type one such as 02:00:00:00:00:01"},
      {"lan 1.1.1.1 router 47 --source-port 1", "--source-port: only tcp and udp have ports"},
      {"lan 1.1.1.1 router icmp --length 19", "--length: '19' is no number from 20 to 65535"},
  };
  for (const auto &[typed, expected] : kCases) EXPECT_EQ(complaint(typed), expected);
}
