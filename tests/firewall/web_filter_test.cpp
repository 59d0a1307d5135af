// MAC addresses, web content, URLs and hosts, and changing the host list.
#include <gmock/gmock.h>

#include "firewall/mac_filter.h"
#include "orba_util.h"
#include "sim/device.h"

using sim::Settings;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> filterMacs(const std::string &action, const std::string &rules) {
  sim::Device device;
  device.settings({{"MacFilterAction", action}, {"MACFilterRules", rules}});
  MACFilterRun();
  return device.commands();
}

struct Filter : sim::Device {
  explicit Filter(const Settings &more = {}) {
    settings({{"websURLFilters", ""},
              {"websHostFilters", ""},
              {"websHostFiltersEnable", "0"},
              {"websFilterProxy", "0"},
              {"websFilterJava", "0"},
              {"websFilterActivex", "0"},
              {"websFilterCookies", "0"},
              {"websFilterTrustIP", "0.0.0.0"}});
    settings(more);
  }

  std::vector<std::string> run() {
    forget();
    iptablesWebsFilterRun();
    return commands();
  }
};

}  // namespace

TEST(MacFilter, ABlockListPassesTheRestAnAllowListDropsIt) {
  EXPECT_THAT(filterMacs("DROP", "00:11:22:33:44:55;00:11:22:33:44:66"),
              ElementsAre("ebtables -t nat -P MAC_Filter RETURN",
                          "ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:55 -j DROP",
                          "ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:66 -j DROP"));
  EXPECT_THAT(filterMacs("ACCEPT", "00:11:22:33:44:55"),
              ElementsAre("ebtables -t nat -P MAC_Filter DROP",
                          "ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:55 -j ACCEPT"));
}

TEST(MacFilter, AnEmptyRecordEndsTheList) {
  EXPECT_THAT(filterMacs("DROP", "00:11:22:33:44:55;;00:11:22:33:44:66"),
              ElementsAre("ebtables -t nat -P MAC_Filter RETURN",
                          "ebtables -t nat -A MAC_Filter -s 00:11:22:33:44:55 -j DROP"));
  EXPECT_THAT(filterMacs("ACCEPT", ""), ElementsAre("ebtables -t nat -P MAC_Filter DROP"));
  EXPECT_STREQ(orba::endOfMacs(orba::Record({"", 0}, 1)).reason, "is empty and ends the list");
}

TEST(MacFilter, DoesNothingWithoutAListOrAnAction) {
  EXPECT_THAT(filterMacs("", "00:11:22:33:44:55"), IsEmpty());
  EXPECT_THAT(filterMacs("drop", "00:11:22:33:44:55"), IsEmpty());
  sim::Device device;
  device.settings({{"MacFilterAction", "ACCEPT"}});
  MACFilterRun();
  EXPECT_THAT(device.commands(), IsEmpty());
}

TEST(MacFilter, HostileAddressesStayOneWord) {
  EXPECT_THAT(filterMacs("DROP", "00:11 -j ACCEPT;$(reboot);" + std::string(5000, 'a')),
              ElementsAre("ebtables -t nat -P MAC_Filter RETURN",
                          "ebtables -t nat -A MAC_Filter -s '00:11 -j ACCEPT' -j DROP",
                          "ebtables -t nat -A MAC_Filter -s '$(reboot)' -j DROP",
                          "ebtables -t nat -A MAC_Filter -s " + std::string(31, 'a') + " -j DROP"));
}

TEST(WebFilter, EverythingBlockedForEveryone) {
  Filter device(Settings{{"websFilterProxy", "1"},
                         {"websFilterJava", "1"},
                         {"websFilterActivex", "1"},
                         {"websFilterCookies", "1"},
                         {"websURLFilters", "HTTP://bad.example/x;;http:/odd;worse.example"},
                         {"websHostFilters", "one.example;;two.example;"},
                         {"websHostFiltersEnable", "1"}});
  EXPECT_THAT(
      device.run(),
      ElementsAre(
          "iptables -A web_filter -p tcp -m tcp --dport 80   -m webstr --content 15 -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -p tcp -m tcp --dport 3128 -m webstr --content 15 -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -p tcp -m tcp --dport 8080 -m webstr --content 15 -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -p tcp -m tcp -m webstr --url  bad.example/x -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -p tcp -m tcp -m webstr --url  http:/odd -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -p tcp -m tcp -m webstr --url  worse.example -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -p tcp -m tcp -m webstr --host one.example -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -p tcp -m tcp -m webstr --host two.example -j REJECT --reject-with tcp-reset"));
}

TEST(WebFilter, ATrustedAddressIsSparedContentAndHostsButNotUrls) {
  Filter device(Settings{{"websFilterTrustIP", "192.168.1.9"},
                         {"websFilterCookies", "1"},
                         {"websURLFilters", "bad.example"},
                         {"websHostFilters", "one.example"},
                         {"websHostFiltersEnable", "1"}});
  EXPECT_THAT(
      device.run(),
      ElementsAre(
          "iptables -A web_filter -s ! 192.168.1.9 -p tcp -m tcp --dport 80   -m webstr --content 4 -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -s ! 192.168.1.9 -p tcp -m tcp --dport 3128 -m webstr --content 4 -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -s ! 192.168.1.9 -p tcp -m tcp --dport 8080 -m webstr --content 4 -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -p tcp -m tcp -m webstr --url  bad.example -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -s ! 192.168.1.9 -p tcp -m tcp -m webstr --host one.example -j REJECT --reject-with tcp-reset"));
}

TEST(WebFilter, EachContentClassHasItsBit) {
  const struct {
    const char *key;
    const char *content;
  } kClasses[] = {{"websFilterJava", "--content 1 "},
                  {"websFilterActivex", "--content 2 "},
                  {"websFilterCookies", "--content 4 "},
                  {"websFilterProxy", "--content 8 "}};
  for (const auto &expected : kClasses) {
    Filter device(Settings{{expected.key, "1"}});
    EXPECT_THAT(device.run(), testing::Contains(testing::HasSubstr(expected.content)).Times(3));
    device.settings({{expected.key, "2"}});
    EXPECT_THAT(device.run(), IsEmpty());
  }
}

TEST(WebFilter, ASingleMissingSettingStopsIt) {
  for (const char *key :
       {"websURLFilters", "websHostFilters", "websHostFiltersEnable", "websFilterProxy",
        "websFilterJava", "websFilterActivex", "websFilterCookies", "websFilterTrustIP"}) {
    Filter device(Settings{{"websFilterJava", "1"}, {"websURLFilters", "bad.example"}});
    EXPECT_EQ(device.run().size(), 4u);
    device.remove(key);
    EXPECT_THAT(device.run(), IsEmpty()) << key;
    EXPECT_EQ(device.printed(), "");
  }
}

TEST(WebFilter, HostileValuesStayOneWord) {
  Filter device(Settings{{"websFilterTrustIP", "1.1.1.1`id`"},
                         {"websURLFilters", "http://a'$(reboot)\n|sh;" + std::string(5000, 'u')},
                         {"websHostFilters", "h && sh"},
                         {"websHostFiltersEnable", "1"}});
  EXPECT_THAT(
      device.run(),
      ElementsAre(
          "iptables -A web_filter -p tcp -m tcp -m webstr --url  'a'\\''$(reboot)\n|sh' -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -p tcp -m tcp -m webstr --url  " + std::string(255, 'u') +
              " -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -s ! '1.1.1.1`id`' -p tcp -m tcp -m webstr --host 'h && sh' -j REJECT --reject-with tcp-reset"));
}

TEST(HostList, AddingAHostStoresItAndRebuildsTheFilter) {
  Filter device(Settings{{"websHostFiltersEnable", "1"}});
  websHostFilter("one.example");
  websHostFilter("two example");
  EXPECT_THAT(device.writes(),
              ElementsAre("set 1 websHostFilters=one.example", "commit 1",
                          "set 1 websHostFilters=one.example;two example", "commit 1"));
  EXPECT_THAT(
      device.commands(),
      ElementsAre(
          "iptables -t filter -F web_filter",
          "iptables -A web_filter -p tcp -m tcp -m webstr --host one.example -j REJECT --reject-with tcp-reset",
          "iptables -t filter -F web_filter",
          "iptables -A web_filter -p tcp -m tcp -m webstr --host one.example -j REJECT --reject-with tcp-reset",
          "iptables -A web_filter -p tcp -m tcp -m webstr --host 'two example' -j REJECT --reject-with tcp-reset"));
}

TEST(HostList, ARefusedHostChangesNothing) {
  Filter device(Settings{{"websHostFilters", "one.example"}});
  websHostFilter(nullptr);
  websHostFilter("two.example;three.example");
  device.memoryRunsOut();
  websHostFilter("two.example");
  websHostFilterDelete(0);
  EXPECT_THAT(device.writes(), IsEmpty());
  EXPECT_THAT(device.commands(), IsEmpty());
}

TEST(HostList, DeletingTakesOutTheOneRecord) {
  const struct {
    int index;
    const char *left;
  } kCases[] = {{0, "b;c"}, {1, "a;c"}, {2, "a;b"}, {3, "a;b;c"}, {-1, "a;b;c"}};
  for (const auto &expected : kCases) {
    Filter device(Settings{{"websHostFilters", "a;b;c"}});
    websHostFilterDelete(expected.index);
    EXPECT_THAT(device.writes(),
                ElementsAre(std::string("set 1 websHostFilters=") + expected.left, "commit 1"));
    EXPECT_THAT(device.commands(), ElementsAre("iptables -t filter -F web_filter"));
  }
  for (const auto &gone : {Settings{{"websHostFilters", ""}}, Settings{}}) {
    sim::Device device;
    device.settings(gone);
    websHostFilterDelete(0);
    EXPECT_THAT(device.writes(), IsEmpty());
    EXPECT_THAT(device.commands(), IsEmpty());
  }
}
