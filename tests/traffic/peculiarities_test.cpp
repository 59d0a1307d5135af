// What a user of a setting would not guess: that it is so.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "tools/catalog/peculiarities.h"
#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/play/recording.h"
#include "tools/show/check.h"
#include "tools/text/lines.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/trace.h"

using namespace orba::tool;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace {

Prepare deskWith(const std::string &line) {
  static const std::string file = testing::TempDir() + "peculiar_device.txt";
  std::ofstream(file) << line << "\n";
  return [](sim::Device &made) { DeskDevice{"", file}.prepare(made); };
}

std::vector<nvram::Setting> settingsOf(const Evidence &evidence) {
  std::vector<nvram::Setting> config;
  if (!evidence.packet.empty()) config = readConfig(ORBA_EXAMPLES "/minimal.conf");
  for (const std::string &line : evidence.settings) {
    const size_t equals = line.find('=');
    config.push_back({1, line.substr(0, equals), line.substr(equals + 1)});
  }
  return config;
}

std::string doneBy(const Evidence &evidence) {
  const std::vector<std::string> words(evidence.call.begin() + 1, evidence.call.end());
  const Recording run =
      record(settingsOf(evidence), evidence.call[0], words, deskWith(evidence.device));
  std::string all;
  for (const std::string &command : run.commands) all += command + "\n";
  for (const sim::Event &event : run.events) {
    if (event.kind == sim::Event::kPipe) all += event.text + "\n";
  }
  for (const std::string &write : run.writes) all += write + "\n";
  for (const std::string &output : run.result.outputs) all += output + "\n";
  return all + run.result.returned + "\n";
}

std::string becomesOf(const Evidence &evidence) {
  PacketQuestion question;
  std::istringstream(evidence.packet) >> question.from >> question.source >> question.destination >>
      question.protocol;
  const DeskRouter desk = deskRouter(settingsOf(evidence), deskWith(evidence.device));
  const packets::Walk way = waysOf(packetOf(question, desk), desk)[0].walk;
  std::string text = verdictName(way.verdict);
  if (way.verdict == packets::Verdict::kForwarded) {
    text += " to " + packets::addressText(way.end[packets::kDestination]) + " by " +
            desk.router.network().interfaces[way.end[packets::kOut]].name;
  }
  for (packets::FieldId asked : way.asked) {
    text += ", or not: " + desk.router.unknowns()[asked - packets::kFields];
  }
  return text;
}

}  // namespace

// Every sentence has a run or a packet that would come out otherwise if it were not true.
TEST(Peculiarities, AreShownByRunsAndPackets) {
  std::set<std::string> described;
  for (const SettingDescription &each : settingDescriptions()) described.insert(each.key);
  for (const Peculiarity &each : peculiarities()) {
    SCOPED_TRACE(each.sentence);
    for (const std::string &key : each.keys) EXPECT_THAT(described, Contains(key));
    EXPECT_FALSE(each.shown.empty());
    for (const Evidence &evidence : each.shown) {
      ASSERT_NE(evidence.call.empty(), evidence.packet.empty());
      if (!evidence.packet.empty()) {
        EXPECT_EQ(becomesOf(evidence), evidence.verdict) << evidence.packet;
        continue;
      }
      EXPECT_FALSE(evidence.seen.empty() && evidence.not_seen.empty());
      const std::string done = doneBy(evidence);
      size_t at = 0;
      for (const std::string &part : evidence.seen) {
        at = done.find(part, at);
        EXPECT_NE(at, std::string::npos) << part << " is not in its place in\n" << done;
      }
      for (const std::string &part : evidence.not_seen) EXPECT_THAT(done, Not(HasSubstr(part)));
    }
  }
}

// A finding where the configuration has the trouble, and none when one circumstance is missing.
TEST(Peculiarities, AreFoundInConfigurationsThatHaveTheTrouble) {
  const std::map<std::string, std::pair<std::string, std::string>> cases = {
      // The finding's setting, a configuration with the trouble, and what takes it away.
      {"PolicyRoutingRules", {"PolicyRoutingRules=;;;;;;", "PolicyRoutingRules=;;;;;"}},
      {"MacFilterAction", {"MacFilterAction=ACCEPT MACFilterRules=", "MacFilterAction=DROP"}},
      {"aclMode", {"aclMode=1 tftpMode=0", "tftpMode=3"}},
      {"PortForwardEnable",
       {"PortForwardEnable=0 PortForwardRules=192.168.1.10,443,0,TCP", "PortForwardRules="}},
      {"SinglePortForwardEnable",
       {"SinglePortForwardEnable=1 SinglePortForwardRules=web,8090,0,1", "DMZEnable=2"}},
      {"DMZAvoidTCPPort80",
       {"DMZAvoidTCPPort80=1 DMZEnable=1 DMZAddress=192.168.1.50", "DMZAddress="}},
  };
  size_t troubles = 0;
  for (const Peculiarity &each : peculiarities()) {
    if (each.trouble.empty()) continue;
    troubles++;
    const std::string &key = each.keys[0];
    ASSERT_TRUE(cases.contains(key)) << key;
    const auto &[with, without] = cases.at(key);
    for (bool trouble : {true, false}) {
      sim::Device device;
      std::istringstream lines(trouble ? with : with + " " + without);
      for (std::string line; lines >> line;) {
        const size_t equals = line.find('=');
        device.settings({{line.substr(0, equals), line.substr(equals + 1)}});
      }
      size_t found = 0;
      for (const Finding &finding : checkSettings(device)) {
        found += finding.key == key && finding.reason == each.reason ? 1 : 0;
      }
      EXPECT_EQ(found, trouble ? 1u : 0u) << key;
    }
  }
  EXPECT_EQ(troubles, cases.size());
}
