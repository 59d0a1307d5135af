// The routing page's table.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/net/kernel_routes.h"

namespace {

std::string view() {
  char text[4096] = "before";
  EXPECT_EQ(getRoutingTable(text), 1);
  return text;
}

}  // namespace

TEST(RoutingTableView, LabelsTheKernelsRoutes) {
  sim::Device device;
  device.settings({{"OperationMode", "1"}});
  device.file(kRoutes, kernelRoutes({
                           route("br0", "192.168.1.0", "0.0.0.0", "255.255.255.0", kUp),
                           route("eth2.20", "10.2.0.0", "0.0.0.0", "255.255.0.0", kUp),
                           route("br0", "10.3.0.0", "0.0.0.0", "255.255.0.0", 2),  // down
                           route("ppp0", "0.0.0.0", "10.0.0.1", "0.0.0.0", kUpWithGateway),
                           // Numbers and names of any width.
                           "br0 FFFFFFFF 0100A8C0 FFFF 0 -1 2147483647 ffffffff 0 0 0\n",
                           "a_name_longer_than_16_bytes 0 0 1 0 0 0 0\n",
                       }));
  EXPECT_EQ(view(),
            "\"br0,192.168.1.0,0.0.0.0,255.255.255.0,1,2,7,5,-1,LAN,0, ;"
            "eth2.20,10.2.0.0,0.0.0.0,255.255.0.0,1,2,7,5,-1,eth2.20,0, ;"
            "ppp0,0.0.0.0,10.0.0.1,0.0.0.0,3,2,7,5,-1,WAN,0, ;"
            "br0,255.255.255.255,192.168.0.1,255.255.255.255,65535,0,-1,2147483647,-1,LAN,0, ;"
            "a_name_longer_than_16_bytes,0.0.0.0,0.0.0.0,0.0.0.0,1,0,0,0,-1,"
            "a_name_longer_than_16_bytes,0, \"");
  device.file(kRoutes, "");
  EXPECT_EQ(view(), "\"\"");
}

TEST(RoutingTableView, ShowsConfiguredRoutesOnce) {
  sim::Device device;
  device.settings({{"OperationMode", "1"},
                   {"RoutingRules",
                    "10.1.0.0,255.255.0.0,10.0.0.1,WAN,eth2.2,custom,to work;"
                    "10.9.9.9,255.255.255.255,,LAN,ra3,,down;"
                    "10.2.0.0,255.255.0.0,,LAN,br0,;"
                    "10.4.0.0,255.255.0.0,,LAN,br0;"
                    "10.5.0.0,255.255.0.0,10.5.0.1,LAN,br0,,;"
                    "10.6.0.0,255.255.0.0,,LAN,br0,,"}});
  device.file(kRoutes, kernelRoutes({
                           route("br0", "10.2.0.0", "0.0.0.0", "255.255.0.0", kUp),
                           route("br0", "10.5.0.0", "10.5.0.1", "255.255.0.0", 0),  // down
                           route("eth2.2", "10.1.0.0", "10.0.0.1", "255.255.0.0", kUpWithGateway),
                           route("br0", "10.6.0.0", "0.0.0.0", "255.255.0.0", kUp),
                       }));
  EXPECT_EQ(view(),
            "\"br0,10.2.0.0,0.0.0.0,255.255.0.0,1,2,7,5,2,LAN,0, ;"  // no comment field
            "eth2.2,10.1.0.0,10.0.0.1,255.255.0.0,3,2,7,5,0,WAN,0,to work;"
            "br0,10.6.0.0,0.0.0.0,255.255.0.0,1,2,7,5,5,LAN,0,;"  // an empty one
            "ra3,10.9.9.9,,255.255.255.255,0,0,0,0,1,LAN,1,down;"
            "br0,10.5.0.0,10.5.0.1,255.255.0.0,0,0,0,0,4,LAN,1,\"");
  // The page expects a separator in front even when no live route stands there.
  device.file(kRoutes, kernelRoutes({}));
  device.settings({{"RoutingRules", "10.9.9.9,255.255.255.255,,LAN,ra3,,down;"}});
  EXPECT_EQ(view(), "\";ra3,10.9.9.9,,255.255.255.255,0,0,0,0,0,LAN,1,down\"");
  EXPECT_EQ(device.printed(), "");
}

// What a text would have to say to leave the quotes that a script has it in, or
// to be more than text on the page.
TEST(RoutingTableView, StaysBetweenItsQuotes) {
  sim::Device device;
  const std::string name = "ra\"0\\";
  device.settings({{"OperationMode", "1"}});
  device.settings({{"RoutingRules", "10.1.0.0,255.255.0.0,,LAN," + name +
                                        ",,\"+alert(1)//\\;"
                                        "<b>,\n,\t,'&>,a b,,</script>\"\\\x7f\xc3\xa4"}});
  device.file(kRoutes, kernelRoutes({
                           route(name.c_str(), "10.1.0.0", "0.0.0.0", "255.255.0.0", kUp),
                           route("\"x", "10.2.0.0", "0.0.0.0", "255.255.0.0", kUp),
                       }));
  EXPECT_EQ(view(),
            "\"ra&quot0\\x5c,10.1.0.0,0.0.0.0,255.255.0.0,1,2,7,5,0,LAN,0,&quot+alert(1)//\\x5c;"
            "&quotx,10.2.0.0,0.0.0.0,255.255.0.0,1,2,7,5,-1,&quotx,0, ;"
            "a b,&ltb>,\\x09,\\x0a,0,0,0,0,1,'&>,1,&lt/script>&quot\\x5c\x7f\xc3\xa4\"");
}

TEST(RoutingTableView, IsEmptyForAMalformedTable) {
  for (const char *line :
       {"garbage\n", "br0 0 0 1 0 0 0\n", "\n", "br0\n", "br0 0 0 1 0 0 0 x\n"}) {
    sim::Device device;
    device.settings({{"RoutingRules", "10.9.9.9,255.255.255.255,,LAN,ra3,,down"}});
    device.file(kRoutes,
                kernelRoutes({route("br0", "10.2.0.0", "0.0.0.0", "255.255.0.0", kUp), line}));
    EXPECT_EQ(view(), "") << line;
    EXPECT_EQ(device.printed(), "format error\n");
  }
}

TEST(RoutingTableView, SaysWhenTheRulesGrowMeanwhile) {
  sim::Device device;
  device.settings({{"OperationMode", "1"}});
  device.file(kRoutes, kernelRoutes({route("br0", "10.2.0.0", "0.0.0.0", "255.255.0.0", kUp)}));
  device.faults().before([&](size_t calls) {
    if (calls == 2) device.settings({{"RoutingRules", "10.2.0.0,255.255.0.0,,LAN,br0,,new"}});
  });
  EXPECT_EQ(view(), "\"br0,10.2.0.0,0.0.0.0,255.255.0.0,1,2,7,5,0,LAN,0,new\"");
  EXPECT_EQ(device.printed(), "fatal error in getRoutingTable\n");
}

TEST(RoutingTableView, IsCutAtItsBuffer) {
  sim::Device device;
  std::vector<std::string> routes;
  std::string rules;
  for (int i = 0; i < 100; i++) {
    routes.push_back(route("eth2.20", "10.200.200.200", "10.100.100.100", "255.255.255.255", kUp));
    rules += "10.200.200.200,255.255.255.255,10.100.100.100,LAN,br0,,comment;";
  }
  routes.push_back(std::string(400, 'i') + " 0 0 1 0 0 0 0\n");
  device.file(kRoutes, kernelRoutes(routes)).settings({{"RoutingRules", rules}});
  std::string text = view();
  EXPECT_EQ(text.size(), 4095u);
  EXPECT_EQ(text.substr(0, 60), "\"eth2.20,10.200.200.200,10.100.100.100,255.255.255.255,1,2,7");
}
