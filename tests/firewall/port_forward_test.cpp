// Forwarded ports: the rules, the notes of services that they take away, and
// the three ways of reading the list.
#include "firewall/port_forward_list.h"

#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

namespace {

// A gateway whose first WAN is a cable link and whose second one is PPPoE.
struct ForwardingGateway : sim::Device {
  ForwardingGateway() {
    settings(
        settingsOf("OperationMode=1 wanConnectionMode=DHCP wanConnectionMode2=PPPOE "
                   "defaultRouteNum=1"));
    interface("eth2.2").address("10.0.0.2");
    interface("ppp1").address("172.16.5.6");
  }

  std::string forward(const std::string &rules) {
    buffered({{"PortForwardRules", rules}});
    forget();
    iptablesPortForwardRun();
    return transcript(*this);
  }
};

}  // namespace

TEST(PortForward, OddRecordsArePassedOverAndTheOthersStand) {
  ForwardingGateway device;
  EXPECT_EQ(device.forward("192.168.1.2,80,0,tcp;"    // no protocol before to repeat
                           "192.168.1.3,5060,0,UDP;"  //
                           "192.168.1.4,0,9,TCP;;"    // no first port, and no fields
                           "192.168.1.299,80,0,TCP;"  //
                           "any,53,0,tcp;"            // repeats UDP: what was skipped counts not
                           "any/0,00443x,0,;"         // so does the empty text
                           "192.168.1.5,90,80,TCP&UDP-and-more"),  // cut to its buffer
            R"(
iptables -t filter -A port_forward -i eth2.2 -d 192.168.1.3 -p udp --dport 5060  -j ACCEPT
iptables -t nat -A port_forward -j DNAT -d 10.0.0.2 -p udp --dport 5060 --to 192.168.1.3 
iptables -t filter -A port_forward -i eth2.2 -d any -p udp --dport 53  -j ACCEPT
iptables -t nat -A port_forward -j DNAT -d 10.0.0.2 -p udp --dport 53 --to any 
iptables -t filter -A port_forward -i eth2.2 -d any/0 -p udp --dport 443  -j ACCEPT
iptables -t nat -A port_forward -j DNAT -d 10.0.0.2 -p udp --dport 443 --to any/0 
iptables -t filter -A port_forward -i eth2.2 -d 192.168.1.5 -p tcp --dport 90:80  -j ACCEPT
iptables -t nat -A port_forward -j DNAT -d 10.0.0.2 -p tcp --dport 90:80 --to 192.168.1.5 
iptables -t filter -A port_forward -i eth2.2 -d 192.168.1.5 -p udp --dport 90:80  -j ACCEPT
iptables -t nat -A port_forward -j DNAT -d 10.0.0.2 -p udp --dport 90:80 --to 192.168.1.5 )");
  EXPECT_EQ(device.printed(), "isIpValid(): 192.168.1.299 is not a valid IP address.\n");
  device.buffered({{"defaultRouteNum", "2"}});  // not the first WAN, so the second
  EXPECT_EQ(device.forward("192.168.1.3,80,0,TCP"), R"(
iptables -t filter -A port_forward -i ppp1 -d 192.168.1.3 -p tcp --dport 80  -j ACCEPT
iptables -t nat -A port_forward -j DNAT -d 172.16.5.6 -p tcp --dport 80 --to 192.168.1.3 )");

  // Of an empty list nothing is said, and of none to the console alone.
  EXPECT_EQ(device.forward(""), "");
  device.remove("PortForwardRules");
  iptablesPortForwardRun();
  EXPECT_EQ(transcript(device), "");
  EXPECT_EQ(device.console(), "Warning: can't find \"PortForwardRules\" in flash\n");
  EXPECT_EQ(device.printed(), "");
}

TEST(PortForwardWarning, EachShadowedServiceIsNotedOnce) {
  auto warning = [](const char *rules, const std::string &model = "RX1") -> std::string {
    sim::Device device;
    device.settings(
        settingsOf("RMWWWServerPort=80 RMHTTPSServerPort=443 RMTELNETServerPort=23 "
                   "RMFTPServerPort=21 snmp_serverPort=161"));
    device.settings({{"ModelName", model}});
    if (rules != nullptr) device.settings({{"PortForwardRules", rules}});
    std::string output(1024, '#');
    EXPECT_EQ(showPortForwardRedirectedWarning(output.data()), 1);
    return output.c_str();
  };
  auto note = [](const char *service, const std::string &model = "RX1") {
    return "<div id='noteBlock'><span>Note : " + model + " " + service + "</span></div>";
  };
  const char *const kServices[] = {
      "HTTP service is redirected from 80 to 8080", "HTTPS service is redirected from 443 to 44344",
      "TELNET service is redirected from 23 to 2323", "FTP service is redirected from 21 to 2121",
      "SNMP service is redirected from 161 to 16116"};
  const std::string kHttp = note(kServices[0]);
  std::string all;
  for (const char *service : kServices) all += note(service);
  const std::pair<const char *, std::string> kCases[] = {
      {"a,b,c,70,90,1;a,b,c,80,0,3;a,b,c,21,0,1", kHttp + note(kServices[3])},
      {"a,b,c,1,65535,3;a,b,c,80,0,1", all},
      {"a,b,c,70,80,1", kHttp},
      {nullptr, ""},
      {"a,b,c,70,90,2", ""},               // UDP only
      {"192.168.1.10,80,0,TCP", ""},       // the rule builder's layout
      {"a,b,c,0,90,1", ""},                // no first port
      {"a,b,c,70,65536,1", ""},            //
      {"a,b,c,79,0,1", ""},                // one port, and not this one
      {"a,b,c,81,90,1;a,b,c,70,79,1", ""}  // next to it
  };
  for (const auto &[rules, noted] : kCases) EXPECT_EQ(warning(rules), noted);

  // The model name stands as it is stored; a note that has no room is left out.
  EXPECT_EQ(warning("a,b,c,80,0,1", "<b>%d%n"), note(kServices[0], "<b>%d%n"));
  for (auto [length, count] : {std::pair(100, 5), {200, 3}, {900, 1}, {5000, 0}}) {
    const std::string model(static_cast<size_t>(length), 'M');
    std::string first;
    for (int i = 0; i < count; i++) first += note(kServices[i], model);
    EXPECT_EQ(warning("a,b,c,1,65535,3", model), first);
  }
}

template <typename Reader, typename... Arguments>
static std::string faultOf(const char *text, Arguments... arguments) {
  orba::RecordFault fault = Reader(orba::Record({text, strlen(text)}, 0), arguments...).fault();
  return orba::faulty(fault) ? std::to_string(fault.field) + " " + fault.reason : "";
}

TEST(PortForwardList, TellsWhichFieldIsAtFault) {
  using namespace orba;
  EXPECT_EQ(faultOf<PortForward>("10.0.0.9,65535,0,TCP", 0), "");
  EXPECT_EQ(faultOf<PortForward>("", 0), "0 is missing");
  EXPECT_EQ(faultOf<PortForward>("host,x,x,x", 0), "0 is not an IPv4 address");
  EXPECT_EQ(faultOf<PortForward>("any", 0), "1 is missing");
  EXPECT_EQ(faultOf<PortForward>("any,http,0,TCP", 0), "1 is 0 or above 65535");
  EXPECT_EQ(faultOf<PortForward>("any,65536,0,TCP", 0), "1 is 0 or above 65535");
  EXPECT_EQ(faultOf<PortForward>("any,80,65536,TCP", 0), "2 is above 65535");
  EXPECT_EQ(faultOf<PortForward>("any,80,0", 0), "3 is missing");
  EXPECT_EQ(faultOf<PortForward>("any,80,0,1", 0), "3 names no protocol, and no rule before does");
  EXPECT_EQ(faultOf<PortForward>("any,80,0,1", kUdp), "");

  EXPECT_EQ(faultOf<SuperDmzForward>("x,80,0,3"), "");
  EXPECT_EQ(faultOf<SuperDmzForward>("x,80,0,TCP"), "3 is not a protocol code from 1 to 3");
  EXPECT_EQ(faultOf<SuperDmzSinglePort>("x,0,y,1"), "1 is 0 or above 65535");
  EXPECT_EQ(faultOf<SuperDmzSinglePort>("x,80,y,4"), "3 is not a protocol code from 1 to 3");
  EXPECT_EQ(faultOf<RedirectingForward>("x,80,0,3"), "4 is missing");
  EXPECT_EQ(faultOf<RedirectingForward>("x,y,z,80,0,2"), "5 is neither 1 nor 3");
}
