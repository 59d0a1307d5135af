// What is open, and what a router is to hold: whole configurations, with each answer held against
// the way of single packets.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "packets/walk.h"
#include "tests/traffic/random_router.h"
#include "tools/catalog/entry_point.h"
#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/traffic/expect.h"
#include "tools/traffic/inquiry.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/ports.h"
#include "tools/traffic/trace.h"

using namespace orba::tool;
using namespace packets;
using testing::HasSubstr;

namespace {

// Besides the examples.
constexpr int kRandomRouters = 6;

constexpr const char *kExamples[] = {"gateway", "pppoe-gateway", "minimal", "bridge", "repeater"};

std::string example(const std::string &name) {
  return std::string(ORBA_EXAMPLES) + "/" + name;
}

// A router and what is asked of it.
struct Asked : Inquiry {
  explicit Asked(const std::vector<nvram::Setting> &config) : Inquiry(config, setUpDeskDevice) {}
};

// A gateway whose web server listens elsewhere than its mode's rules guard.
constexpr char kOpen[] =
    "OperationMode=1\nwanConnectionMode=DHCP\ndefault_wan=1\ndefaultRouteNum=1\n"
    "firewallAction=DROP\nIPPortFilterType=LAN_TO_WAN\nSPIFWEnabled=1\nDefaultFirewallPolicy=0\n"
    "IPPortFilterRules=192.168.1.20,,0,0,any/0,,25,0,1,1,no mail,,,,;"
    "any/0,,0,0,192.168.1.0/24,,0,0,5,1,nothing in,,,,\n"
    "PortForwardEnable=1\nPortForwardRules=192.168.1.10,443,0,TCP\nBlockPingofDeath=1\n"
    "WANPingFilter=0\nLANPingFilter=0\nBlockPortScan=0\nBlockSynFlood=0\nBlockLAND=0\n"
    "aclMode=0\nhttpMode=0\nftpMode=2\ntelnetMode=2\nsnmpMode=2\nicmpMode=2\nsshMode=2\n"
    "tftpMode=2\nRMWWWServerPort=8080\nRMWWWOldServerPort=8080\n";

// Whether a packet is one of those that a line speaks of.
bool isOf(const Opening &line, const Packet &packet, const Walk &way, const SideWays &ways) {
  const auto arrived = way.end[kDestination];
  return line.protocols.contains(packet[kProtocol]) &&
         (line.ports.empty() || line.ports.contains(packet[kDestinationPort])) &&
         (line.from_anyone || line.sources.contains(packet[kSource])) &&
         (line.all_hosts || line.hosts.contains(arrived)) &&
         (line.to == kRouter ? way.verdict == Verdict::kDelivered
                             : way.verdict == Verdict::kForwarded &&
                                   line.to.find(ways.targetOf(way.end[kOut])) != std::string::npos);
}

// Whether anybody can send it who is not a neighbour.
bool ordinary(const Packet &packet, const std::string &from, Asked &asked) {
  return asked.diagrams.value(asked.ways.ordinary(asked.ways.side(from)), packet) != 0;
}

// Whether a line says of a packet that it gets through, and names nothing that stops others.
bool isClaimed(const Opening &line, const Packet &packet, const Asked &asked) {
  const auto &own = asked.desk.own(*asked.desk.side(line.from)).addresses;
  const bool to_own = std::any_of(own.begin(), own.end(), [&](const Address &each) {
    return each.address == packet[kDestination];
  });
  return line.but.empty() && line.depends.empty() && line.protocols.contains(packet[kProtocol]) &&
         (line.ports.empty() || line.ports.contains(packet[kDestinationPort])) &&
         line.sources.contains(packet[kSource]) &&
         (line.translated || line.to == kRouter ? to_own
                                                : line.hosts.contains(packet[kDestination]));
}

}  // namespace

TEST(OpenPorts, AreWhatSinglePacketsReach) {
  std::mt19937 random(15);
  std::vector<std::vector<nvram::Setting>> configs;
  for (const char *name : kExamples) configs.push_back(readConfig(example(name) + ".conf"));
  for (int i = 0; i < kRandomRouters; i++) configs.push_back(randomConfig(random));
  for (const std::vector<nvram::Setting> &config : configs) {
    SCOPED_TRACE(settingsText(config));
    Asked asked(config);
    const Ports ports = portsOf(asked.ways, asked.blame, {});
    for (const Opening &line : ports.openings) {
      const Walk way = walk(asked.desk.router, line.witness);
      EXPECT_TRUE(line.to.empty() || isOf(line, line.witness, way, asked.ways)) << line.by;
      EXPECT_TRUE(!way.decided_by || testing::Value(line.rules, testing::Contains(*way.decided_by)))
          << line.by;
      EXPECT_EQ(ordinary(line.witness, line.from, asked), !line.neighbours) << line.by;
      Packet otherwise = line.witness;
      bool open = false;
      for (FieldId question : way.asked) {
        if (!isOpen(question, line.witness, asked.desk)) continue;
        otherwise[question] = 1 - line.witness[question];
        open = true;
      }
      EXPECT_TRUE(open || line.depends.empty()) << line.by;
      EXPECT_TRUE(!line.depends.empty() ||
                  walk(asked.desk.router, otherwise).verdict == way.verdict)
          << line.by;
    }
    for (const Leak &leak : ports.leaks) {
      EXPECT_EQ(walk(asked.desk.router, leak.witness).verdict, Verdict::kDelivered) << leak.mode;
    }
    // And none is forgotten: whatever gets through stands in a line. Nor is more told than gets
    // through.
    for (int i = 0; i < 2000; i++) {
      const Side &side = asked.desk.sides[random() % asked.desk.sides.size()];
      if (side.name == "wifi") continue;
      const Packet packet = randomPacket(random, side, asked.ways);
      if (asked.diagrams.value(asked.ways.beginnings(side), packet) == 0) continue;
      const Walk way = walk(asked.desk.router, packet);
      const bool by_anybody = ordinary(packet, side.name, asked);
      const bool told = isWan(side.name) || way.verdict == Verdict::kDelivered;
      const bool got = way.verdict == Verdict::kDelivered || way.verdict == Verdict::kForwarded;
      bool found = false;
      for (const Opening &line : ports.openings) {
        if (line.from != side.name || (by_anybody && line.neighbours)) continue;
        // For a neighbour the router is one place, by whatever address anybody reaches it.
        Opening at = line;
        at.all_hosts = at.all_hosts || (!by_anybody && line.to == kRouter);
        found = found || isOf(at, packet, way, asked.ways);
        const bool stopped = way.verdict == Verdict::kDropped || way.verdict == Verdict::kRejected;
        EXPECT_FALSE(stopped && by_anybody && isClaimed(line, packet, asked))
            << packetText(packet) << " by " << line.by;
      }
      EXPECT_TRUE(found || !told || !got) << packetText(packet);
    }
  }
}

TEST(OpenPorts, AreFewLinesThatNameTheirSettingsAndWhatContradictsThem) {
  Asked asked(nvram::parseSettings(kOpen, nullptr));
  std::ostringstream said;
  printPorts(said, portsOf(asked.ways, asked.blame, {"wan", ""}), asked.desk, false, false);
  EXPECT_EQ(said.str(), 1 + R"(
From the Internet (wan) to the router:
  tcp 0-20, 24-79, 81-442, 444-7546, 7548-65535
                                from anywhere                    by DefaultFirewallPolicy=0
  udp 0-68, 70-160, 162-65535   from anywhere                    by DefaultFirewallPolicy=0
  other protocols               from anywhere                    by DefaultFirewallPolicy=0
  tcp 21                        from anywhere                    by ftpMode=2
  icmp                          from anywhere                    by icmpMode=2
  igmp                          from anywhere                    by rule 1 of INPUT, which is always there
  tcp 7547                      from anywhere                    by rule 2 of INPUT, which is always there
  udp 161                       from anywhere                    by snmpMode=2
  tcp 22                        from anywhere                    by sshMode=2
  tcp 23                        from anywhere                    by telnetMode=2
  udp 69                        from anywhere                    by tftpMode=2

From the Internet (wan) through the router to lan:
  tcp 443                       from anywhere to 192.168.1.10    by record 1 of PortForwardRules (TCP 443 to 192.168.1.10)

Besides, from a neighbour on the wire of wan to the router:
  tcp 443                       from anywhere to 0.0.0.0, 192.168.1.1, 192.168.1.255, 203.0.113.255, 224.0.0.1, 255.255.255.255  by DefaultFirewallPolicy=0

Besides, from a neighbour on the wire of wan through the router to wan:
  tcp, udp any port             from anywhere                    by DefaultFirewallPolicy=0
      but for what is stopped by record 1 of IPPortFilterRules (192.168.1.20 to any, TCP 25)
  other protocols               from anywhere                    by DefaultFirewallPolicy=0
  icmp                          from anywhere                    by DefaultFirewallPolicy=0
      but for what is stopped by BlockPingofDeath=1
      depends on --limit 1/s

httpMode=0 says "from the LAN only", but wan reaches the web pages: tcp 8080 (RMWWWServerPort) from anywhere, by DefaultFirewallPolicy=0
)");
  EXPECT_THROW(portsOf(asked.ways, asked.blame, {"", "wan7"}), BadArgument);
}

TEST(OpenPorts, OfManyRecordsAreFewLines) {
  std::string records;
  for (int i = 0; i < 100; i++) {
    records += "10.0." + std::to_string(i % 7) + "." + std::to_string(i) + ",,0,0,any/0,," +
               std::to_string(1000 + 3 * i) + ",0,1,1,r,,,,;";
  }
  std::vector<nvram::Setting> config = nvram::parseSettings(kOpen, nullptr);
  for (nvram::Setting &each : config) {
    if (each.key == "IPPortFilterRules") each.value = records;
    if (each.key == "IPPortFilterType") each.value = "WAN_TO_WAN";
  }
  Asked asked(config);
  const Ports ports = portsOf(asked.ways, asked.blame, {"wan", "router"});
  EXPECT_LE(ports.openings.size(), 16u);
  EXPECT_THAT(ports.openings[0].but, HasSubstr("and 94 more rules"));
}

TEST(Expectations, HoldForAllPacketsOrFailWithOne) {
  Asked asked(nvram::parseSettings(kOpen, nullptr));
  const struct {
    const char *text;
    const char *why;  // nothing: it holds
  } kCases[] = {
      {"wan cannot reach router tcp/80", nullptr},
      {"wan cannot reach router tcp/79-81", "DefaultFirewallPolicy=0"},
      {"wan can reach router tcp/81-442,udp/53", nullptr},
      {"lan 192.168.1.20 cannot reach wan tcp/25", nullptr},
      {"lan 192.168.1.20/31 cannot reach wan tcp/25", "forwarded"},
      {"lan can reach wan tcp/26-90 udp", nullptr},
      {"lan can reach wan tcp/20-30", "record 1 of IPPortFilterRules"},
      {"lan with mac 02:00:00:00:00:07 can reach wan 198.51.100.0/24 tcp/80", nullptr},
      // After translation, and by nobody who asks for the host itself.
      {"wan can reach 192.168.1.10 tcp/443", nullptr},
      {"wan can reach lan 192.168.1.10 tcp/443-444", "delivered to the router"},
      {"wan cannot reach lan tcp/1-442", nullptr},
      {"wan cannot reach lan", "record 1 of PortForwardRules"},
      // What the router sends, and what only the bridge sees.
      {"router can reach wan udp/53", nullptr},
      {"router cannot reach lan tcp/25", "sent out of br0"},
      {"router 203.0.113.2 can reach lan", "from another address"},
      {"lan can reach wifi", nullptr},
      {"lan cannot reach wifi tcp/80", "passed on by the bridge"},
      {"lan cannot reach 192.168.1.30 tcp/80", "passed on by the bridge"},
      // Whom a side has not, or only who is on its wire.
      {"lan 10.0.0.1 cannot reach wan", "no host of lan"},
      {"wan 192.168.1.5 can reach router tcp/22", "only a neighbour on the wire of wan"},
      {"wan 192.168.1.5 cannot reach router tcp/22", "sshMode=2"},
      // It gets there, but not from a host that "can" speaks of.
      {"wan can reach 224.0.0.1 igmp", "but only a neighbour on the wire of wan can send it"},
      // A limit that may be reached.
      {"wan can reach router icmp", nullptr},
      {"lan can reach wan icmp", "--limit"},
  };
  for (const auto &[text, why] : kCases) {
    const std::string path = testing::TempDir() + "/ports_test.expect";
    std::ofstream(path) << "# a comment\n\n  " << text << "  # another\n";
    const std::vector<Expectation> read = readExpectations(path, asked.desk);
    ASSERT_EQ(read.size(), 1u) << text;
    EXPECT_EQ(read[0].text, text);
    EXPECT_EQ(read[0].line, 3);
    const Judgement judgement = judge(read[0], asked.ways, asked.blame);
    EXPECT_EQ(judgement.holds, why == nullptr) << text << ": " << judgement.why;
    EXPECT_EQ(judgement.holds, holds(read[0], asked.ways)) << text;
    if (judgement.holds || why == nullptr) continue;
    EXPECT_THAT(judgement.why, HasSubstr(why)) << text;
    if (!judgement.witness) continue;
    const Walk way = waysOf(*judgement.witness, asked.desk)[0].walk;
    const bool got = way.verdict == Verdict::kDelivered || way.verdict == Verdict::kForwarded ||
                     way.verdict == Verdict::kBridged;
    EXPECT_TRUE(got != read[0].can || way.verdict == Verdict::kDelivered) << text;
  }
}

// The DMZ takes away what comes by the link, and no packet that comes past it.
TEST(Expectations, SpeakOfTheEthernetBelowALink) {
  const std::map<std::string, std::string> others = {{"wanConnectionMode", "PPPOE"},
                                                     {"wanAddressType", "PPPOE"},
                                                     {"DMZEnable", "1"},
                                                     {"DefaultFirewallPolicy", "0"},
                                                     {"aclMode", "0"},
                                                     {"sshMode", "2"}};
  std::vector<nvram::Setting> config = readConfig(example("gateway.conf"));
  for (nvram::Setting &each : config) {
    const auto other = others.find(each.key);
    if (other != others.end()) each.value = other->second;
  }
  Asked asked(config);
  Expectation no_login = {.from = "wan", .to = kRouter};
  no_login.what = {{{kProtocol, IntervalSet::one(kTcp)}, {kDestinationPort, IntervalSet::one(22)}}};
  const Judgement judgement = judge(no_login, asked.ways, asked.blame);
  EXPECT_FALSE(judgement.holds);
  EXPECT_FALSE(holds(no_login, asked.ways));
  EXPECT_THAT(judgement.why, HasSubstr("sshMode=2; it comes from wan-wire"));
}

// Of random routers: what fails is broken by its witness, and nothing breaks a "cannot" that holds.
TEST(Expectations, AreBrokenByNoPacketWhereTheyHold) {
  std::mt19937 random(15);
  static const std::vector<std::string> kEnds = {"lan",
                                                 "wifi",
                                                 "wan",
                                                 "router",
                                                 "192.168.1.20",
                                                 "lan 192.168.1.0/25",
                                                 "wan 198.51.100.0/24"},
                                        kWhat = {"", "tcp/80", "tcp/20-30 udp", "icmp", "udp/53"};
  const std::string path = testing::TempDir() + "/random.expect";
  size_t held = 0;
  for (int i = 0; i < kRandomRouters; i++) {
    Asked asked(randomConfig(random));
    SCOPED_TRACE(settingsText(asked.desk.runs[0].config));
    for (int k = 0; k < 30; k++) {
      const std::string text = anyOf(random, kEnds) + (k % 2 == 0 ? " can" : " cannot") +
                               " reach " + anyOf(random, kEnds) + " " + anyOf(random, kWhat);
      std::ofstream(path) << text << "\n";
      std::vector<Expectation> read;
      try {
        read = readExpectations(path, asked.desk);
      } catch (const BadConfig &) {
        continue;  // there is no such side
      }
      const Expectation &each = read[0];
      const Judgement judgement = judge(each, asked.ways, asked.blame);
      const auto gets = [&](const Packet &packet) {
        for (const FollowedWay &way : waysOf(packet, asked.desk)) {
          const Verdict verdict = way.walk.verdict;
          const uint64_t out = way.walk.end[kOut];
          if (verdict == Verdict::kUnknown) return true;
          const bool to_router = each.to == kRouter;
          const bool there =
              verdict == Verdict::kBridged ||
              (verdict == Verdict::kDelivered && (each.to.empty() || to_router)) ||
              (verdict == Verdict::kForwarded && !to_router &&
               (each.to.empty() ||
                asked.ways.targetOf(out) == asked.ways.targetOf(asked.ways.side(each.to))));
          if (there && (!each.hosts || each.hosts->contains(way.walk.end[kDestination])))
            return true;
        }
        return false;
      };
      EXPECT_TRUE(!judgement.witness || each.can || gets(*judgement.witness)) << text;
      if (each.can || !judgement.holds) continue;
      held++;
      const Side &side = asked.ways.sender(each.from);
      for (int packets = 0; packets < 300; packets++) {
        const Packet packet = randomPacket(random, side, asked.ways);
        const Diagrams::Node spoken =
            asked.diagrams.both(asked.ways.beginnings(side), asked.diagrams.set(each.senders));
        const bool of_it =
            each.what.empty() ||
            std::any_of(each.what.begin(), each.what.end(), [&](const Conditions &what) {
              return asked.diagrams.value(asked.diagrams.set(what), packet) != 0;
            });
        if (!of_it || asked.diagrams.value(spoken, packet) == 0) continue;
        EXPECT_FALSE(gets(packet)) << text << ": " << packetText(packet);
      }
    }
  }
  EXPECT_GT(held, 5u);
}

// A network behind a router of the LAN, which may send what hosts of the LAN may not; and one
// host of the Internet that all may reach.
TEST(Expectations, SpeakOfNetworksBehindTheLanToo) {
  std::vector<nvram::Setting> config = nvram::parseSettings(kOpen, nullptr);
  for (nvram::Setting &each : config) {
    if (each.key == "firewallAction") each.value = "ACCEPT";
    if (each.key != "IPPortFilterRules") continue;
    each.value = "10.50.0.0/16,,0,0,198.51.100.7,,443,0,1,1,branch,,,,";
  }
  config.push_back({1, "StaticRoutingRules", "1,branch,10.50.0.0,255.255.0.0,192.168.1.7,br0"});
  Asked asked(config);
  const std::string path = testing::TempDir() + "/branch.expect";
  std::ofstream(path) << "lan 192.168.1.0/24 cannot reach wan tcp\n"
                         "lan 10.50.0.6 can reach wan 198.51.100.7 tcp/443\n"
                         "lan cannot reach wan tcp/443\n"
                         "lan 10.51.0.6 cannot reach wan tcp/443\n";
  std::vector<bool> held;
  for (const Expectation &each : readExpectations(path, asked.desk)) {
    held.push_back(judge(each, asked.ways, asked.blame).holds);
  }
  EXPECT_EQ(held, (std::vector<bool>{true, true, false, false}));
  std::ostringstream said;
  printPorts(said, portsOf(asked.ways, asked.blame, {"lan", "wan"}), asked.desk, false, false);
  EXPECT_THAT(said.str(), HasSubstr(" to 198.51.100.7 "));
}

TEST(Expectations, ThatAreNotUnderstoodAreToldByFileAndLine) {
  Asked asked(nvram::parseSettings(kOpen, nullptr));
  const std::string path = testing::TempDir() + "/faults.expect";
  std::ofstream(path) << "wam cannot reach router\n"
                         "wan cannot reach router tcp/80\n"
                         "wan can not reach router\n"
                         "wan cannot reach\n"
                         "wan cannot reach router tpc/80\n"
                         "wan cannot reach router tcp/90-80\n"
                         "wan cannot reach router icmp/8\n"
                         "lan 192.168.1.300 can reach wan\n"
                         "lan with mac 1 can reach wan\n";
  std::string said;
  try {
    readExpectations(path, asked.desk);
  } catch (const BadConfig &faults) {
    said = faults.what();
  }
  std::string wanted;
  for (const char *fault :
       {"1: there is no side 'wam'", "3: 'reach' is missing in front of 'not'",
        "4: whom it reaches is missing: router, a side or an address at the end",
        "5: 'tpc/80' is no protocol", "6: 'tcp/90-80' has no port or range of ports",
        "7: 'icmp/8': only tcp and udp have ports",
        "8: '192.168.1.300' is no address and no network", "9: '1' is no MAC address"}) {
    wanted += (wanted.empty() ? "" : "\n") + path + ":" + fault;
  }
  EXPECT_EQ(said, wanted);
}

TEST(Expectations, TellWhichRulesNobodyWouldMiss) {
  Asked asked(nvram::parseSettings(kOpen, nullptr));
  const std::string path = testing::TempDir() + "/coverage.expect";
  std::ofstream(path) << "wan cannot reach router tcp/80\nwan can reach 192.168.1.10 tcp/443\n";
  std::map<std::string, int> unmissed;
  for (const RuleAt &rule : coverageOf(readExpectations(path, asked.desk), asked.ways).unmissed) {
    unmissed[asked.desk.router.chain(rule.place)->rules[rule.rule].text]++;
  }
  EXPECT_EQ(unmissed.count("-i ! br+ -p tcp --dport 80 -j DROP"), 0u);
  EXPECT_EQ(unmissed.count("-j DNAT -d 203.0.113.2 -p tcp --dport 443 --to 192.168.1.10"), 0u);
  EXPECT_EQ(unmissed.count("-i eth2.2 -d 192.168.1.10 -p tcp --dport 443 -j ACCEPT"), 0u);
  EXPECT_EQ(unmissed.count("-p tcp --dport 22 -j ACCEPT"), 1u);
}

TEST(Expectations, OfTheExamplesHold) {
  for (const char *name : kExamples) {
    Asked asked(readConfig(example(name) + ".conf"));
    for (const Expectation &each : readExpectations(example(name) + ".expect", asked.desk)) {
      const Judgement judgement = judge(each, asked.ways, asked.blame);
      EXPECT_TRUE(judgement.holds) << each.file << ":" << each.line << ": " << judgement.why;
    }
  }
}
