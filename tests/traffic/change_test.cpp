// What a change of settings does to traffic, and what gets through while the firewall is rebuilt.
#include <gmock/gmock.h>

#include <set>

#include "tests/traffic/random_router.h"
#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/traffic/change.h"
#include "tools/traffic/meanwhile.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/trace.h"

using namespace orba::tool;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

using Settings = std::vector<std::pair<std::string, std::string>>;

// The example gateway, with a firewall that is shut from the Internet.
DeskRouter gateway(Settings changes) {
  std::vector<nvram::Setting> config = readConfig(ORBA_EXAMPLES "/gateway.conf");
  changes.insert(changes.begin(), {{"DefaultFirewallPolicy", "1"},
                                   {"SPIFWEnabled", "1"},
                                   {"telnetMode", "0"},
                                   {"icmpMode", "0"},
                                   {"aclMode", "0"}});
  for (const auto &[key, value] : changes) {
    std::erase_if(config, [key = key](const nvram::Setting &each) {
      return each.space == 1 && each.key == key;
    });
    config.push_back({1, key, value});
  }
  return deskRouter(config, setUpDeskDevice);
}

// The witness as a router knows its interfaces, with the same answer to all questions but those
// about what the first packet of a connection does not hold.
packets::Walk walked(const DeskRouter &desk, const std::string &from, packets::Packet packet,
                     uint64_t answer, bool begins = true, bool to_router = true) {
  const Side &side = *desk.side(from);
  packet[packets::kBridgePort] = desk.router.network().number(side.interface);
  if (to_router) packet[packets::kDestinationMac] = desk.own(side).mac;
  for (size_t i = 0; i < desk.router.unknowns().size(); i++) {
    const bool no = begins && packet[packets::kProtocol] == packets::kTcp &&
                    isAboutText(desk.router.unknowns()[i]);
    packet[static_cast<packets::FieldId>(packets::kFields + i)] = no ? 0 : answer;
  }
  return packets::walk(desk.router, packet);
}

// A line for each change; what each says of its witness is held against the other evaluator.
std::vector<std::string> changesOf(const DeskRouter &before, const DeskRouter &after,
                                   std::set<TrafficChange::Packets> kinds = {
                                       TrafficChange::kFirst}) {
  const TrafficChanges found = trafficChanges(before, after, setUpDeskDevice);
  std::vector<std::string> lines;
  for (const TrafficChange &each : found.changes) {
    const bool begins = each.packets <= TrafficChange::kNeighbours;
    const auto fate = [&](const DeskRouter &desk, uint64_t answer) {
      if (desk.side(each.from[0]) == nullptr) return Fate();
      const bool to_router = each.packets != TrafficChange::kFrames;
      return fateOf(walked(desk, each.from[0], each.witness, answer, begins, to_router),
                    each.witness, desk);
    };
    const std::string words = packetText(each.witness);
    EXPECT_TRUE(fate(before, 0) != fate(after, 0) || fate(before, 1) != fate(after, 1)) << words;
    for (auto [desk, passes] : {std::pair{&before, each.was_passed}, {&after, each.passes}}) {
      // What depends on several questions may fare alike for these two answers.
      if (passes == Passes::kDepends) continue;
      EXPECT_EQ(fate(*desk, 0).passes(), passes == Passes::kYes) << words;
      EXPECT_EQ(fate(*desk, 1).passes(), passes == Passes::kYes) << words;
    }
    if (kinds.count(each.packets) == 0) continue;
    std::string line = sidesText(each.from) + ":";
    for (const Slice &slice : each.slices) line += " " + protocolsText(slice) + othersText(slice);
    line += ": " + fateText(each.was) + " -> " + fateText(each.is);
    for (const SettingChange &cause : each.causes) line += ", " + settingChangeText(cause);
    lines.push_back(line);
  }
  return lines;
}

constexpr int kRandomPairs = 4;

constexpr char kForwards[] = "192.168.1.10,443,0,TCP;192.168.1.11,51820,0,UDP";

}  // namespace

TEST(TrafficChange, OfAForwardedPortIsThatPort) {
  const DeskRouter before = gateway({{"PortForwardRules", kForwards}});
  const DeskRouter after = gateway(
      {{"PortForwardRules", std::string(kForwards) + ";192.168.1.20,2222,0,TCP"}, {"SSID1", "x"}});
  const std::string cause =
      "dropped -> to 192.168.1.20, record 3 of PortForwardRules (192.168.1.20,2222,0,TCP) is new";
  const std::vector<std::string> lines = changesOf(before, after);
  EXPECT_EQ(lines.at(0), "the Internet: tcp 2222: " + cause);
  for (size_t i = 1; i < lines.size(); i++) EXPECT_THAT(lines[i], HasSubstr("the LAN: tcp 2222"));

  std::vector<std::string> back = changesOf(after, before);
  EXPECT_THAT(back, Contains("the Internet: tcp 2222: to 192.168.1.20 -> dropped, record 3 of "
                             "PortForwardRules (192.168.1.20,2222,0,TCP) is gone"));
  // A record that is another now goes elsewhere.
  back = changesOf(
      before, gateway({{"PortForwardRules", "192.168.1.10,443,0,TCP;192.168.1.13,51820,0,UDP"}}));
  EXPECT_EQ(back.at(0),
            "the Internet: udp 51820: to 192.168.1.11 -> to 192.168.1.13, record 2 of "
            "PortForwardRules is (192.168.1.13,51820,0,UDP), was (192.168.1.11,51820,0,UDP)");
}

TEST(TrafficChange, IsNoneWhereOnlyCommandsDiffer) {
  const std::string mail = "192.168.1.20,,0,0,any/0,,25,0,1,1,,,,,",
                    shares = "192.168.1.0/24,,0,0,any/0,,137,139,2,1,,,,,";
  const DeskRouter before = gateway({{"IPPortFilterRules", mail + ";" + shares}});
  const DeskRouter after = gateway({{"IPPortFilterRules", shares + ";" + mail}});
  EXPECT_NE(before.run("firewall_init").commands, after.run("firewall_init").commands);
  EXPECT_TRUE(trafficChanges(before, after, setUpDeskDevice).none());
  // The same order with another action is not the same.
  EXPECT_THAT(changesOf(before, gateway({{"IPPortFilterRules", mail}})), Not(IsEmpty()));
}

// What leaves by the same interface to another gateway, or is larger, is not the same traffic.
TEST(TrafficChange, SaysWhatItDoesNotCompare) {
  const auto differ = [](const Settings &one, const Settings &other) {
    return trafficChanges(gateway(one), gateway(other), setUpDeskDevice).not_compared;
  };
  const auto route = [](const char *gateway) {
    return Settings{
        {"RoutingRules", std::string("10.9.0.0,255.255.0.0,") + gateway + ",LAN,br0,,"}};
  };
  EXPECT_THAT(differ(route("192.168.1.254"), route("192.168.1.253")),
              ElementsAre("what another gateway does: to 10.9.0.0/16 by 192.168.1.253, before by "
                          "192.168.1.254"));
  const Settings ppp = {{"wanConnectionMode", "PPPOE"}, {"wan_MTU_manaul", "1"}};
  Settings larger = ppp, smaller = ppp;
  larger.emplace_back("wan_MTU", "1492");
  smaller.emplace_back("wan_MTU", "1400");
  EXPECT_THAT(differ(larger, smaller),
              ElementsAre("how large the segments of TCP connections get: rules of TCPMSS"));
  EXPECT_THAT(differ(larger, larger), IsEmpty());
}

// A drop rule then looks at all packets, not at those alone that begin a connection.
TEST(TrafficChange, OfInspectionIsOneOfConnectionsThatAreThere) {
  const DeskRouter before = gateway({}), after = gateway({{"SPIFWEnabled", "0"}});
  EXPECT_THAT(changesOf(before, after), IsEmpty());
  const std::vector<std::string> later = changesOf(before, after, {TrafficChange::kLater});
  EXPECT_THAT(later, Not(IsEmpty()));
  EXPECT_THAT(later, Each(HasSubstr("SPIFWEnabled=0, was 1")));
}

TEST(TrafficChange, OfADmzHostIsAllThatNobodyElseGets) {
  const DeskRouter before = gateway({{"DMZEnable", "0"}, {"PortForwardRules", kForwards}});
  const std::vector<std::string> lines =
      changesOf(before, gateway({{"DMZEnable", "1"}, {"PortForwardRules", kForwards}}));
  EXPECT_THAT(lines, Each(HasSubstr("-> to 192.168.1.50, DMZEnable=1, was 0")));
  EXPECT_THAT(lines.at(0), HasSubstr("tcp all ports but 161, 443"));
  // Nobody knows what the DMZ program would do.
  const TrafficChanges unknown = trafficChanges(
      before, gateway({{"DMZEnable", "2"}, {"PortForwardRules", kForwards}}), setUpDeskDevice);
  EXPECT_EQ(unknown.changes.at(0).passes, Passes::kDepends);
  EXPECT_THAT(unknown.changes[0].depends,
              Contains("what a program of the device does or the kernel chooses"));
}

// Of several settings each change has its own, and one that takes two has both.
// Random settings, and some of others put over: what is told is so, and what gets through now or
// no longer is told.
TEST(TrafficChange, IsWhatSinglePacketsMeet) {
  std::mt19937 random(15);
  for (int i = 0; i < kRandomPairs; i++) {
    std::vector<nvram::Setting> one = randomConfig(random), other = one;
    for (const nvram::Setting &each : randomConfig(random)) {
      if (random() % 12 != 0) continue;
      std::erase_if(other, [&](const nvram::Setting &old) { return old.key == each.key; });
      other.push_back(each);
    }
    SCOPED_TRACE(settingsText(one) + "then\n" + settingsText(other));
    const DeskRouter before = deskRouter(one, setUpDeskDevice),
                     after = deskRouter(other, setUpDeskDevice);
    changesOf(before, after);
    const TrafficChanges found = trafficChanges(before, after, setUpDeskDevice);
    packets::Diagrams diagrams;
    SideWays was(before, diagrams), is(after, diagrams);
    const Ends ends(after);
    for (int k = 0; k < 500; k++) {
      const Side &side = after.sides[random() % after.sides.size()];
      const Side *old = before.side(side.name);
      packets::Packet packet = randomPacket(random, side, is);
      if (old == nullptr || diagrams.value(is.beginnings(side), packet) == 0) continue;
      const auto passes = [&](const DeskRouter &desk, uint64_t answer) {
        return fateOf(walked(desk, side.name, packet, answer), packet, desk).passes();
      };
      const bool passed = passes(before, 0), now = passes(after, 0);
      if (passed == now || passes(before, 1) != passed || passes(after, 1) != now) continue;
      const bool first = ends.hosts.contains(packet[packets::kDestination]) &&
                         diagrams.value(is.ordinary(side), packet) != 0;
      const bool told =
          std::any_of(found.changes.begin(), found.changes.end(), [&](const TrafficChange &change) {
            const bool from = std::count(change.from.begin(), change.from.end(), side.name) != 0;
            if (!from ||
                (now ? change.passes <= change.was_passed : change.passes >= change.was_passed)) {
              return false;
            }
            if (!first) return change.slices.empty();
            return std::any_of(change.slices.begin(), change.slices.end(), [&](const Slice &slice) {
              return slice.protocols.contains(packet[packets::kProtocol]) &&
                     std::all_of(slice.fields.begin(), slice.fields.end(), [&](const auto &each) {
                       return each.second.contains(packet[each.first]);
                     });
            });
          });
      EXPECT_TRUE(told || found.more != 0)
          << side.name << ": " << packetText(packet) << (now ? " opens" : " shuts");
    }
  }
}

TEST(TrafficChange, IsBlamedOnTheLeastThatMakesIt) {
  const DeskRouter before = gateway({{"aclMode", "1"}, {"aclRules", "192.168.1.2"}});
  const DeskRouter after = gateway({{"aclMode", "1"},
                                    {"aclRules", "192.168.1.2;198.51.100.10"},
                                    {"icmpMode", "2"},
                                    {"telnetMode", "2"}});
  const std::vector<std::string> lines = changesOf(before, after);
  EXPECT_THAT(lines, Contains("the Internet: ping: dropped -> to the router, record 2 of aclRules "
                              "(198.51.100.10) is new, icmpMode=2, was 0"));
  EXPECT_THAT(lines,
              Contains("the Internet: tcp 23: dropped -> to the router, record 2 of aclRules "
                       "(198.51.100.10) is new, telnetMode=2, was 0"));
  EXPECT_THAT(lines, Contains(testing::EndsWith("record 2 of aclRules (198.51.100.10) is new")));
}

namespace {

// Each witness gets through while it is said to, and neither before nor afterwards.
void expectWindows(const DeskRouter &before, const Meanwhile &made) {
  for (const Window &window : made.windows) {
    DeskRouter desk = before;
    for (size_t i = 0; i <= made.commands.size(); i++) {
      if (i > 0) desk.router.run(made.commands[i - 1], before.commands.size() + i);
      const bool inside = i > window.opens && i <= window.shuts;
      if (!inside && i >= window.first && i <= window.last) continue;
      bool passes = false;
      for (uint64_t answer : {0, 1}) {
        const Fate fate = fateOf(walked(desk, window.from[0], window.witness, answer, false),
                                 window.witness, desk);
        passes = passes || fate.passes() || fate.kind == Fate::kProgram;
      }
      EXPECT_EQ(passes, inside) << i << " " << packetText(window.witness);
    }
  }
}

}  // namespace

// INPUT is emptied first, and its policy lets everything in until the last rule stands again.
TEST(Meanwhile, TelnetIsOpenWhileTheFirewallIsRebuilt) {
  const DeskRouter before = gateway({});
  const Meanwhile made = meanwhileOf(before, before.run("firewall_init"));
  ASSERT_THAT(made.windows, Not(IsEmpty()));
  const Window &first = made.windows[0];
  EXPECT_THAT(first.from, ElementsAre("wan"));
  EXPECT_THAT(made.commands.at(first.opens), HasSubstr("iptables -F INPUT"));
  EXPECT_THAT(made.commands.at(first.shuts), HasSubstr("-A INPUT ! -i br+ -j DROP"));
  expectWindows(before, made);
  std::mt19937 random(15);
  for (int i = 0; i < kRandomPairs / 2; i++) {
    const DeskRouter some = deskRouter(randomConfig(random), setUpDeskDevice);
    SCOPED_TRACE(settingsText(some.runs[0].config));
    expectWindows(some, meanwhileOf(some, some.run("firewall_init")));
  }
}
