// Gateways, the ARP table and the WAN port's link.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/net/kernel_routes.h"
#include "tests/transcript.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string kLan = route("br0", "192.168.1.0", "0.0.0.0", "255.255.255.0", kUp);
const std::string kOffice = route("br0", "10.8.0.0", "192.168.1.9", "255.255.0.0", kUpWithGateway);
const std::string kDown = route("eth2.2", "0.0.0.0", "10.0.0.254", "0.0.0.0", 2);
const std::string kDefault = route("eth2.2", "0.0.0.0", "10.0.0.1", "0.0.0.0", kUpWithGateway);
const std::string kDefaultByPpp = route("ppp0", "0.0.0.0", "0.0.0.0", "0.0.0.0", kUp);

const sim::Settings kGatewayMode = settingsOf(R"(
OperationMode=1 wanConnectionMode=STATIC wan_gateway=10.0.0.1 wanConnectionMode2=DHCP wan2Vid=20
wanConnectionMode3=PPPOE wanConnectionMode4=STATIC wan4Vid=40)");

// What a getter returns and leaves in its buffer.
template <typename Getter, typename... Arguments>
std::string gatewayBy(Getter getter, Arguments... arguments) {
  char gateway[16] = "before";
  int result = getter(arguments..., gateway);
  return std::to_string(result) + " " + gateway;
}

}  // namespace

TEST(Gateway, OfAWanIsConfiguredOrNotedWhenItCameUp) {
  sim::Device device;
  device.settings(kGatewayMode);
  const std::string endless(300, '1');
  const struct {
    const char *ifname;
    std::string info;  // of WAN 2
    const char *gateway;
  } kCases[] = {
      {"eth2.2", "10.9.9.9:", "0 10.0.0.1"},
      {"eth2.20", "10.0.0.1:eth2.20\n8.8.8.8:", "0 10.0.0.1"},
      {"eth2.20", "10.0.0.7'x:eth2.20", "0 10.0.0.7"},
      {"eth2.20", "10.0.0.7\n8.8.8.8:", "0 0.0.0.0"},
      {"eth2.20", "", "0 0.0.0.0"},
      {"eth2.20", ":eth2.20", "0 "},
      // What is no address is not used.
      {"eth2.20", "10.0.1:eth2.20", "0 0.0.0.0"},
      {"eth2.20", "192.168.100.1001:eth2.20", "0 0.0.0.0"},
      {"eth2.20", endless + ":", "0 0.0.0.0"},  // the ':' is too far off
      {"ppp2", "10.9.9.9:", "0 0.0.0.0"},
      {"eth2.40", "10.9.9.9:", "0 "},
  };
  for (const auto &c : kCases) {
    device.file("/var/wan2.info", c.info);
    EXPECT_EQ(gatewayBy(getGatewayByInterface, c.ifname), c.gateway) << c.info;
  }
  device.removeFile("/var/wan2.info").settings({{"wan_gateway", endless}});
  EXPECT_EQ(gatewayBy(getGatewayByInterface, "eth2.20"), "0 0.0.0.0");
  EXPECT_EQ(gatewayBy(getGatewayByInterface, "eth2.2"), "0 111111111111111");
  EXPECT_EQ(device.errors(), "");
}

TEST(Gateway, OfAnotherInterfaceIsTheKernelsDefault) {
  sim::Device device;
  device.settings(kGatewayMode).file(kRoutes, kernelRoutes({kLan, kDefault}));
  EXPECT_EQ(gatewayBy(getGateway, "br0"), "-1 before") << "br0 has no address";
  device.interface("br0").address("0.0.0.0");
  EXPECT_EQ(gatewayBy(getGateway, "br0"), "-1 before");
  EXPECT_EQ(device.errors(), "");

  device.interface("br0").address("192.168.1.1");
  EXPECT_EQ(gatewayBy(getGatewayByInterface, "br0"), "-1 before");
  EXPECT_EQ(device.errors(), "getGatewayByInterface: Can not get correct wanIndex\n");
  EXPECT_EQ(gatewayBy(getGateway, "br0"), "0 10.0.0.1");

  device.file(kRoutes, kernelRoutes({kLan}));
  EXPECT_EQ(gatewayBy(getGateway, "br0"), "-1 ") << "the LAN's route goes straight there";
  device.interface("eth2.40").address("10.4.0.2");
  EXPECT_EQ(gatewayBy(getGateway, "eth2.40"), "-1 ") << "a STATIC WAN without wan_gateway4";
}

TEST(Gateway, OfTheDefaultRoute) {
  const struct {
    const char *situation;
    std::vector<std::string> routes;
    const char *gateway;         // what getWanGateway leaves
    const char *walked_gateway;  // what getWanDefaultGateway leaves
    const char *console;
  } kCases[] = {
      {"default last", {kLan, kOffice, kDown, kDefault}, "0 10.0.0.1", "0 10.0.0.1", ""},
      {"default by PPP", {kOffice, kDefaultByPpp, kDefault}, "0 ", "0 ", ""},
      {"no default, a gateway last", {kLan, kOffice}, "0 before", "0 192.168.1.9", ""},
      {"no routes", {}, "0 before", "0 before", ""},
      {"later", {kOffice, "br0\t0\tx\n", kDefault}, "-1 before", "0 192.168.1.9", "Format error!"},
      {"cut off", {kOffice, "br0"}, "-1 before", "0 192.168.1.9", "Format error!"},
      {"endless", {std::string(1000, 'x') + "\n"}, "-1 before", "0 before", "Format error!"},
      {"malformed behind it", {kDefault, "garbage\n"}, "0 10.0.0.1", "0 10.0.0.1", ""},
  };
  for (const auto &c : kCases) {
    SCOPED_TRACE(c.situation);
    sim::Device device;
    device.file(kRoutes, kernelRoutes(c.routes));
    EXPECT_EQ(gatewayBy(getWanGateway), c.gateway);
    EXPECT_EQ(device.console(), "");
    EXPECT_EQ(gatewayBy(getWanDefaultGateway), c.walked_gateway);
    EXPECT_EQ(device.console(), c.console);
  }
  sim::Device device;  // without a route file
  EXPECT_EQ(gatewayBy(getWanGateway), "-1 before");
  EXPECT_EQ(gatewayBy(getWanDefaultGateway), "-1 before");
  getWanDefaultGateway(nullptr);
  EXPECT_EQ(device.console(), "defaultGtwy is NULL!");
}

TEST(WanLink, IsBitZeroOfTheSwitchRegister) {
  const std::pair<std::string, int> kAnswers[] = {
      {"value=0x0000e001", 1},
      {"switch reg read offset=3608, value=1\n", 1},
      {"value=2", 0},
      {"", 0},
      {"0x1", 0},
      {std::string(251, ' ') + "value=1", 0},  // behind the 256th byte
  };
  sim::Device device;
  for (const auto &[answer, link] : kAnswers) {
    device.forget();
    device.answer("switch reg r 3608", answer);
    EXPECT_EQ(getWANLinkStatus(), link) << answer;
    EXPECT_THAT(device.pipes(), ElementsAre("switch reg r 3608"));
  }
}

TEST(Arp, IsLookedUpInTheKernelsTable) {
  sim::Device device;
  device.file("/proc/net/arp", R"(IP address       HW type  Flags  HW address         Mask  Device
192.168.1.20     0x1      0x2    00:0c:43:00:00:20  *     br0
192.168.1.2      0x1      0x2
192.168.1.2      0x1      0x0    00:00:00:00:00:02  *     br0
192.168.1.30     0x1      0x2    a-hardware-address-that-is-too-long *  br0
)" + std::string(3000, 'x') + "\n10.0.0.1 0x1 0x2 00:0c:43:00:00:01 * eth2.2\n");
  const std::pair<const char *, const char *> kMacs[] = {
      {"192.168.1.20", "00:0c:43:00:00:20"}, {"192.168.1.2", "00:00:00:00:00:02"},
      {"192.168.1.30", "a-hardware-addres"}, {"10.0.0.1", "00:0c:43:00:00:01"},
      {"192.168.1.3", "00:00:00:00:00:00"},  {"", "00:00:00:00:00:00"},
  };
  char text[18] = "";
  for (const auto &[address, mac] : kMacs) {
    arplookup(address, text);
    EXPECT_STREQ(text, mac) << address;
  }
}

TEST(Arp, OfTheGatewayIsReportedAndThenResolvedAfresh) {
  const std::string incomplete = "10.0.0.1 0x1 0x0 00:00:00:00:00:00 * br0\n";
  const std::string complete = "10.0.0.1 0x1 0x6 00:0c:43:00:00:01 * br0\n";
  const std::string other = "10.0.0.2 0x1 0x2 00:0c:43:00:00:02 * br0\n";
  sim::Device device;
  device.settings(kGatewayMode).file(kRoutes, kernelRoutes({kDefault}));
  EXPECT_EQ(wanarplookup(), 0);
  EXPECT_THAT(device.shellLines(), IsEmpty()) << "br0 is down: no gateway is known";
  device.interface("br0").address("192.168.1.1");
  const std::pair<std::string, int> kTables[] = {
      {other + complete, 1}, {incomplete + complete, 1}, {other + incomplete, 0}, {"", 0}};
  for (const auto &[table, resolved] : kTables) {
    device.forget();
    device.file("/proc/net/arp", table);
    EXPECT_EQ(wanarplookup(), resolved) << table;
    EXPECT_THAT(device.shellLines(),
                ElementsAre("arp -d 10.0.0.1", "arping -c 1 -I br0 10.0.0.1 1>/dev/null 2>&1 &"));
  }
}
