// Policy routes, and the table names that they share with iproute2.
#include "net/policy_rule.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

namespace {

constexpr char kTables[] = "/etc/iproute2/rt_tables";
constexpr char kNewTables[] = "/etc/iproute2/rt_tables.new";
constexpr char kDefaults[] = "255\tlocal\n254\tmain\n253\tdefault\n0\tunspec\n";

// All that was run, in order; what went through a pipe is marked.
std::string ran(const sim::Device &device) {
  std::string all;
  for (const sim::Event &event : device.events()) {
    if (event.kind == sim::Event::kCommand) {
      all += "\n" + sim::withoutRunnerRedirection(event.text);
    } else if (event.kind == sim::Event::kPipe) {
      all += "\npipe: " + event.text;
    }
  }
  return all;
}

const sim::Settings kWans = settingsOf(R"(
OperationMode=1 wanConnectionMode=STATIC wan_gateway=10.0.0.1 wanConnectionMode2=DHCP wan2Vid=20
wanConnectionMode3=PPPOE wanConnectionMode4=STATIC)");

// A rule for any traffic.
void change(const char *ifname, const std::string &name, int n, int action) {
  doPolicyRoutingAction("", "", "0", "", "-1", "WAN", ifname, name.c_str(), n, action);
}

}  // namespace

// What is read of each field, the longest run of x's in all that is run.
TEST(PolicyRoutes, ReadFieldsUpToTheirLengths) {
  const std::pair<size_t, size_t> kLengths[] = {{0, 31}, {1, 31}, {3, 31}, {6, 63}, {7, 63}};
  for (const auto &[field, length] : kLengths) {
    sim::Device device;
    std::string rule;
    for (size_t i = 0; i < 8; i++)
      rule += (i > 0 ? "," : "") + std::string(i == field ? 80 : 1, 'x');
    device.settings({{"OperationMode", "1"}, {"PolicyRoutingRules", rule}}).file(kTables, "");
    executePolicyRoute();
    EXPECT_THAT(ran(device), testing::HasSubstr(std::string(length, 'x'))) << field;
    EXPECT_THAT(ran(device), testing::Not(testing::HasSubstr(std::string(length + 1, 'x'))))
        << field;
  }
  sim::Device device;
  device.settings({{"PolicyRoutingRules", ",,00000179,,00000179,,br0,digits"}}).file(kTables, "");
  executePolicyRoute();
  EXPECT_THAT(ran(device), testing::HasSubstr(" --ip-proto 17 --ip-sport 17 "));
}

TEST(PolicyRoutes, AreRemovedAndInstalledInOrder) {
  sim::Device device;
  device.settings(kWans).file(kTables, kDefaults);
  device.settings({{"PolicyRoutingRules",
                    "255.255.255.255,192.168.1.10,0,,6,WAN,ppp0,office;"
                    "too,short,0,,6,WAN,eth2.2;"
                    ",,80,,-1,WAN3,ppp2,phone;"
                    ",,0,00:11:22:33:44:55,-1,,br0,tv"}});
  EXPECT_EQ(executePolicyRoute(), -1);
  // Removed through the interface noted with the rule, which is no WAN any more,
  // and installed through the one that the side has now. The number counts the
  // record that was passed over. A port without a protocol is not matched. The
  // LAN is no WAN and has no gateway.
  EXPECT_EQ(ran(device), section("net/commands.txt", "policies"));
  const std::string tables = std::string(kDefaults) + "202 pf_office\n204 pf_phone\n205 pf_tv\n";
  EXPECT_EQ(device.text(kTables), tables);
  EXPECT_EQ(device.console(), "");

  EXPECT_EQ(executePolicyRoute(), -1);
  EXPECT_EQ(device.text(kTables), tables) << "one line a rule, however often";
}

TEST(PolicyRoutes, AreNoneWithoutTheSetting) {
  sim::Device device;
  EXPECT_EQ(executePolicyRoute(), 0);
  device.buffered({{"PolicyRoutingRules", ""}});
  EXPECT_EQ(executePolicyRoute(), 0);
  device.buffered({{"PolicyRoutingRules", ";,,,,,,;x"}});
  EXPECT_EQ(executePolicyRoute(), -1);
  EXPECT_EQ(ran(device), "");
  EXPECT_STREQ(orba::PolicyRule(*orba::RuleList(",,,,,,").begin()).fault().reason,
               "has fewer than 8 fields");
  EXPECT_EQ(orba::PolicyRule(*orba::RuleList(",,12345678,,,,,").begin()).cut.field, 2);
}

TEST(PolicyRoutes, MatchOnlyWhatTheRuleNames) {
  const struct {
    const char *address, *mask, *port, *mac, *protocol;
    int n;
    const char *match, *mark;
  } kCases[] = {
      {"10.0.0.9", "", "8080", "02:00:00:00:00:01", "17", 2,
       " --src 02:00:00:00:00:01 -p ipv4  --ip-src 10.0.0.9 --ip-proto 17 --ip-sport 8080",
       "0x60000000"},
      // An empty number is 0, which is a protocol.
      {"", "", "", "", "", 6, " -p ipv4  --ip-proto 0", "0xe0000000"},
      // The top three bits hold six marks; the rules behind share others' and do
      // not route as intended.
      {"", "255.0.0.0", "0", "", "-1", 7, "", "0x0"},
      {"", "", "0", "", "-1", 8, "", "0x20000000"},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    doPolicyRoutingAction(c.address, c.mask, c.port, c.mac, c.protocol, "", "eth2.2", "x", c.n, 1);
    EXPECT_EQ(device.commands().at(1), std::string("ebtables -A Policy_Route ") + c.match +
                                           " -j mark --mark-or  " + c.mark +
                                           " --mark-target CONTINUE");
  }
  EXPECT_EQ(orba::markOfPolicy(orba::kRulesWithOwnMark + 1), 0u);
}

TEST(PolicyRoutes, ReplaceTheirDefaultRoute) {
  sim::Device device;
  device.settings(kWans).file("/var/wan2.info", "10.2.0.1:eth2.20");
  change("eth2.20", "a;b", 3, 2);
  EXPECT_EQ(ran(device), R"(
mkdir -p /etc/iproute2
ebtables -A Policy_Route  -j mark --mark-or  0x80000000 --mark-target CONTINUE
ip rule add fwmark 0x80000000/0xe0000000 prio 204 table pf_'a;b'
pipe: ip route replace default  via 10.2.0.1 dev eth2.20 table pf_'a;b')");
  EXPECT_EQ(device.text(kTables), "204 pf_a;b\n");

  device.forget();
  change("eth2.20", std::string(2000, 'n'), 3, 0);
  EXPECT_THAT(device.pipes(), testing::IsEmpty()) << "a cut command is not run";
}

TEST(PolicyTableNames, AreRemovedAndNothingElse) {
  const std::string foreign = "255 local\n" + std::string(100000, '#') + "\n\n202 other\n" +
                              "202 pf_home\n12 pf_office\nlast line without an end";
  sim::Device device;
  device.file(kTables,
              "202 pf_office\n" + foreign.substr(0, 10) + "1202 pf_office2\n" + foreign.substr(10));
  chmod(device.root().forReading(kTables).c_str(), 0600);
  doPolicyRoutingRemove(202, "office");
  EXPECT_EQ(device.text(kTables), foreign) << "a line that holds the text anywhere goes too";

  // The names that are added stand in lines of their own.
  change("br0", "a\n1 b", 5, 1);
  EXPECT_EQ(device.text(kTables), foreign + "\n206 pf_a\n");
  doPolicyRoutingRemove(206, "a\n1 b");
  EXPECT_EQ(device.text(kTables), foreign + "\n");
  // Of a long name the first 63 characters of its line are looked for.
  const std::string name(70, 'n'), other = "202 pf_" + name.substr(8) + "\n";
  change("br0", name, 1, 1);
  device.file(kTables, *device.text(kTables) + other);
  doPolicyRoutingRemove(202, name.c_str());
  EXPECT_EQ(device.text(kTables), foreign + "\n" + other);
  struct stat status;
  EXPECT_EQ(stat(device.root().forReading(kTables).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  EXPECT_EQ(device.text(kNewTables), std::nullopt);
  EXPECT_EQ(device.console(), "");
}

TEST(PolicyTableNames, SurviveAWriteThatFails) {
  constexpr char kTrace[] = "Failed to open /etc/iproute2/rt_tables to update static IP lease info";
  constexpr char kAppendTrace[] =
      "Failed to open /etc/iproute2/rt_tables to append policy routing info: ";
  sim::Device device;
  doPolicyRoutingRemove(202, "office");
  EXPECT_EQ(device.console(), kTrace) << "without a file";

  const std::string before = std::string(kDefaults) + "202 pf_office\nlast\n";
  device.file(kTables, before).file(kNewTables, "left by an interrupted run\n");
  for (const char *path : {kTables, kNewTables}) device.root().whereverItIs(path);  // on a disk
  device.forget();
  signal(SIGXFSZ, SIG_IGN);
  rlimit unlimited;
  getrlimit(RLIMIT_FSIZE, &unlimited);
  // Every length at which the disk can be full.
  for (rlim_t room = 0; room < before.size() - 14; room++) {
    rlimit full = {room, unlimited.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    doPolicyRoutingRemove(202, "office");
    setrlimit(RLIMIT_FSIZE, &unlimited);
    ASSERT_EQ(device.text(kTables), before) << room;
  }
  device.refuse(kTables).forget();
  change("eth2.2", "office", 1, 1);
  doPolicyRoutingRemove(202, "office");
  EXPECT_EQ(device.text(kTables), before);
  EXPECT_EQ(device.console(), std::string(kAppendTrace) + kTrace);
}

TEST(PolicyTableNames, AreWholeAfterShortReadsAndWrites) {
  for (const std::string call : {"read", "write"}) {
    sim::Device device;
    device.file(kTables, std::string(kDefaults) + "202 pf_office\nlast\n");
    sim::Faults &faults = device.faults();
    faults.before([&](size_t number) {
      if (faults.calls()[number - 1] == call)
        faults.fail(0, sim::Faults::kOnce, sim::Faults::ways(call) - 1);
    });
    doPolicyRoutingRemove(202, "office");
    EXPECT_EQ(device.text(kTables), std::string(kDefaults) + "last\n") << call;
    EXPECT_THAT(faults.failed(), testing::ElementsAre(call));
  }
}

// Another program appends a line in front of each call that the library makes to remove
// a name and to add one, where the file is replaced and where it is written in place.
TEST(PolicyTableNames, LoseNoLineThatAnotherProgramAppends) {
  for (bool in_place : {false, true}) {
    bool cut = false;
    for (size_t moment = 1;; moment++) {
      sim::Device device;
      device.file(kTables, "202 pf_office\n254 main\n203 pf_home\n");
      const std::string path = device.root().forReading(kTables);
      if (in_place) device.refuse(kNewTables);
      device.faults().before([&](size_t calls) {
        if (calls == moment) std::ofstream(path, std::ios::app) << "100 theirs\n";
      });
      doPolicyRoutingRemove(202, "office");
      change("br0", "new", 3, 1);
      device.faults().before(nullptr);
      if (device.faults().calls().size() < moment) break;
      // In place there is one call that cannot do both: to cut off what moved up.
      bool cuts = in_place && device.faults().calls()[moment - 1] == std::string("ftruncate");
      cut = cut || cuts;
      const std::string kept = "254 main\n203 pf_home\n", theirs = cuts ? "" : "100 theirs\n";
      EXPECT_THAT(device.text(kTables).value_or(""),
                  testing::AnyOf(kept + theirs + "204 pf_new\n", kept + "204 pf_new\n" + theirs))
          << device.faults().calls()[moment - 1];
    }
    EXPECT_EQ(cut, in_place) << "which was played";
  }
}

TEST(PolicyTableNames, LeaveLinesOfOthersWhereTheyAreOnAFullDisk) {
  for (size_t moment = 1;; moment++) {
    sim::Device device;
    device.file(kTables, "202 pf_office\n254 main\n").refuse(kNewTables);
    const std::string path = device.root().forReading(kTables);
    sim::Faults &faults = device.faults();
    faults.before([&](size_t calls) {
      if (calls == moment) std::ofstream(path, std::ios::app) << "100 theirs\n";
      if (calls > moment && faults.failed().empty() &&
          faults.calls()[calls - 1] == std::string("write"))
        faults.fail(0, sim::Faults::kOnce);
    });
    doPolicyRoutingRemove(202, "office");
    faults.before(nullptr);
    if (faults.failed().empty()) break;
    EXPECT_EQ(device.text(kTables), "202 pf_office\n254 main\n100 theirs\n") << moment;
  }
}

TEST(PolicyTableNames, OfManyRulesAreWrittenInProportion) {
  size_t calls[2];
  for (size_t i : {0, 1}) {
    const size_t count = 200 << i;
    sim::Device device;
    std::string rules, names;
    for (size_t n = 1; n <= count; n++) {
      rules += ",,0,,-1,LAN,br0,x" + std::to_string(n) + ";";
      names += std::to_string(201 + n) + " pf_x" + std::to_string(n) + "\n";
    }
    device.settings({{"PolicyRoutingRules", rules}});
    for (int times = 0; times < 2; times++) {
      executePolicyRoute();
      EXPECT_EQ(device.text(kTables), names);
    }
    calls[i] = device.faults().calls().size();
  }
  EXPECT_LT(calls[1], calls[0] * 2 + 100);

  // Without memory for all of them each rule writes its own.
  sim::Device device;
  device.settings({{"PolicyRoutingRules", ",,0,,-1,LAN,br0,a;,,0,,-1,LAN,br0,b\n1 c"}});
  device.file(kTables, "1203 pf_b\n202 pf_").memoryRunsOut();
  executePolicyRoute();
  EXPECT_EQ(device.text(kTables), "202 pf_\n202 pf_a\n203 pf_b\n");
  device.memoryRunsOut(false);
  executePolicyRoute();
  EXPECT_EQ(device.text(kTables), "202 pf_\n202 pf_a\n203 pf_b\n");
}

TEST(WanServiceNames, StandBetweenBars) {
  const std::pair<std::string, std::string> kCases[] = {
      {"srvName= srvName2=b srvName3= srvName4=d", "b||d"},
      {"srvName=a srvName2=", "a|||"},
      {"srvName4=d", "d"},
      {"", ""},
      {"srvName=" + std::string(300, 'x') + " srvName2=b", std::string(127, 'x')},
  };
  for (const auto &[settings, joined] : kCases) {
    sim::Device device;
    device.settings(settingsOf(settings));
    char names[128];
    EXPECT_EQ(wanSrvName(names), 1);
    EXPECT_EQ(names, joined);
  }
}
