// Runs of entry points, what differs between them, and where their commands
// come from.
#include <gmock/gmock.h>
#include <sys/mman.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/play/difference.h"
#include "tools/play/marked_list.h"
#include "tools/play/origin.h"
#include "tools/play/recording.h"
#include "tools/show/changes.h"

using namespace orba::tool;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<nvram::Setting> config(const std::string &text) {
  return nvram::parseSettings(text, nullptr);
}

Recording runOf(const std::string &settings, const std::string &entry = "firewall_init") {
  return record(config(settings), entry, {}, setUpDeskDevice);
}

// "COMMAND <- record KEY, record 1=VALUE <- because KEY=VALUE", one for each command of each line.
std::vector<std::string> originsOf(const std::string &entry, const std::string &settings) {
  Recording run = runOf(settings, entry);
  std::vector<std::string> lines;
  size_t number = 0;
  for (const std::vector<CommandOrigins> &line : orba::tool::originsOf(run, setUpDeskDevice)) {
    std::vector<std::string> commands = commandsOf(run.commands[number++]);
    EXPECT_EQ(line.size(), commands.size());
    for (size_t i = 0; i < line.size(); i++) {
      lines.push_back(commands[i]);
      for (const Origin &origin : line[i]) {
        lines.back() += std::string(" <- ") + roleName(origin.role) + " " + nameOf(origin) + "=" +
                        valueOf(origin, run);
      }
    }
  }
  return lines;
}

}  // namespace

TEST(Edits, LeadFromOneListToTheOtherAndKeepTheMost) {
  std::mt19937 random(1);
  for (int i = 0; i < 300; i++) {
    std::vector<std::string> before(random() % 9), after(random() % 9);
    for (auto *list : {&before, &after}) {
      for (std::string &line : *list) line = std::string(1, static_cast<char>('a' + random() % 4));
    }
    std::vector<std::string> left, right;
    size_t kept = 0, most = 0;
    for (const Edit &edit : editsBetween(before, after)) {
      if (edit.before != 0) left.push_back(before.at(edit.before - 1));
      if (edit.after != 0) right.push_back(after.at(edit.after - 1));
      kept += edit.kind == Edit::kKept ? 1 : 0;
    }
    EXPECT_EQ(left, before);
    EXPECT_EQ(right, after);
    // The longest common list, by trying every part of `before`.
    for (unsigned part = 0; part < 1u << before.size(); part++) {
      size_t at = 0, found = 0, wanted = 0;
      for (size_t k = 0; k < before.size(); k++) {
        if ((part >> k & 1) == 0) continue;
        wanted++;
        while (at < after.size() && after[at] != before[k]) at++;
        if (at < after.size()) at++, found++;
      }
      if (found == wanted) most = std::max(most, found);
    }
    EXPECT_EQ(kept, most);
  }
}

// The library remembers which modules it has loaded; every run loads them like the first, in
// a process of its own and in one that makes several.
TEST(Recording, LeavesNothingBehindForTheNextOne) {
  auto first = runOf("SIPALGEnable=1\n"), second = runOf("SIPALGEnable=1\n");
  EXPECT_THAT(first.commands, testing::Not(testing::IsEmpty()));
  EXPECT_TRUE(differenceOf(first, second).none());
  auto others = lookAtCalls(
      9,
      [&](size_t) {
        return CallToMake{first.config, first.entry, {}};
      },
      setUpDeskDevice,
      [&](size_t, const sim::Device &device) {
        return std::vector<size_t>{device.commands() == first.commands};
      });
  EXPECT_THAT(others, testing::AllOf(testing::SizeIs(9), testing::Each(ElementsAre(1))));
}

TEST(Recording, TellsWhatWentWrongInItsProcess) {
  auto throwing = [](sim::Device &) { throw BadArgument("no such device"); };
  EXPECT_THROW(record({}, "firewall_init", {}, throwing), BadArgument);
  EXPECT_THROW(record({}, "STF", {"one", "k", "v"}, nullptr), BadArgument);
  EXPECT_THROW(record({}, "firewall_init", {}, [](sim::Device &) { _exit(3); }),
               std::runtime_error);
}

TEST(Difference, TellsCommandsChainsAndPolicies) {
  std::string before =
      "OperationMode=1\nfirewallAction=DROP\nMacFilterAction=DROP\n"
      "MACFilterRules=00:11:22:33:44:01;00:11:22:33:44:02;00:11:22:33:44:03\n";
  std::string after =
      "OperationMode=1\nfirewallAction=ACCEPT\nMacFilterAction=DROP\n"
      "MACFilterRules=00:11:22:33:44:02;00:11:22:33:44:04\x1b;00:11:22:33:44:01\n";
  std::ostringstream out;
  auto difference = differenceOf(runOf(before), runOf(after));
  printDifference(out, difference, false);
  EXPECT_EQ(out.str(), R"(commands
       ...
    30  iptables -P INPUT ACCEPT
    31  iptables -P OUTPUT ACCEPT
-   32  iptables -P FORWARD ACCEPT
+   32  iptables -P FORWARD DROP
    33  ebtables -t nat -F MAC_Filter
    34  iptables -t filter -N port_forward 1>/dev/null 2>&1
       ...
    91  iptables -t filter -I MCL_IPCHAIN -j MCL_FILTER 1>/dev/null 2>&1
    92  ebtables -t nat -P MAC_Filter RETURN
-   93  ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:01 -j DROP
    93  ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:02 -j DROP
-   95  ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:03 -j DROP
+   94  ebtables -t nat -A MAC_Filter -s '00:11:22:33:44:04\x1b' -j DROP
+   95  ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:01 -j DROP
    96  iptables -t nat -D POSTROUTING -j LAN_NAT_CHAIN 1>/dev/null 2>&1
    97  /bin/super_dmz -f
       ...

ebtables nat MAC_Filter
     1  -s 00:11:22:33:44:02 -j DROP
-    3  -s 00:11:22:33:44:03 -j DROP
+    2  -s 00:11:22:33:44:04\x1b -j DROP
~    3  -s 00:11:22:33:44:01 -j DROP  (was 1)

iptables filter FORWARD (policy ACCEPT, now DROP)
)");
}

// A list by record, whichever way it came about; a network's value by its network; a row of the
// timetable by its fields.
TEST(ChangedSettings, AreToldByRecordAndField) {
  const std::string before =
      "AuthMode=OPEN;WPA2PSK\nPortForwardRules=192.168.1.10,443,0,TCP;192.168.1.11,80,0,TCP;"
      "192.168.1.12,53,0,UDP\nwlanSchedule1=1 0 22 1 6 0\nDMZEnable=0\nold=a;b\nSSID1=Home\n";
  const std::string after =
      "[2]\nSSID1=5G\n[1]\nDMZEnable=1\nwlanSchedule1=1 1 22 1 6 0\nSSID1=Home\nold=b;c\n"
      "PortForwardRules=192.168.1.12,53,0,UDP;192.168.1.10,443,0,TCP;192.168.1.11,80,90,TCP;"
      "192.168.1.20,22,0,TCP\nAuthMode=WPA2PSK\n";
  std::ostringstream out;
  const auto changed = changedSettings(config(before), config(after));
  printChangedSettings(out, changed, false);
  EXPECT_EQ(out.str(), R"(settings
~ PortForwardRules
      Ports that are forwarded to hosts of the LAN
~   record 2: 192.168.1.10,443,0,TCP  (was record 1)
~   record 3: 192.168.1.11,80,90,TCP  (was record 2)
        field 3 (last port): "0", now "90"
+   record 4: 192.168.1.20,22,0,TCP
~ DMZEnable: "0" (off), now "1" (rules)
      Whether a host gets everything from the WAN that nobody else takes, and how
~ AuthMode
      How stations prove themselves, a record a network
~   record 1: WPA2PSK
        was: OPEN
-   record 2: WPA2PSK
~ wlanSchedule1: "1 0 22 1 6 0", now "1 1 22 1 6 0"
      The timetable
        field 2 (mode): "0" (off inside the hours, on outside), now "1" (on inside, off outside)
+ SSID1 (space 2): "5G", which was not set
      The module's network
~ old
-   record 1: a
+   record 2: c
)");
  EXPECT_EQ(changedSettingsAsJson(changed)[0]["records"][1].dump(),
            R"({"change":"changed","before":{"record":2,"text":"192.168.1.11,80,0,TCP"},)"
            R"("after":{"record":3,"text":"192.168.1.11,80,90,TCP"},)"
            R"("fields":[{"field":3,"name":"last port","before":"0","after":"90"}]})");
  EXPECT_THAT(changedSettings(config(after), config(after)), IsEmpty());
}

// A record alone is told from a plain value, equal records from each other, whether or not they
// hold anything that could be another, and a setting that must merely be there is not named
// beside closer ones. Each rule of a line has its own.
TEST(Origins, AreTheRecordTheValueAndTheSwitch) {
  EXPECT_THAT(originsOf("MACFilterRun", "MACFilterRules=00:11:22:33:44:01\nMacFilterAction=DROP\n"),
              ElementsAre("ebtables -t nat -P MAC_Filter RETURN <- because MacFilterAction=DROP",
                          "ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:01 -j DROP"
                          " <- record MACFilterRules, record 1=00:11:22:33:44:01"
                          " <- value MacFilterAction=DROP"));
  // Record 2 names no protocol and takes that of record 1, but is not from it.
  const std::string gateway = "OperationMode=1\ndefaultRouteNum=1\nwanConnectionMode=PPPOE\n";
  EXPECT_THAT(
      originsOf("iptablesPortForwardRun",
                gateway + "PortForwardRules=192.168.1.5,80,0,TCP;192.168.1.5,80,0,\n"),
      ElementsAre(testing::HasSubstr("-A port_forward -i ppp0 -d 192.168.1.5 -p tcp --dport 80"
                                     "  -j ACCEPT <- record PortForwardRules, record 1="),
                  testing::HasSubstr(" <- record PortForwardRules, record 1="),
                  testing::HasSubstr(" <- record PortForwardRules, record 2="),
                  testing::EndsWith(" --to 192.168.1.5  <- record PortForwardRules, record 2="
                                    "192.168.1.5,80,0, <- because defaultRouteNum=1")));
  const std::string all = "any/0,,0,0,any/0,,0,0,5,1,,,,,";
  EXPECT_THAT(originsOf("iptablesIPPortFilterRun",
                        "DefaultFirewallPolicy=2\nIPPortFilterRules=" + all + ";" + all + "\n"),
              ElementsAre(testing::HasSubstr("LOG --log-level DEBUG --log-prefix "
                                             "[FirewallLog]Filter: <- record IPPortFilterRules, "
                                             "record 1="),
                          testing::HasSubstr(", record 1="), testing::HasSubstr(", record 2="),
                          testing::HasSubstr(", record 2=")));
  EXPECT_THAT(
      originsOf("iptablesDMZRun", gateway + "DMZEnable=1\nDMZAddress=192.168.1.50\n"
                                            "DMZAvoidTCPPort80=1\nRMWWWServerPort=8080\n"),
      ElementsAre(
          "iptables -t filter -A DMZ -i ppp0 -d 192.168.1.50 -j ACCEPT <- value "
          "DMZAddress=192.168.1.50 <- because defaultRouteNum=1 <- because wanConnectionMode=PPPOE <- because DMZEnable=1",
          "iptables -t nat -A DMZ -i ppp0 -p tcp --dport 7547 -j RETURN <- because "
          "defaultRouteNum=1 <- because wanConnectionMode=PPPOE <- because DMZEnable=1",
          "iptables -t nat -A DMZ -i ppp0 -p tcp --dport 161 -j RETURN <- because "
          "defaultRouteNum=1 <- because wanConnectionMode=PPPOE <- because DMZEnable=1",
          "iptables -t nat -A DMZ -j DNAT -i ppp0 --to 192.168.1.50 <- value "
          "DMZAddress=192.168.1.50 <- because defaultRouteNum=1 <- because wanConnectionMode=PPPOE <- because DMZEnable=1",
          "iptables -t nat -A DMZ -j DNAT -i ppp0 -p tcp --dport ! 8080 --to 192.168.1.50 <- value "
          "RMWWWServerPort=8080 <- value DMZAddress=192.168.1.50 <- because DMZAvoidTCPPort80=1 <- "
          "because defaultRouteNum=1 <- because wanConnectionMode=PPPOE <- because DMZEnable=1"));
}

namespace {

// Records for a list of a random gateway, of few values so that many are equal.
struct RandomList {
  const char *key;
  std::vector<std::string> records;
};

const std::vector<RandomList> kLists = {
    {"IPPortFilterRules",
     {"192.168.1.20,,0,0,any/0,,25,0,1,1,,,,,", "192.168.1.0/24,,0,0,any/0,,137,139,2,1,,,,,",
      "any/0,,0,0,any/0,,53,0,2,1,,,,,", "any/0,,0,0,any/0,,0,0,4,1,,,,,",
      "any/0,,0,0,any/0,,0,0,5,1,,00:0C:43:28:60:2A,,,", "any/0,,0,0,any/0,,70000,0,5,1,,,,,",
      "any/0,,0,0,any/0,,80,443,1,1,,00:0C:43:30:00:00,00:0C:43:30:00:FF,,"}},
    {"PortForwardRules",
     {"192.168.1.10,443,0,TCP", "192.168.1.12,6881,6889,TCP&UDP", "192.168.1.11,53,0,UDP",
      "x,1,2"}},
    {"MACFilterRules", {"00:0C:43:66:66:66", "02:1A:11:F0:0D:5E", "none"}},
    {"aclRules", {"192.168.1.2", "192.168.1.32-192.168.1.63", "198.51.100.10"}},
    {"websURLFilters", {"http://ads.example.com/banner", "ads.example.com", "tracker"}},
    {"websHostFilters", {"casino.example.com", "games.example.org", "casino"}},
};

}  // namespace

// Only where nothing but the record's own value differs.
TEST(MarkedList, KnowsItsMarksInCommands) {
  const MarkedList list({"192.168.1.2-192.168.1.9", "00:0C:43:66:66:66", "http://ads.example.com"},
                        nullptr);
  EXPECT_EQ(list.text(), "1.0.1.1-192.168.1.9;00:00:00:00:00:02;http://r3.example.com");
  EXPECT_THAT(list.carriedBy("-s 1.0.1.1/32 r3.x", "-s 192.168.1.2/32 ads.x"), ElementsAre(1, 3));
  EXPECT_THAT(list.carriedBy("-s 1.0.1.1", "-s 192.168.1.9"), IsEmpty());
  EXPECT_THAT(list.carriedBy("-s 1.0.1.1", "-s 192.168.1.2 -j DROP"), IsEmpty());
}

// Without the record that is named, its commands are gone, and no other; of a long list too, of
// which one record of a kind speaks for the others.
TEST(Origins, AreTheRecordsWithoutWhichTheirCommandsAreGone) {
  std::mt19937 random(15);
  const std::string example = ORBA_EXAMPLES "/gateway.conf";
  for (int round = 0; round < 2; round++) {
    std::vector<nvram::Setting> gateway = readConfig(example);
    auto put = [&](const std::string &key, const std::vector<std::string> &records) {
      std::string list;
      for (const std::string &record : records) list += (list.empty() ? "" : ";") + record;
      for (nvram::Setting &setting : gateway) {
        if (setting.space == 1 && setting.key == key) setting.value = list;
      }
    };
    std::map<std::string, std::vector<std::string>> lists;
    for (const RandomList &list : kLists) {
      std::vector<std::string> &records = lists[list.key];
      const bool is_long = round == 1 && lists.size() == 1;
      for (size_t left = is_long ? 40 : 1 + random() % 6; left > 0; left--) {
        records.push_back(list.records[random() % list.records.size()]);
      }
      put(list.key, records);
    }
    Recording run = record(gateway, "firewall_init", {}, setUpDeskDevice);
    Origins origins = originsOf(run, setUpDeskDevice);
    size_t told = 0;
    for (const auto &[key, records] : lists) {
      for (size_t i = 0; i < records.size(); i++) {
        std::vector<std::string> others = records, left;
        others.erase(others.begin() + static_cast<long>(i));
        put(key, others);
        const Origin without = {Origin::kRecord, 1, key, static_cast<int>(i) + 1};
        for (size_t line = 0; line < origins.size(); line++) {
          bool its = testing::Value(origins[line].front(), testing::Contains(without));
          if (!its) left.push_back(run.commands[line]);
          told += its ? 1 : 0;
        }
        EXPECT_EQ(recordCommands(gateway, "firewall_init", {}, setUpDeskDevice), left)
            << nameOf(without) << " of " << valueOf({Origin::kValue, 1, key}, run);
      }
      put(key, records);
    }
    EXPECT_GT(told, 6u);
  }
}

// A record without a protocol takes that of the one before it, which is of a kind with an earlier
// one: left out, it would make another command of this one, and so the list stays as it is.
TEST(Origins, OfALongListWhoseRecordsLeanOnOthersAreTheirs) {
  std::string settings =
      "OperationMode=1\ndefaultRouteNum=1\nwanConnectionMode=PPPOE\nPortForwardRules=";
  for (int i = 0; i < 40; i++) {
    const char *const protocols[] = {"TCP", "UDP", "TCP", ""};
    settings +=
        (i > 0 ? ";" : "") + ("192.168.1.5," + std::to_string(1000 + i)) + ",0," + protocols[i % 4];
  }
  const Recording run = runOf(settings + "\n", "iptablesPortForwardRun");
  const Origins origins = orba::tool::originsOf(run, setUpDeskDevice);
  ASSERT_EQ(origins.size(), 80u);
  for (int i = 0; i < 80; i++) {
    const Origin its = {Origin::kRecord, 1, "PortForwardRules", i / 2 + 1};
    ASSERT_EQ(origins[static_cast<size_t>(i)].front().front(), its)
        << run.commands[static_cast<size_t>(i)];
  }
}

// Of a list of any length all that a short one tells, by two runs more: one finds out which
// commands are a record's, one that those of one record of each kind are the same without the rest.
TEST(Origins, OfTwoThousandRecordsCostTwoMoreRunsThanOfFive) {
  auto *runs = static_cast<std::atomic<int> *>(mmap(nullptr, sizeof(std::atomic<int>),
                                                    PROT_READ | PROT_WRITE,
                                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  auto counted = [&](sim::Device &device) {
    ++*runs;
    setUpDeskDevice(device);
  };
  auto tell = [&](size_t records) {
    std::string list = "firewallAction=DROP\nDefaultFirewallPolicy=0\nIPPortFilterRules=";
    for (size_t i = 0; i < records; i++) {
      list += (i > 0 ? ";" : "") + kLists[0].records[i % 5 == 3 ? 6 : i % 5];
    }
    Recording run = record(config(list + "\n"), "iptablesIPPortFilterRun", {}, counted);
    EXPECT_EQ(run.commands.size(), records * 2 + 2);
    *runs = 0;
    return originsOf(run, counted);
  };
  const Origins of_five = tell(5);
  const int runs_of_five = *runs;
  const Origins of_many = tell(2000);
  EXPECT_EQ(*runs, runs_of_five + 2);
  for (size_t i = 0; i < of_many.size(); i++) {
    const bool end = i >= 4000;
    std::vector<CommandOrigins> expected = of_five[end ? i - 4000 + 10 : i % 10];
    for (Origin &origin : expected.front()) {
      if (origin.role == Origin::kRecord && !end) origin.record = static_cast<int>(i / 2 + 1);
    }
    ASSERT_EQ(of_many[i], expected) << i;
  }
  munmap(runs, sizeof *runs);
}
