// What no packet reaches, and what packets reach that nobody opened.
#include <gmock/gmock.h>

#include <sstream>

#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/traffic/reach.h"

using namespace orba::tool;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Of the example gateway with some settings changed: "KEY, record N: reason; it effect".
std::vector<std::string> foundWith(const std::vector<std::string> &changes) {
  std::vector<nvram::Setting> config = readConfig(ORBA_EXAMPLES "/gateway.conf");
  for (const std::string &change : changes) {
    const size_t equals = change.find('=');
    const std::string key = change.substr(0, equals);
    std::erase_if(config, [&](const nvram::Setting &each) { return each.key == key; });
    if (equals != std::string::npos) config.push_back({1, key, change.substr(equals + 1)});
  }
  const Prepare prepare = [](sim::Device &made) { DeskDevice{"", ""}.prepare(made); };
  const DeskRouter desk = deskRouter(config, prepare);
  packets::Diagrams diagrams;
  SideWays ways(desk, diagrams);
  Blame blame(desk, prepare);
  std::vector<std::string> found;
  for (const Finding &finding : checkTraffic(ways, blame)) {
    const std::string record =
        finding.record == 0 ? "" : ", record " + std::to_string(finding.record);
    found.push_back(finding.key + record + ": " + finding.reason + "; it " + finding.effect +
                    (finding.witness.empty() ? "" : ", such as " + finding.witness));
  }
  return found;
}

std::string behind(const std::string &blockers, const std::string &witness) {
  return "comes behind " + blockers + ", where all its packets go, such as " + witness;
}

const std::string kUnreached = "is reached by no packet; it ";
const std::string kIdle = "stops nothing that would get so far; it ";

}  // namespace

// One change at a time, with what it is to blame for; the example itself has nothing to say, and
// its last record, of which the forwarded ports take a part, is what it is meant to be.
TEST(Reach, NamesWhatNoPacketReachesAndWhatStandsBefore) {
  EXPECT_THAT(foundWith({}), IsEmpty());
  const std::string all = "192.168.1.0/24,,0,0,any/0,,0,0,5,1,all,,,,";
  const std::string mail = "192.168.1.20,,0,0,any/0,,25,0,1,1,mail,,,,";
  const std::string low = "192.168.1.0/25,,0,0,any/0,,0,0,1,1,low,,,,";
  const std::string high = "192.168.1.128/25,,0,0,any/0,,0,0,1,1,high,,,,";
  const std::string web = "192.168.1.0/24,,0,0,any/0,,80,443,1,1,web,,,,";
  const struct {
    std::vector<std::string> changes;
    std::string found;
  } cases[] = {
      {{"IPPortFilterRules=" + all + ";" + mail},
       "IPPortFilterRules, record 2: " + kUnreached +
           behind("record 1 of IPPortFilterRules (192.168.1.0/24 to any, any protocol)",
                  "tcp from 192.168.1.20:40000 to 198.51.100.1:25 (SYN)")},
      {{"IPPortFilterRules=" + mail + ";" + all}, ""},
      {{"IPPortFilterRules=" + low + ";" + high + ";" + web},
       "IPPortFilterRules, record 3: " + kUnreached +
           behind("record 1 of IPPortFilterRules (192.168.1.0/25 to any, TCP) and "
                  "record 2 of IPPortFilterRules (192.168.1.128/25 to any, TCP)",
                  "tcp from 192.168.1.100:40000 to 198.51.100.1:80 (SYN)")},
      {{"IPPortFilterRules=" + low + ";" + web}, ""},
      // Services are decided about before, and pings by icmpMode.
      {{"IPPortFilterType=WAN_TO_WAN", "aclMode=0", "httpMode=2",
        "IPPortFilterRules=any/0,,0,0,any/0,,80,0,1,1,pages,,,,"},
       "IPPortFilterRules, record 1: " + kUnreached +
           behind("httpMode=2", "tcp from 192.168.1.100:40000 to 192.168.1.1:80 (SYN)")},
      {{"WANPingFilter=1"},
       "WANPingFilter: " + kIdle +
           behind("icmpMode=0", "icmp from 198.51.100.100 to 203.0.113.2 (type 8)")},
      // Of scans to the router nothing is left to stop, of those to others there is.
      {{"aclRules=0.0.0.0/0"}, ""},
      {{"BlockLAND=1"},
       "BlockLAND: " + kIdle +
           "is for packets that the kernel's routing refuses, such as tcp from 203.0.113.2:40000 to "
           "203.0.113.2:80 (SYN)"},
      {{"IPPortFilterRules=any/0,,0,0,192.168.1.1,,23,0,1,1,telnet,,,,"},
       "IPPortFilterRules, record 1: " + kUnreached +
           "is for packets to the router itself, which it does not filter, such as tcp from "
           "192.168.1.100:40000 to 192.168.1.1:23 (SYN)"},
      // The router has no packets but its own from this address, whatever the MAC filter drops.
      {{"IPPortFilterRules=192.168.1.1,,0,0,any/0,,25,0,1,1,mail,,,,"},
       "IPPortFilterRules, record 1: " + kUnreached +
           "is for packets that the kernel's routing refuses, such as tcp from 192.168.1.1:40000 to "
           "198.51.100.1:25 (SYN)"},
      // Lists of other kinds.
      {{"aclRules=192.168.1.0/24;192.168.1.8"},
       "aclRules, record 2: " + kUnreached +
           behind("record 1 of aclRules (192.168.1.0/24)",
                  "tcp from 192.168.1.8:40000 to 192.168.1.1:80 (SYN)")},
      {{"MACFilterRules=00:0C:43:66:66:66;02:1A:11:F0:0D:5E;00:0C:43:66:66:66"},
       "MACFilterRules, record 3: " + kUnreached +
           behind(
               "record 1 of MACFilterRules (00:0C:43:66:66:66)",
               "tcp from 192.168.1.100:40000 to 198.51.100.1:80 (SYN) with mac 00:0C:43:66:66:66")},
      {{"PortForwardRules=192.168.1.10,80,90,TCP;192.168.1.11,85,0,TCP"},
       "PortForwardRules, record 2: " + kUnreached +
           behind("record 1 of PortForwardRules (TCP 80-90 to 192.168.1.10)",
                  "tcp from 198.51.100.100:40000 to 203.0.113.2:85 (SYN)")},
      {{"PortForwardRules=192.168.1.10,80,0,TCP;192.168.1.11,80,0,TCP&UDP"},
       "PortForwardRules, record 2: does not get all its packets; it comes behind record 1 of "
       "PortForwardRules (TCP 80 to 192.168.1.10), where all its tcp packets go, such as tcp from "
       "198.51.100.100:40000 to 203.0.113.2:80 (SYN)"},
      {{"PortForwardRules=192.168.1.10,80,90,TCP;192.168.1.11,85,95,TCP"},
       "PortForwardRules, record 2: does not get all its ports; it leaves 85-90 to record 1 of "
       "PortForwardRules (TCP 80-90 to 192.168.1.10), such as tcp from 198.51.100.100:40000 to "
       "203.0.113.2:87 (SYN)"},
      {{"PortForwardRules=192.168.1.10,80,90,TCP;192.168.1.11,85,95,UDP;192.168.1.10,85,95,TCP"},
       ""},
      {{"PortForwardRules=192.168.1.10,80,90,UDP;192.168.1.11,80,90,TCP&UDP"},
       "PortForwardRules, record 2: does not get all its packets; it comes behind record 1 of "
       "PortForwardRules (UDP 80-90 to 192.168.1.10), where all its udp packets go, such as udp "
       "from 198.51.100.100:40000 to 203.0.113.2:80"},
      // What is translated to the router itself does not get to a host.
      {{"PortForwardRules=192.168.1.1,80,0,TCP"},
       "PortForwardRules, record 1: forwards nothing; it sends its packets to an address of the "
       "router itself, such as tcp from 198.51.100.100:40000 to 192.168.1.1:80 (SYN)"},
      // Routes: a smaller network has its own, an equal one does not.
      {{"StaticRoutingRules=1,a,10.8.0.0,255.255.0.0,192.168.1.7,br0;"
        "1,b,10.8.4.0,255.255.255.0,192.168.1.8,br0"},
       ""},
      {{"StaticRoutingRules=1,a,10.8.0.0,255.255.0.0,192.168.1.7,br0;"
        "1,b,10.8.0.0,255.255.0.0,192.168.1.8,br0"},
       "StaticRoutingRules, record 1: is taken by no packet; it leaves 10.8.0.0/16 to record 2 of "
       "StaticRoutingRules (10.8.0.0/255.255.0.0 through 192.168.1.8 by br0), such as tcp from "
       "192.168.1.100:40000 to 10.8.0.10:80 (SYN)"},
      // Of two policies the marks make another's.
      {{"wanConnectionMode2=DHCP", "wan2Vid=20", "wanConnectionMode3=DHCP", "wan3Vid=30",
        "PolicyRoutingRules=255.255.255.255,192.168.1.30,0,,-1,WAN2,eth2.20,a;"
        "255.255.255.0,192.168.1.0,0,,17,WAN3,eth2.30,b"},
       "PolicyRoutingRules, record 1: does not lead all its packets; it leaves what record 2 of "
       "PolicyRoutingRules (from 192.168.1.0/255.255.255.0, protocol 17, out by WAN3) matches too "
       "to that, such as udp from 192.168.1.30:40000 to 198.51.100.1:80"},
      {{"OperationMode=2", "RoutingRules=", "MACFilterRules=00:0C:43:66:66:66"},
       "MACFilterRules, record 1: " + kUnreached +
           "is for frames of a bridge, and the router has none"},
      // The tools want the ports in order.
      {{"IPPortFilterRules=192.168.1.20,,0,0,any/0,,26,25,1,1,mail,,,,"},
       "IPPortFilterRules, record 1: makes a command that is refused (26:25: the first is above "
       "the last); it comes to nothing"},
      // And a netmask in front of a network; a gateway may be behind another router's LAN.
      {{"RoutingRules=10.8.0.0,255.0.255.0,192.168.1.7,LAN,br0,,"},
       "RoutingRules, record 1: makes a command that is refused (255.0.255.0 is no netmask); it "
       "comes to nothing"},
      {{"StaticRoutingRules=1,a,10.8.0.1,255.255.0.0,192.168.1.7,br0"},
       "StaticRoutingRules, record 1: makes a command that is refused (10.8.0.1 has bits behind "
       "its netmask); it comes to nothing"},
      {{"RoutingRules=10.8.0.0,255.255.0.0,10.9.9.9,LAN,br0,,"}, ""},
      {{"aclRules=192.168.1.9-192.168.1.2"},
       "aclRules, record 1: " + kUnreached +
           "asks for a range whose end is in front of its beginning"},
      {{"DefaultFirewallPolicy=0"},
       "DefaultFirewallPolicy: lets the Internet reach ports of the router that no setting opens; "
       "it leaves open tcp 0-20, 24-79, 81-442, 444-6880, 6890-7546, 7548-65535; udp 0-68, 70-160, "
       "162-6880, 6890-51819, 51821-65535, such as tcp from 198.51.100.100:40000 to 203.0.113.2:8080 (SYN)"},
      // What one WAN sends on, another leaves to the router.
      {{"DefaultFirewallPolicy=0", "PortForwardRules=192.168.1.10,1,65535,TCP&UDP",
        "wanConnectionMode2=DHCP", "wan2Vid=20"},
       "DefaultFirewallPolicy: lets the Internet reach ports of the router that no setting opens; "
       "it leaves open tcp 0-20, 24-79, 81-7546, 7548-65535; udp 0-68, 70-160, 162-65535, such as "
       "tcp from 198.51.100.100:40000 to 203.0.113.2:0 (SYN)"},
      {{"DefaultFirewallPolicy"},
       "DefaultFirewallPolicy: is missing, which counts as 0, and lets the Internet reach ports of "
       "the router that no setting opens; it leaves open tcp 0-20, 24-79, 81-442, 444-6880, 6890-7546, "
       "7548-65535; udp 0-68, 70-160, 162-6880, 6890-51819, 51821-65535, such as tcp from 198.51.100.100:40000 to 203.0.113.2:8080 (SYN)"},
  };
  for (const auto &[changes, found] : cases) {
    SCOPED_TRACE(testing::PrintToString(changes));
    if (found.empty()) {
      EXPECT_THAT(foundWith(changes), IsEmpty());
    } else {
      EXPECT_THAT(foundWith(changes), ElementsAre(found));
    }
  }
}
