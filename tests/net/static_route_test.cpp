// Static routes of both lists.
#include <gmock/gmock.h>

#include "net/routing_rule.h"
#include "net/wan_static_route.h"
#include "orba_util.h"
#include "sim/device.h"
#include "tests/net/kernel_routes.h"
#include "tests/transcript.h"

namespace {

constexpr char kRules[] =
    "192.168.5.0,255.255.255.0,192.168.1.254,LAN,br0,,;"
    "10.9.9.9,255.255.255.255,,LAN,br0,,;"
    "10.7.7.7,255.255.255.255,192.168.1.7,wan,br0,,a host;"
    "10.2.0.0,255.255.0.0,10.0.0.1,LAN,eth2.2,;"  // six fields
    ";"
    "10.1.0.0,255.255.0.0,0.0.0.0,WAN,eth2.2,custom,to work";

int indexOf(std::string dest, std::string mask, std::string ifname) {
  return getIndexOfRoutingRule(dest.data(), mask.data(), ifname.data());
}

}  // namespace

TEST(RoutingRules, ReplaceTheKernelsRoutesOfTheirs) {
  sim::Device device;
  device.settings({{"OperationMode", "1"}, {"RoutingRules", kRules}});
  device.file(kRoutes, kernelRoutes({
                           route("br0", "192.168.1.0", "0.0.0.0", "255.255.255.0", kUp),
                           route("eth2.2", "10.1.0.0", "10.0.0.1", "255.255.0.0", 0),
                           route("br0", "10.9.9.9", "0.0.0.0", "255.255.255.255", kUp),
                           route("eth2.2", "10.9.9.9", "0.0.0.0", "255.255.255.255", kUp),
                           route("eth2.2", "10.2.0.0", "0.0.0.0", "255.255.0.0", kUp),
                       }));
  RoutingInit();
  // The record of 10.2.0.0 is too short to be installed, but names its route.
  EXPECT_EQ(transcript(device), R"(
route del -net 10.1.0.0  netmask 255.255.0.0 dev eth2.2 
route del -host 10.9.9.9  dev br0 
route del -net 10.2.0.0  netmask 255.255.0.0 dev eth2.2 
route add -net 192.168.5.0  netmask 255.255.255.0 gw 192.168.1.254 dev br0 2>&1 
route add -host 10.9.9.9  dev br0 2>&1 
route add -host 10.7.7.7  gw 192.168.1.7 dev br0 2>&1 
route add -net 10.1.0.0  netmask 255.255.0.0 dev eth2.2 2>&1 )");
  EXPECT_EQ(device.shellLines().back(),
            "route add -net 10.1.0.0  netmask 255.255.0.0 dev eth2.2 2>&1  1>/dev/null 2>&1");
  EXPECT_EQ(device.printed(), "");

  for (const char *mode : {"0", "2", "3", "1 "}) {
    device.forget();
    device.settings({{"OperationMode", mode}});
    staticRoutingInit();
    EXPECT_EQ(device.commands().back(), "route add -host 10.7.7.7  gw 192.168.1.7 dev br0 2>&1 ");
    EXPECT_EQ(device.printed(),
              "Skip WAN routing rule in the non-Gateway mode: "
              "route add -net 10.1.0.0  netmask 255.255.0.0 dev eth2.2 2>&1 \n");
  }
}

TEST(RoutingRules, AreReadOnceForAllRoutesOfTheKernel) {
  std::string rules, commands;
  std::vector<std::string> routes;
  for (int i = 0; i < 50; i++) {
    const std::string address = "10.0.0." + std::to_string(i);
    const std::string ifname = std::string(30, 'i') + static_cast<char>('0' + i % 3);
    rules += address + ",255.255.255.255,,LAN," + ifname + "_cut,,;";
    routes.push_back(route(ifname.c_str(), address.c_str(), "0.0.0.0", "255.255.255.255", kUp));
    commands += "\nroute del -host " + address + "  dev " + ifname + " ";
  }
  // Without memory it takes longer and comes to the same.
  for (bool memory : {true, false}) {
    sim::Device device;
    device.settings({{"RoutingRules", rules}}).file(kRoutes, kernelRoutes(routes));
    device.memoryRunsOut(!memory);
    RoutingInit();
    EXPECT_THAT(transcript(device), testing::StartsWith(commands + "\nroute add"));
    auto &calls = device.faults().calls();
    long reads = std::count(calls.begin(), calls.end(), std::string("nvram_bufget"));
    EXPECT_EQ(reads, memory ? 3 : 53);
  }
}

TEST(RoutingRules, AreNotInstalledWithoutAKernelTableToRead) {
  sim::Device device;
  device.settings({{"OperationMode", "1"}, {"RoutingRules", kRules}});
  RoutingInit();
  EXPECT_EQ(transcript(device) + device.printed(), "");

  device.file(kRoutes, kernelRoutes({route("br0", "10.9.9.9", "0.0.0.0", "255.255.255.255", kUp),
                                     "br0 0 0 1 0 0 0\n",
                                     route("eth2.2", "10.1.0.0", "0.0.0.0", "255.255.0.0", kUp)}));
  RoutingInit();
  EXPECT_EQ(transcript(device), "\nroute del -host 10.9.9.9  dev br0 ");
  EXPECT_EQ(device.printed(), "format error\n");
}

TEST(RoutingRules, AreFoundByDestinationMaskAndInterface) {
  sim::Device device;
  EXPECT_EQ(indexOf("", "", ""), -1);
  device.settings({{"RoutingRules", kRules}});
  EXPECT_EQ(indexOf("10.2.0.0", "255.255.0.0", "eth2.2"), 3);
  EXPECT_EQ(indexOf("10.1.0.0", "255.255.0.0", "eth2.2"), 5);
  EXPECT_EQ(indexOf("10.1.0.0", "255.255.0.0", "eth2"), -1);
  EXPECT_EQ(indexOf("10.1.0.0", "255.255.0.00", "eth2.2"), -1);
  EXPECT_EQ(indexOf("", "", ""), -1);
}

TEST(RoutingRules, SayWhatIsCut) {
  for (auto [length, field] : {std::pair<size_t, int>{31, -1}, {32, 6}, {300, -1}}) {
    const std::string list = "10.1.0.0,255.255.0.0,,LAN,br0,," + std::string(length, 'c') + ";";
    const orba::RoutingRule rule(*orba::RuleList(list.c_str()).begin());
    EXPECT_EQ(rule.cut.field, field);
    EXPECT_EQ(faulty(rule.cut), length > 31);
  }
}

// A field is read up to its 31 characters: the longest run of x's in what is run.
TEST(StaticRoutes, ReadFieldsUpToTheirLengths) {
  const std::string longest(31, 'x'), longer(32, 'x');
  for (const std::string &fields : {longer + ",m,g", "d," + longer + ",g", "d,m," + longer}) {
    sim::Device device;
    device.settings({{"OperationMode", "1"}, {"RoutingRules", fields + ",LAN,br0,,"}});
    device.settings({{"StaticRoutingRules", "1,," + fields + ",br0"}})
        .file(kRoutes, kernelRoutes({}));
    RoutingInit();
    executeStaticRoute();
    ASSERT_EQ(device.commands().size(), 2u) << transcript(device);
    for (const std::string &command : device.commands()) {
      EXPECT_THAT(command, testing::HasSubstr(longest)) << fields;
      EXPECT_THAT(command, testing::Not(testing::HasSubstr(longer))) << fields;
    }
  }
}

TEST(StaticRoutingRules, GoThroughTheBridgeOrAWan) {
  sim::Device device;
  device.settings(settingsOf(R"(
OperationMode=1 wanConnectionMode=PPPOE wanConnectionMode2=STATIC wan_gateway2=10.0.0.1 wan2Vid=20
wanConnectionMode3=L2TP wanConnectionMode4=STATIC wan_gateway4=10.4.0.1 wan4Vid=40)"));
  device.settings({{"StaticRoutingRules",
                    "1,office,10.8.0.0,255.255.0.0,,2;"
                    "0,off,10.8.1.0,255.255.0.0,,2;"
                    "x,off,10.8.2.0,255.255.0.0,,2;"
                    "1,short,10.8.3.0,255.255.0.0,;"
                    "1,lan,10.8.4.0,255.255.255.0,,br0;"
                    "9,host,10.8.5.5,,10.0.0.7,;"
                    "1,pppoe,10.8.6.0,255.255.255.0,,wan;"
                    "1,l2tp,10.8.7.0,255.255.255.0,0.0.0.0,3;"
                    "1,full,10.8.8.8,255.255.255.255,,4"}});
  device.interface("eth2.20").address("10.0.0.2");
  device.interface("ppp0").address("172.16.0.1");
  device.file("/var/wan1.info", "172.16.0.254:ppp0\n");
  EXPECT_EQ(executeStaticRoute(), 2);
  // The last one's WAN is down and has no gateway; `route` rejects the line.
  EXPECT_EQ(transcript(device), R"(
route add -net 10.8.0.0  netmask 255.255.0.0 gw 10.0.0.1 dev eth2.20
route add -net 10.8.4.0  netmask 255.255.255.0 dev br0
route add -net 10.8.5.5  netmask 255.255.255.255 gw 10.0.0.7 dev ppp0
route add -net 10.8.6.0  netmask 255.255.255.0 gw 172.16.0.254 dev ppp0
route add -net 10.8.7.0  netmask 255.255.255.0 dev ppp2
route add -net 10.8.8.8  netmask 255.255.255.255 gw  dev eth2.40)");
}

TEST(StaticRoutingRules, MissingOrWithoutARoute) {
  sim::Device device;
  EXPECT_EQ(executeStaticRoute(), 0);
  device.buffered({{"StaticRoutingRules", ""}});
  EXPECT_EQ(executeStaticRoute(), 0);
  for (const char *rules : {";", "0", "1,a,b;,,,,,", "1"}) {
    device.buffered({{"StaticRoutingRules", rules}});
    EXPECT_EQ(executeStaticRoute(), 2);
  }
  EXPECT_EQ(transcript(device), "");
  orba::WanStaticRoute off(*orba::RuleList("0,a").begin());
  EXPECT_EQ(off.fault().field, 0);
  orba::WanStaticRoute cut(*orba::RuleList("10,a,b,c,d,12345").begin());
  EXPECT_FALSE(faulty(cut.fault()));
  EXPECT_EQ(cut.cut.field, 0);
  // The WAN's number is the 128th character.
  std::string text = "1,,10.8.9.0,255.255.255.0,10.0.0.7,2";
  text.insert(2, 128 - text.size(), 'n');
  orba::RuleList rules(text.c_str(), orba::WanStaticRoute::kRecordSize);
  EXPECT_TRUE(orba::WanStaticRoute(*rules.begin()).side.is(""));
}

TEST(StaticRoute, IsRemovedByTheSameLine) {
  sim::Device device;
  EXPECT_EQ(doAddStaticRoute("10.8.0.0", "", "0.0.0.0", "br0", 0), 0);
  EXPECT_EQ(doAddStaticRoute("10.8.0.0", "255.0.0.0", "", "br0", 7), 0);
  EXPECT_EQ(transcript(device), R"(
route del -net 10.8.0.0  netmask 255.255.255.255 dev br0
route add -net 10.8.0.0  netmask 255.0.0.0 gw  dev br0)");
}
