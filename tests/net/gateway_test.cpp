// Gateways, the ARP table and the WAN port's link.
#include <gmock/gmock.h>

#include <string>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/net/kernel_routes.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kRoutes[] = "/proc/net/route";
constexpr char kNotWan[] = "getGatewayByInterface: Can not get correct wanIndex\n";

const std::string kLan = route("br0", "192.168.1.0", "0.0.0.0", "255.255.255.0", kUp);
const std::string kOffice = route("br0", "10.8.0.0", "192.168.1.9", "255.255.0.0", kUpWithGateway);
const std::string kDown = route("eth2.2", "0.0.0.0", "10.0.0.254", "0.0.0.0", 2);
const std::string kDefault = route("eth2.2", "0.0.0.0", "10.0.0.1", "0.0.0.0", kUpWithGateway);
const std::string kDefaultByPpp = route("ppp0", "0.0.0.0", "0.0.0.0", "0.0.0.0", kUp);

sim::Settings gatewayMode() {
  return {{"OperationMode", "1"},
          {"wanConnectionMode", "STATIC"},
          {"wan_gateway", "10.0.0.1"},
          {"wanConnectionMode2", "DHCP"},
          {"wan2Vid", "20"},
          {"wanConnectionMode3", "PPPOE"},
          {"wanConnectionMode4", "STATIC"},
          {"wan4Vid", "40"}};
}

}  // namespace

TEST(Gateway, OfAWanIsConfiguredOrNotedWhenItCameUp) {
  sim::Device device;
  device.settings(gatewayMode());
  std::string endless(300, '1');
  const struct {
    const char *ifname;
    const char *info;  // of WAN 2
    const char *gateway;
  } kCases[] = {
      {"eth2.2", "10.9.9.9:", "10.0.0.1"},
      {"eth2.20", "10.0.0.1:eth2.20\n8.8.8.8:", "10.0.0.1"},
      {"eth2.20", "10.0.0.7'x:eth2.20", "10.0.0.7"},
      {"eth2.20", "10.0.0.7\n8.8.8.8:", "0.0.0.0"},
      {"eth2.20", "", "0.0.0.0"},
      {"eth2.20", ":eth2.20", ""},
      {"eth2.20", "1234567890123456789:eth2.20", "123456789012345"},
      {"eth2.20", endless.c_str(), "0.0.0.0"},  // its ':' would be too far off
      {"ppp2", "10.9.9.9:", "0.0.0.0"},
      {"eth2.40", "10.9.9.9:", ""},
  };
  for (const auto &c : kCases) {
    device.file("/var/wan2.info", std::string(c.info) + (c.info == endless ? ":" : ""));
    char gateway[16] = "before";
    EXPECT_EQ(getGatewayByInterface(c.ifname, gateway), 0);
    EXPECT_STREQ(gateway, c.gateway) << c.ifname << " with " << c.info;
  }
  device.removeFile("/var/wan2.info");
  char gateway[16] = "before";
  EXPECT_EQ(getGatewayByInterface("eth2.20", gateway), 0);
  EXPECT_STREQ(gateway, "0.0.0.0");
  device.settings({{"wan_gateway", endless}});
  EXPECT_EQ(getGatewayByInterface("eth2.2", gateway), 0);
  EXPECT_STREQ(gateway, "111111111111111");
  EXPECT_EQ(device.errors(), "");
}

TEST(Gateway, OfAnotherInterfaceIsTheKernelsDefault) {
  sim::Device device;
  device.settings(gatewayMode()).file(kRoutes, kernelRoutes({kLan, kDefault}));
  char gateway[16] = "";
  EXPECT_EQ(getGateway("br0", gateway), -1) << "br0 has no address";
  device.interface("br0").address("0.0.0.0");
  EXPECT_EQ(getGateway("br0", gateway), -1);
  EXPECT_STREQ(gateway, "");
  EXPECT_EQ(device.errors(), "");

  device.interface("br0").address("192.168.1.1");
  EXPECT_EQ(getGatewayByInterface("br0", gateway), -1);
  EXPECT_STREQ(gateway, "");
  EXPECT_EQ(getGateway("br0", gateway), 0);
  EXPECT_STREQ(gateway, "10.0.0.1");
  EXPECT_EQ(device.errors(), std::string(kNotWan) + kNotWan);

  device.file(kRoutes, kernelRoutes({kLan}));
  EXPECT_EQ(getGateway("br0", gateway), -1) << "the LAN's route goes straight there";
  device.interface("eth2.40").address("10.4.0.2");
  EXPECT_EQ(getGateway("eth2.40", gateway), -1) << "a STATIC WAN without wan_gateway4";
}

TEST(Gateway, OfTheDefaultRoute) {
  const struct {
    const char *situation;
    std::vector<std::string> routes;
    int result;
    const char *gateway;         // what getWanGateway leaves
    const char *walked_gateway;  // what getWanDefaultGateway leaves
    const char *console;
  } kCases[] = {
      {"default last", {kLan, kOffice, kDown, kDefault}, 0, "10.0.0.1", "10.0.0.1", ""},
      {"default by PPP", {kOffice, kDefaultByPpp, kDefault}, 0, "", "", ""},
      {"no default, a gateway last", {kLan, kOffice}, 0, "before", "192.168.1.9", ""},
      {"no default, the LAN last", {kOffice, kLan, kDown}, 0, "before", "", ""},
      {"no routes", {}, 0, "before", "before", ""},
      {"malformed first", {"garbage\n", kDefault}, -1, "before", "before", "Format error!"},
      {"malformed after a route",
       {kOffice, "br0\t00000000\tx\n", kDefault},
       -1,
       "before",
       "192.168.1.9",
       "Format error!"},
      {"only six numbers", {"br0\t0\t0\t1\t0\t0\t0\n"}, -1, "before", "before", "Format error!"},
      {"an empty line", {"\n", kDefault}, -1, "before", "before", "Format error!"},
      {"an endless line",
       {std::string(1000, 'x') + "\n", kDefault},
       -1,
       "before",
       "before",
       "Format error!"},
      {"malformed behind the default", {kDefault, "garbage\n"}, 0, "10.0.0.1", "10.0.0.1", ""},
  };
  for (const auto &c : kCases) {
    SCOPED_TRACE(c.situation);
    sim::Device device;
    device.file(kRoutes, kernelRoutes(c.routes));
    char gateway[16] = "before";
    EXPECT_EQ(getWanGateway(gateway), c.result);
    EXPECT_STREQ(gateway, c.gateway);
    EXPECT_EQ(device.console(), "");
    snprintf(gateway, sizeof gateway, "before");
    getWanDefaultGateway(gateway);
    EXPECT_STREQ(gateway, c.walked_gateway);
    EXPECT_EQ(device.console(), c.console);
  }
  sim::Device device;  // without a route file
  char gateway[16] = "before";
  getWanGateway(gateway);
  getWanDefaultGateway(gateway);
  EXPECT_STREQ(gateway, "before");
  getWanDefaultGateway(nullptr);
  EXPECT_EQ(device.console(), "defaultGtwy is NULL!");
}

TEST(WanLink, IsBitZeroOfTheSwitchRegister) {
  const std::pair<const char *, int> kAnswers[] = {
      {"value=0x0000e001", 1},
      {"switch reg read offset=3608, value=1\n", 1},
      {"value=2", 0},
      {"value=ffffffff", 1},
      {"value=", 0},
      {"", 0},
      {"0x1", 0},
  };
  for (const auto &[answer, link] : kAnswers) {
    sim::Device device;
    device.answer("switch reg r 3608", answer);
    EXPECT_EQ(getWANLinkStatus(), link) << answer;
    EXPECT_THAT(device.pipes(), ElementsAre("switch reg r 3608"));
    EXPECT_EQ(device.openPipes(), 0);
  }
  sim::Device device;
  device.answer("switch", std::string(251, ' ') + "value=1");  // behind the 256th byte
  EXPECT_EQ(getWANLinkStatus(), 0);
  device.unstartable("switch");
  EXPECT_EQ(getWANLinkStatus(), 0);
}

TEST(Arp, IsLookedUpInTheKernelsTable) {
  constexpr char kTable[] =
      "IP address       HW type     Flags       HW address            Mask     Device\n"
      "192.168.1.20     0x1         0x2         00:0c:43:00:00:20     *        br0\n"
      "192.168.1.2      0x1         0x2\n"
      "192.168.1.2      0x1         0x0         00:00:00:00:00:02     *        br0\n"
      "192.168.1.30     0x1         0x2         a-hardware-address-that-is-too-long *  br0\n";
  sim::Device device;
  device.file("/proc/net/arp", std::string(kTable) + std::string(3000, 'x') +
                                   "\n10.0.0.1 0x1 0x2 "
                                   "00:0c:43:00:00:01 * eth2.2\n");
  const std::pair<const char *, const char *> kMacs[] = {
      {"192.168.1.20", "00:0c:43:00:00:20"}, {"192.168.1.2", "00:00:00:00:00:02"},
      {"192.168.1.30", "a-hardware-addres"}, {"10.0.0.1", "00:0c:43:00:00:01"},
      {"192.168.1.3", "00:00:00:00:00:00"},  {"", "00:00:00:00:00:00"},
  };
  for (const auto &[address, mac] : kMacs) {
    char text[18] = "";
    arplookup(address, text);
    EXPECT_STREQ(text, mac) << address;
  }
  device.removeFile("/proc/net/arp");
  char text[18] = "";
  arplookup("192.168.1.20", text);
  EXPECT_STREQ(text, "00:00:00:00:00:00");
}

TEST(Arp, OfTheGatewayIsReportedAndThenResolvedAfresh) {
  const std::string incomplete = "10.0.0.1 0x1 0x0 00:00:00:00:00:00 * br0\n";
  const std::string complete = "10.0.0.1 0x1 0x6 00:0c:43:00:00:01 * br0\n";
  const std::string other = "10.0.0.2 0x1 0x2 00:0c:43:00:00:02 * br0\n";
  const std::pair<std::string, int> kTables[] = {
      {other + complete, 1}, {incomplete + complete, 1}, {other + incomplete, 0}, {"", 0}};
  sim::Device device;
  device.settings(gatewayMode()).file(kRoutes, kernelRoutes({kDefault}));
  EXPECT_EQ(wanarplookup(), 0);
  EXPECT_THAT(device.shellLines(), IsEmpty()) << "br0 is down: no gateway is known";

  device.interface("br0").address("192.168.1.1");
  for (const auto &[table, resolved] : kTables) {
    device.forget();
    device.file("/proc/net/arp", table);
    EXPECT_EQ(wanarplookup(), resolved) << table;
    EXPECT_THAT(device.shellLines(),
                ElementsAre("arp -d 10.0.0.1", "arping -c 1 -I br0 10.0.0.1 1>/dev/null 2>&1 &"));
  }
  device.forget();
  device.removeFile("/proc/net/arp");
  EXPECT_EQ(wanarplookup(), 0);
  EXPECT_EQ(device.shellLines().size(), 2u);
}
