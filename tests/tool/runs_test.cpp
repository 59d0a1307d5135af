// Runs of entry points, what differs between them, and where their commands
// come from.
#include <gmock/gmock.h>

#include <random>
#include <sstream>

#include "tools/device/desk_device.h"
#include "tools/play/difference.h"
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

std::vector<std::string> originsOf(const std::string &entry, const std::string &settings) {
  Recording run = runOf(settings, entry);
  Origins origins = orba::tool::originsOf(run, setUpDeskDevice);
  std::vector<std::string> lines;
  for (size_t i = 0; i < origins.size(); i++) {
    std::string line = run.commands[i];
    for (const Origin &origin : origins[i]) {
      line += std::string(" <- ") + roleName(origin.role) + " " + nameOf(origin) + "=" +
              valueOf(origin, run);
    }
    lines.push_back(line);
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

// The library remembers which modules it has loaded; the second run loads them like the first.
TEST(Recording, LeavesNothingBehindForTheNextOne) {
  auto first = runOf("SIPALGEnable=1\n"), second = runOf("SIPALGEnable=1\n");
  EXPECT_EQ(first.commands, second.commands);
  EXPECT_THAT(first.commands, testing::Not(testing::IsEmpty()));
  EXPECT_TRUE(differenceOf(first, second).none());
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

// A record alone is told from a plain value, and a setting that must merely be
// there is not named beside closer ones.
TEST(Origins, AreTheRecordTheValueAndTheSwitch) {
  EXPECT_THAT(originsOf("MACFilterRun", "MACFilterRules=00:11:22:33:44:01\nMacFilterAction=DROP\n"),
              ElementsAre("ebtables -t nat -P MAC_Filter RETURN <- because MacFilterAction=DROP",
                          "ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:01 -j DROP"
                          " <- record MACFilterRules, record 1=00:11:22:33:44:01"
                          " <- value MacFilterAction=DROP"));
  // Record 2 names no protocol and takes that of record 1, but is not from it.
  EXPECT_THAT(originsOf("iptablesPortForwardRun",
                        "OperationMode=1\ndefaultRouteNum=1\nwanConnectionMode=PPPOE\n"
                        "PortForwardRules=192.168.1.5,80,0,TCP;192.168.1.6,81,0,\n")
                  .back(),
              testing::EndsWith(" --to 192.168.1.6  <- record PortForwardRules, record 2="
                                "192.168.1.6,81,0, <- because defaultRouteNum=1"));
}
