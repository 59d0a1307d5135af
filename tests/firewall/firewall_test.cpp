// The whole firewall, from the settings to the last command.
#include <gmock/gmock.h>

#include <algorithm>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/packet_filter.h"
#include "tests/firewall/transcript.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Firewall : public testing::Test {
 protected:
  // The process may remember SIP modules from another test.
  void SetUp() override {
    sim::Device device;
    device.settings({{"SIPALGEnable", "0"}});
    firewall_init();
  }
};

sim::Settings gatewaySettings() {
  return {{"OperationMode", "1"},
          {"wanConnectionMode", "PPPOE"},
          {"wan_MTU_manaul", "1"},
          {"wan_MTU", "1480"},
          {"defaultRouteNum", "1"},
          {"dhcpEnabled", "2"},
          {"SPIFWEnabled", "1"},
          {"firewallAction", "DROP"},
          {"DefaultFirewallPolicy", "0"},
          {"IPPortFilterRules", "192.168.1.20,,0,0,any/0,,25,0,1,1,smtp,,,,"},
          {"websFilterProxy", "0"},
          {"websFilterJava", "1"},
          {"websFilterActivex", "1"},
          {"websFilterCookies", "0"},
          {"websFilterTrustIP", "192.168.1.2"},
          {"websURLFilters", "http://ads.example.com/banner"},
          {"websHostFilters", "games.example.com"},
          {"websHostFiltersEnable", "1"},
          {"RemoteManagement", "0"},
          {"WANPingFilter", "1"},
          {"LANPingFilter", "0"},
          {"BlockPortScan", "0"},
          {"BlockSynFlood", "0"},
          {"BlockPingofDeath", "0"},
          {"BlockLAND", "1"},
          {"httpMode", "0"},
          {"ftpMode", "3"},
          {"telnetMode", "0"},
          {"snmpMode", "1"},
          {"icmpMode", "2"},
          {"sshMode", "2"},
          {"tftpMode", "3"},
          {"aclMode", "1"},
          {"aclRules", "192.168.1.2"},
          {"MacFilterAction", "DROP"},
          {"MACFilterRules", "00:0C:43:00:00:66"},
          {"PortForwardRules", "192.168.1.10,8000,8010,TCP&UDP"},
          {"DMZEnable", "1"},
          {"DMZAddress", "192.168.1.50"},
          {"DMZAvoidTCPPort80", "1"},
          {"RMWWWServerPort", "8080"},
          {"SIPALGEnable", "1"}};
}

void makeGateway(sim::Device &device) {
  device.settings(gatewaySettings());
  device.interface("ppp0").address("203.0.113.7");
  device.answer("switch reg r 3608", "value=0x1\n");
}

// What both building and taking down begin with.
const std::string kEmptied = lines(R"(
iptables -F INPUT 1>/dev/null 2>&1
iptables -F FORWARD 1>/dev/null 2>&1
iptables -F OUTPUT 1>/dev/null 2>&1
iptables -F DMZ 1>/dev/null 2>&1
iptables -F MCL_FILTER 1>/dev/null 2>&1
iptables -F MCL_IPCHAIN 1>/dev/null 2>&1
iptables -F macipport_filter 1>/dev/null 2>&1
iptables -F macipport_input_filter 1>/dev/null 2>&1
iptables -F malicious_filter 1>/dev/null 2>&1
iptables -F malicious_input_filter 1>/dev/null 2>&1
iptables -F port_forward 1>/dev/null 2>&1
iptables -F synflood_filter 1>/dev/null 2>&1
iptables -F synflood__input_filter 1>/dev/null 2>&1
iptables -F web_filter 1>/dev/null 2>&1
iptables -F PING_DEATH  1>/dev/null 2>&1
iptables -D FORWARD -j macipport_filter 1>/dev/null 2>&1
iptables -F macipport_filter 1>/dev/null 2>&1
iptables -D FORWARD -j web_filter  1>/dev/null 2>&1
iptables -F web_filter  1>/dev/null 2>&1
iptables -D FORWARD -j malicious_filter 1>/dev/null 2>&1
iptables -F malicious_filter  1>/dev/null 2>&1
iptables -D INPUT -j malicious_input_filter 1>/dev/null 2>&1
iptables -F malicious_input_filter  1>/dev/null 2>&1
iptables -F dhcp_relay_chain
iptables -D FORWARD -d 224.0.0.0/3 -j ACCEPT
iptables -t nat -D PREROUTING -d 224.0.0.0/3 -j ACCEPT
iptables -t filter -D INPUT -j MCL_IPCHAIN 1>/dev/null 2>&1
iptables -t filter -F MCL_FILTER
iptables -t filter -F MCL_IPCHAIN
iptables -P INPUT ACCEPT
iptables -P OUTPUT ACCEPT
)");

// The chains, INPUT, and the first rule of FORWARD.
const std::string kChains = lines(R"(
ebtables -t nat -F MAC_Filter
iptables -t filter -N port_forward 1>/dev/null 2>&1
iptables -t filter -N DMZ 1>/dev/null 2>&1
iptables -t filter -N web_filter 1>/dev/null 2>&1
iptables -t filter -N macipport_input_filter 1>/dev/null 2>&1
iptables -t filter -N macipport_filter 1>/dev/null 2>&1
iptables -t filter -N malicious_filter 1>/dev/null 2>&1
iptables -t filter -N synflood_filter 1>/dev/null 2>&1
iptables -t filter -N malicious_input_filter 1>/dev/null 2>&1
iptables -t filter -N synflood_input_filter 1>/dev/null 2>&1
iptables -t filter -N PING_DEATH 1>/dev/null 2>&1
iptables -t filter -N MCL_FILTER 1>/dev/null 2>&1
iptables -t filter -N MCL_IPCHAIN 1>/dev/null 2>&1
ebtables -t filter -N Policy_Route 1>/dev/null 2>&1
iptables -t filter -N dhcp_relay_chain 1>/dev/null 2>&1
ebtables -t nat -N MAC_Filter 1>/dev/null 2>&1
ebtables -t nat -P MAC_FILTER RETURN
iptables -t filter -N FORWARD_UPNP 1>/dev/null 2>&1
iptables -t filter -N FORWARD_IGMP 1>/dev/null 2>&1
iptables -t filter -A INPUT -p 2 -j ACCEPT 1>/dev/null 2>&1
iptables -t filter -A INPUT -p tcp -m tcp --dport 7547 -j ACCEPT 1>/dev/null 2>&1
iptables -t filter -A INPUT -j MCL_IPCHAIN 1>/dev/null 2>&1
iptables -t filter -A INPUT -j malicious_input_filter 1>/dev/null 2>&1
iptables -t filter -A INPUT -j macipport_input_filter 1>/dev/null 2>&1
ebtables -t filter -D INPUT -j Policy_Route 1>/dev/null 2>&1
ebtables -t filter -A INPUT -j Policy_Route 1>/dev/null 2>&1
iptables -t filter -A INPUT -j dhcp_relay_chain 1>/dev/null 2>&1
iptables -t filter -A INPUT -i lo -j ACCEPT 1>/dev/null 2>&1
iptables -t filter -A INPUT ! -i br+ -j DROP 1>/dev/null 2>&1
ebtables -t nat -D PREROUTING -j MAC_Filter 1>/dev/null 2>&1
ebtables -t nat -A PREROUTING -j MAC_Filter 1>/dev/null 2>&1
iptables -t filter -A FORWARD -o ppp+ -p tcp --tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu 1>/dev/null 2>&1
)");

// The rest of FORWARD, and the jumps for TCP SYN packets.
const std::string kForward = lines(R"(
iptables -A FORWARD -p tcp -i ppp+ --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1452:1536 -j TCPMSS --set-mss 1452
iptables -t filter -A FORWARD -j FORWARD_IGMP 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j FORWARD_UPNP 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j port_forward 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j DMZ 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j web_filter 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j malicious_filter 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j macipport_filter 1>/dev/null 2>&1
iptables -t filter -A malicious_filter -p tcp --syn -j synflood_filter 1>/dev/null 2>&1
iptables -t filter -A malicious_input_filter -p tcp --syn -j synflood_input_filter 1>/dev/null 2>&1
)");

// Source translation unhooked, forwarding and DMZ gone.
const std::string kNatRemoved = lines(R"(
iptables -t nat -D POSTROUTING -j LAN_NAT_CHAIN 1>/dev/null 2>&1
/bin/super_dmz -f
iptables -t nat -D PREROUTING -j port_forward 1>/dev/null 2>&1
iptables -t nat -F port_forward  1>/dev/null 2>&1; iptables -t nat -X port_forward  1>/dev/null 2>&1
iptables -t nat -D PREROUTING -j DMZ 1>/dev/null 2>&1
iptables -t nat -F DMZ 1>/dev/null 2>&1; iptables -t nat -X DMZ  1>/dev/null 2>&1
)");

// The nat chains anew.
const std::string kNat = lines(R"(
iptables -t nat -N LAN_NAT_CHAIN 1>/dev/null 2>&1; iptables -t nat -A POSTROUTING -j LAN_NAT_CHAIN 1>/dev/null 2>&1
iptables -t nat -A PREROUTING -d 224.0.0.0/3 -j ACCEPT 1>/dev/null 2>&1
iptables -t nat -N port_forward 1>/dev/null 2>&1; iptables -t nat -I PREROUTING 1 -j port_forward 1>/dev/null 2>&1
iptables -t nat -N DMZ 1>/dev/null 2>&1; iptables -t nat -I PREROUTING 2 -j DMZ 1>/dev/null 2>&1
nat.sh
)");

TEST_F(Firewall, GatewayIsBuiltWhole) {
  sim::Device device;
  makeGateway(device);
  firewall_init();
  EXPECT_EQ(transcript(device), kEmptied + "iptables -P FORWARD ACCEPT\n" + kChains + lines(R"(
iptables -A FORWARD -p tcp -i ppp0 --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1440:1536 -j TCPMSS --set-mss 1440
)") + kForward + lines(R"(
iptables -A macipport_filter -m state --state NEW,INVALID -s 192.168.1.20 -d any/0 -p tcp --dport 25 -j LOG --log-level DEBUG --log-prefix [FirewallLog]Filter:
iptables -A macipport_filter -m state --state NEW,INVALID -s 192.168.1.20 -d any/0 -p tcp --dport 25 -j DROP
iptables -t filter -A macipport_filter ! -i br+ -j ACCEPT
iptables -t filter -A macipport_input_filter ! -i br+ -j ACCEPT
iptables -A web_filter -s ! 192.168.1.2 -p tcp -m tcp --dport 80   -m webstr --content 3 -j REJECT --reject-with tcp-reset
iptables -A web_filter -s ! 192.168.1.2 -p tcp -m tcp --dport 3128 -m webstr --content 3 -j REJECT --reject-with tcp-reset
iptables -A web_filter -s ! 192.168.1.2 -p tcp -m tcp --dport 8080 -m webstr --content 3 -j REJECT --reject-with tcp-reset
iptables -A web_filter -p tcp -m tcp -m webstr --url  ads.example.com/banner -j REJECT --reject-with tcp-reset
iptables -A web_filter -s ! 192.168.1.2 -p tcp -m tcp -m webstr --host games.example.com -j REJECT --reject-with tcp-reset
iptables -A malicious_input_filter -i ppp0 -m state --state RELATED,ESTABLISHED -j ACCEPT
iptables -A malicious_input_filter -i ! br+ -p icmp --icmp-type echo-request -j DROP
iptables -A malicious_input_filter -i br+ -p icmp --icmp-type echo-request -j ACCEPT
iptables -A malicious_input_filter ! -i br+ -s 203.0.113.7 -d 203.0.113.7 -j DROP
iptables -t filter -A dhcp_relay_chain ! -i br+ -p udp --sport 67 --dport 67 -j ACCEPT
iptables -t filter -F MCL_FILTER
iptables -t filter -F MCL_IPCHAIN
iptables -A MCL_FILTER -i ! br+ -p tcp --dport 80 -j DROP
iptables -A MCL_FILTER -i br+ -p tcp --dport 80 -j RETURN
iptables -A MCL_FILTER -p tcp --dport 21 -j DROP
iptables -A MCL_FILTER -i ! br+ -p tcp --dport 23 -j DROP
iptables -A MCL_FILTER -i br+ -p tcp --dport 23 -j RETURN
iptables -A MCL_FILTER -i br+ -p udp --dport 161 -j DROP
iptables -A MCL_FILTER -i ! br+ -p udp --dport 161 -j RETURN
iptables -A MCL_FILTER -p icmp --icmp-type 8 -j RETURN
iptables -A MCL_FILTER -p tcp --dport 22 -j RETURN
iptables -A MCL_FILTER -p udp --dport 69 -j DROP
iptables -t filter -I MCL_IPCHAIN -j MCL_FILTER 1>/dev/null 2>&1
iptables -A MCL_IPCHAIN -s 192.168.1.2 -j ACCEPT
iptables -A MCL_IPCHAIN -p tcp --dport 21 -j DROP
iptables -A MCL_IPCHAIN -p tcp --dport 23 -j DROP
iptables -A MCL_IPCHAIN -p tcp --dport 80 -j DROP
iptables -A MCL_IPCHAIN -p udp --dport 161 -j DROP
iptables -A MCL_IPCHAIN -p icmp --icmp-type 8 -j DROP
iptables -A MCL_IPCHAIN -p tcp --dport 22 -j DROP
ebtables -t nat -P MAC_Filter RETURN
ebtables -t nat -A MAC_Filter -s 00:0C:43:00:00:66 -j DROP
)") + kNatRemoved + kNat + lines(R"(
iptables -t filter -A port_forward -i ppp0 -d 192.168.1.10 -p tcp --dport 8000:8010  -j ACCEPT
iptables -t nat -A port_forward -j DNAT -d 203.0.113.7 -p tcp --dport 8000:8010 --to 192.168.1.10 
iptables -t filter -A port_forward -i ppp0 -d 192.168.1.10 -p udp --dport 8000:8010  -j ACCEPT
iptables -t nat -A port_forward -j DNAT -d 203.0.113.7 -p udp --dport 8000:8010 --to 192.168.1.10 
iptables -t filter -A DMZ -i ppp0 -d 192.168.1.50 -j ACCEPT
iptables -t nat -A DMZ -i ppp0 -p tcp --dport 7547 -j RETURN;iptables -t nat -A DMZ -i ppp0 -p tcp --dport 161 -j RETURN;iptables -t nat -A DMZ -j DNAT -i ppp0 --to 192.168.1.50;iptables -t nat -A DMZ -j DNAT -i ppp0 -p tcp --dport ! 8080 --to 192.168.1.50
insmod /lib/modules/2.6.21/kernel/net/netfilter/nf_conntrack_sip.ko
insmod /lib/modules/2.6.21/kernel/net/ipv4/netfilter/nf_nat_sip.ko
)"));
  EXPECT_EQ(device.printed(), "");
  EXPECT_EQ(device.console(), "ifname:, wanmode:PPPOE\ndefault:ppp0, WAN MTU:1440\n");
  EXPECT_THAT(device.writes(), IsEmpty());
}

// What no setting asks for: the bare skeleton, the rules for LAN-only services,
// and a word about each list that is missing.
TEST_F(Firewall, AlmostEmptySettingsStillMakeTheSkeleton) {
  sim::Device device;
  device.settings({{"OperationMode", "1"}});
  firewall_init();
  EXPECT_EQ(transcript(device), kEmptied + kChains + kForward + lines(R"(
iptables -t filter -F MCL_FILTER
iptables -t filter -F MCL_IPCHAIN
iptables -A MCL_FILTER -i ! br+ -p tcp --dport 80 -j DROP
iptables -A MCL_FILTER -i br+ -p tcp --dport 80 -j ACCEPT
iptables -A MCL_FILTER -i ! br+ -p tcp --dport 21 -j DROP
iptables -A MCL_FILTER -i br+ -p tcp --dport 21 -j ACCEPT
iptables -A MCL_FILTER -i ! br+ -p tcp --dport 23 -j DROP
iptables -A MCL_FILTER -i br+ -p tcp --dport 23 -j ACCEPT
iptables -A MCL_FILTER -i ! br+ -p udp --dport 161 -j DROP
iptables -A MCL_FILTER -i br+ -p udp --dport 161 -j ACCEPT
iptables -A MCL_FILTER -i ! br+ -p icmp --icmp-type 8 -j DROP
iptables -A MCL_FILTER -i br+ -p icmp --icmp-type 8 -j ACCEPT
iptables -A MCL_FILTER -i ! br+ -p tcp --dport 22 -j DROP
iptables -A MCL_FILTER -i br+ -p tcp --dport 22 -j ACCEPT
iptables -A MCL_FILTER -i ! br+ -p udp --dport 69 -j DROP
iptables -A MCL_FILTER -i br+ -p udp --dport 69 -j ACCEPT
iptables -t filter -I MCL_IPCHAIN -j MCL_FILTER 1>/dev/null 2>&1
)") + kNatRemoved + kNat);
  EXPECT_EQ(device.printed(),
            "Warning: can't find \"IPPortFilterRules\" in flash.\n"
            "Warning: can't find \"DMZEnable\" in flash\n"
            "Warning: can't find \"SIPALGEnable\" in flash\n");
  EXPECT_EQ(device.console(),
            "ifname:, wanmode:\n"
            "Warning: can't find \"PortForwardRules\" in flash\n");
}

void expectBuilt(const sim::PacketFilter &kernel) {
  EXPECT_THAT(
      kernel.rules("iptables", "filter", "INPUT"),
      ElementsAre("-p 2 -j ACCEPT", "-p tcp -m tcp --dport 7547 -j ACCEPT", "-j MCL_IPCHAIN",
                  "-j malicious_input_filter", "-j macipport_input_filter", "-j dhcp_relay_chain",
                  "-i lo -j ACCEPT", "! -i br+ -j DROP"));
  EXPECT_THAT(kernel.rules("iptables", "filter", "FORWARD"),
              ElementsAre("-o ppp+ -p tcp --tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu",
                          "-p tcp -i ppp0 --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1440:1536 "
                          "-j TCPMSS --set-mss 1440",
                          "-p tcp -i ppp+ --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1452:1536 "
                          "-j TCPMSS --set-mss 1452",
                          "-j FORWARD_IGMP", "-j FORWARD_UPNP", "-j port_forward", "-j DMZ",
                          "-j web_filter", "-j malicious_filter", "-j macipport_filter"));
  EXPECT_THAT(kernel.rules("iptables", "filter", "OUTPUT"), IsEmpty());
  EXPECT_THAT(kernel.rules("iptables", "nat", "PREROUTING"),
              ElementsAre("-j port_forward", "-j DMZ", "-d 224.0.0.0/3 -j ACCEPT"));
  EXPECT_THAT(kernel.rules("iptables", "nat", "POSTROUTING"), ElementsAre("-j LAN_NAT_CHAIN"));
  EXPECT_THAT(kernel.rules("ebtables", "filter", "INPUT"), ElementsAre("-j Policy_Route"));
  EXPECT_THAT(kernel.rules("ebtables", "nat", "PREROUTING"), ElementsAre("-j MAC_Filter"));
  EXPECT_THAT(kernel.rules("iptables", "filter", "malicious_filter"),
              ElementsAre("-p tcp --syn -j synflood_filter"));
  EXPECT_EQ(kernel.rules("iptables", "filter", "malicious_input_filter").at(0),
            "-p tcp --syn -j synflood_input_filter");
  EXPECT_EQ(kernel.rules("ebtables", "nat", "MAC_Filter").size(), 1u);
  EXPECT_EQ(kernel.rules("iptables", "filter", "macipport_filter").size(), 3u);
  EXPECT_EQ(kernel.rules("iptables", "filter", "port_forward").size(), 2u);
  EXPECT_EQ(kernel.rules("iptables", "nat", "port_forward").size(), 2u);
  EXPECT_EQ(kernel.policy("iptables", "filter", "FORWARD"), "ACCEPT");
}

TEST_F(Firewall, BuildingTwiceLeavesEachJumpOnce) {
  sim::Device device;
  makeGateway(device);
  sim::PacketFilter kernel;
  for (int time = 0; time < 2; time++) {
    device.forget();
    firewall_init();
    kernel.run(device.commands());
    expectBuilt(kernel);
  }
}

TEST_F(Firewall, TakingItDownEmptiesItAndItIsBuiltAgain) {
  sim::Device device;
  makeGateway(device);
  firewall_init();
  sim::PacketFilter kernel;
  kernel.run(device.commands());
  // Another program limits SYNs; its rules outlive the firewall.
  kernel.run("iptables -A synflood_input_filter -m limit --limit 5/s -j RETURN");

  device.forget();
  firewall_fini();
  EXPECT_EQ(transcript(device), kEmptied + "iptables -P FORWARD ACCEPT\n" + kNatRemoved +
                                    "ebtables -t nat -F MAC_Filter\n");

  kernel.run(device.commands());
  for (const char *chain :
       {"INPUT", "FORWARD", "OUTPUT", "port_forward", "DMZ", "web_filter", "macipport_filter",
        "macipport_input_filter", "malicious_filter", "malicious_input_filter", "PING_DEATH",
        "MCL_FILTER", "MCL_IPCHAIN", "dhcp_relay_chain"}) {
    EXPECT_THAT(kernel.rules("iptables", "filter", chain), IsEmpty()) << chain;
    EXPECT_TRUE(kernel.has("iptables", "filter", chain)) << chain;
  }
  EXPECT_EQ(kernel.rules("iptables", "filter", "synflood_input_filter").size(), 1u);
  EXPECT_FALSE(kernel.has("iptables", "nat", "port_forward") ||
               kernel.has("iptables", "nat", "DMZ"));
  EXPECT_THAT(kernel.rules("iptables", "nat", "POSTROUTING"), IsEmpty());
  EXPECT_THAT(kernel.rules("ebtables", "nat", "MAC_Filter"), IsEmpty());
  EXPECT_THAT(kernel.rules("ebtables", "nat", "PREROUTING"), ElementsAre("-j MAC_Filter"));
  EXPECT_THAT(kernel.rules("ebtables", "filter", "INPUT"), ElementsAre("-j Policy_Route"));

  device.forget();
  firewall_init();
  kernel.run(device.commands());
  expectBuilt(kernel);
}

// The policy is what filter rules do not do.
TEST_F(Firewall, ForwardPolicyIsTheOppositeOfTheAction) {
  struct {
    const char *action, *policy;
  } const kCases[] = {
      {"DROP", "ACCEPT"}, {"ACCEPT", "DROP"}, {"", "as-it-was"}, {"drop", "as-it-was"}};
  for (const auto &c : kCases) {
    for (auto rebuild : {firewall_init, firewall_fini}) {
      sim::Device device;
      device.settings({{"firewallAction", c.action}});
      rebuild();
      sim::PacketFilter kernel;
      kernel.run("iptables -P FORWARD as-it-was");
      kernel.run(device.commands());
      EXPECT_EQ(kernel.policy("iptables", "filter", "FORWARD"), c.policy) << c.action;
      EXPECT_EQ(kernel.policy("iptables", "filter", "INPUT"), "ACCEPT");
      EXPECT_EQ(kernel.policy("iptables", "filter", "OUTPUT"), "ACCEPT");
    }
  }
}

TEST_F(Firewall, SipModulesAreLoadedOnceAndUnloadedInReverse) {
  sim::Device device;
  auto modules = [&](const char *enable) {
    device.forget();
    device.settings({{"SIPALGEnable", enable}});
    firewall_init();
    std::vector<std::string> commands = device.commands();
    std::erase_if(commands,
                  [](const std::string &line) { return line.find("mod") == std::string::npos; });
    return commands;
  };
  auto loading = ElementsAre("insmod /lib/modules/2.6.21/kernel/net/netfilter/nf_conntrack_sip.ko",
                             "insmod /lib/modules/2.6.21/kernel/net/ipv4/netfilter/nf_nat_sip.ko");
  EXPECT_THAT(modules("0"), IsEmpty());
  EXPECT_THAT(modules("1"), loading);
  EXPECT_THAT(modules("1"), IsEmpty());
  EXPECT_THAT(modules("2"), IsEmpty());
  firewall_fini();
  EXPECT_THAT(modules("1"), IsEmpty());
  EXPECT_THAT(modules("0"), ElementsAre("rmmod nf_nat_sip.ko", "rmmod nf_conntrack_sip.ko"));
  EXPECT_THAT(modules("0"), IsEmpty());
  EXPECT_THAT(modules("1"), loading);

  // Without the setting nothing changes, and the firewall is whole.
  device.forget();
  device.remove("SIPALGEnable");
  firewall_init();
  EXPECT_EQ(device.commands().back(), "nat.sh");
  EXPECT_THAT(device.printed(),
              testing::EndsWith("Warning: can't find \"SIPALGEnable\" in flash\n"));
}

TEST(FirewallFlushes, EmptyOneFeatureEach) {
  sim::Device device;
  iptablesDMZFlush();
  iptablesPortForwardFlush();
  MACFilterFlush();
  EXPECT_EQ(transcript(device), lines(R"(
iptables -t filter -F DMZ 1>/dev/null 2>&1
iptables -t nat -F DMZ 1>/dev/null 2>&1
/bin/super_dmz -f
iptables -t filter -F port_forward 1>/dev/null 2>&1
iptables -t nat -F port_forward 1>/dev/null 2>&1
ebtables -t nat -F MAC_Filter
)"));
}

}  // namespace
