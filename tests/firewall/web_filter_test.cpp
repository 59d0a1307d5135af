// MAC addresses, web content, URLs and hosts, and changing the host list.
#include <gmock/gmock.h>

#include "firewall/mac_filter.h"
#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

using sim::Settings;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Filter : sim::Device {
  explicit Filter(const Settings &more = {}) {
    buffered(
        settingsOf("websURLFilters= websHostFilters= websHostFiltersEnable=0 "
                   "websFilterProxy=0 websFilterJava=0 websFilterActivex=0 "
                   "websFilterCookies=0 websFilterTrustIP=0.0.0.0"));
    buffered(more);
  }

  std::string run() {
    forget();
    iptablesWebsFilterRun();
    return transcript(*this);
  }
};

}  // namespace

TEST(MacFilter, ABlockListPassesTheRestAnAllowListDropsIt) {
  const struct {
    const char *action;
    std::string rules, commands;
  } kCases[] = {
      {"DROP", "00:11:22:33:44:55;00:11:22:33:44:66;;00:11:22:33:44:77", R"(
ebtables -t nat -P MAC_Filter RETURN
ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:55 -j DROP
ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:66 -j DROP)"},  // an empty record ends the list
      {"ACCEPT", "", "\nebtables -t nat -P MAC_Filter DROP"},
      {"ACCEPT", "missing", ""},
      {"", "00:11:22:33:44:55", ""},
      {"drop", "00:11:22:33:44:55", ""},
      {"DROP", std::string(5000, 'a'),
       R"(
ebtables -t nat -P MAC_Filter RETURN
ebtables -t nat -A MAC_Filter -s )" +
           std::string(31, 'a') + " -j DROP"},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    device.buffered({{"MacFilterAction", c.action}});
    if (c.rules != "missing") device.buffered({{"MACFilterRules", c.rules}});
    MACFilterRun();
    EXPECT_EQ(transcript(device), c.commands);
  }
  EXPECT_STREQ(orba::endOfMacs(orba::Record({"", 0}, 1)).reason, "is empty and ends the list");
}

TEST(WebFilter, EverythingBlockedForEveryone) {
  Filter device(settingsOf(R"(
websFilterProxy=1 websFilterJava=1 websFilterActivex=1 websFilterCookies=1
websHostFilters=one.example;;two.example; websHostFiltersEnable=1)"));
  device.buffered({{"websURLFilters", "HTTP://bad.example/x;;http:/odd;" + std::string(300, 'u')}});
  EXPECT_EQ(device.run(), R"(
iptables -A web_filter -p tcp -m tcp --dport 80   -m webstr --content 15 -j REJECT --reject-with tcp-reset
iptables -A web_filter -p tcp -m tcp --dport 3128 -m webstr --content 15 -j REJECT --reject-with tcp-reset
iptables -A web_filter -p tcp -m tcp --dport 8080 -m webstr --content 15 -j REJECT --reject-with tcp-reset
iptables -A web_filter -p tcp -m tcp -m webstr --url  bad.example/x -j REJECT --reject-with tcp-reset
iptables -A web_filter -p tcp -m tcp -m webstr --url  http:/odd -j REJECT --reject-with tcp-reset
iptables -A web_filter -p tcp -m tcp -m webstr --url  )" +
                              std::string(255, 'u') +
                              R"( -j REJECT --reject-with tcp-reset
iptables -A web_filter -p tcp -m tcp -m webstr --host one.example -j REJECT --reject-with tcp-reset
iptables -A web_filter -p tcp -m tcp -m webstr --host two.example -j REJECT --reject-with tcp-reset)");
}

// Behind firewall_test.cpp's gateway, which blocks Java and ActiveX by 3.
TEST(WebFilter, EachContentClassHasItsBit) {
  for (const auto &[key, content] : {std::pair("websFilterJava", "--content 1 "),
                                     std::pair("websFilterCookies", "--content 4 ")}) {
    Filter device(Settings{{key, "1"}});
    device.run();
    EXPECT_THAT(device.commands(), testing::Contains(testing::HasSubstr(content)).Times(3));
    device.buffered({{key, "2"}});
    EXPECT_EQ(device.run(), "");
  }
}

TEST(WebFilter, ASingleMissingSettingStopsIt) {
  for (const char *key :
       {"websURLFilters", "websHostFilters", "websHostFiltersEnable", "websFilterProxy",
        "websFilterJava", "websFilterActivex", "websFilterCookies", "websFilterTrustIP"}) {
    Filter device(settingsOf("websFilterJava=1 websFilterProxy=1 websURLFilters=bad.example"));
    device.remove(key);
    EXPECT_EQ(device.run(), "") << key;
    EXPECT_EQ(device.printed(), "");
  }
}

TEST(HostList, AddingAHostStoresItAndRebuildsTheFilter) {
  Filter device(Settings{{"websHostFiltersEnable", "1"}});
  websHostFilter("one.example");
  websHostFilter("two example");
  EXPECT_THAT(device.writes(),
              ElementsAre("bufset 1 websHostFilters=one.example", "commit 1",
                          "bufset 1 websHostFilters=one.example;two example", "commit 1"));
  EXPECT_EQ(transcript(device), R"(
iptables -t filter -F web_filter
iptables -A web_filter -p tcp -m tcp -m webstr --host one.example -j REJECT --reject-with tcp-reset
iptables -t filter -F web_filter
iptables -A web_filter -p tcp -m tcp -m webstr --host one.example -j REJECT --reject-with tcp-reset
iptables -A web_filter -p tcp -m tcp -m webstr --host 'two example' -j REJECT --reject-with tcp-reset)");
}

TEST(HostList, ARefusedChangeChangesNothing) {
  Filter device(Settings{{"websHostFilters", "one.example"}});
  websHostFilter(nullptr);
  websHostFilter("two.example;three.example");
  device.memoryRunsOut();
  websHostFilter("two.example");
  websHostFilterDelete(0);
  device.memoryRunsOut(false);
  device.buffered({{"websHostFilters", ""}});
  websHostFilterDelete(0);
  device.remove("websHostFilters");
  websHostFilterDelete(0);
  EXPECT_THAT(device.writes(), IsEmpty());
  EXPECT_EQ(transcript(device), "");
}

TEST(HostList, DeletingTakesOutTheOneRecord) {
  const std::pair<int, const char *> kCases[] = {
      {0, "b;c"}, {1, "a;c"}, {2, "a;b"}, {3, "a;b;c"}, {-1, "a;b;c"}};
  for (const auto &[index, left] : kCases) {
    Filter device(Settings{{"websHostFilters", "a;b;c"}});
    websHostFilterDelete(index);
    EXPECT_THAT(device.writes(),
                ElementsAre(std::string("set 1 websHostFilters=") + left, "commit 1"));
    EXPECT_EQ(transcript(device), "\niptables -t filter -F web_filter");
  }
}
