// The whole firewall, from the settings to the last command.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/packet_filter.h"
#include "tests/transcript.h"

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

constexpr char kSynCookies[] = "/proc/sys/net/ipv4/tcp_syncookies";

// The web server's and TFTP's modes are missing: LAN only.
constexpr char kGateway[] = R"(
OperationMode=1 wanConnectionMode=PPPOE wan_MTU_manaul=1 wan_MTU=1480 defaultRouteNum=1
dhcpEnabled=2 SPIFWEnabled=1 firewallAction=DROP DefaultFirewallPolicy=0
IPPortFilterRules=192.168.1.20,,0,0,any/0,,25,0,1,1,smtp,,,,
websFilterProxy=0 websFilterJava=1 websFilterActivex=1 websFilterCookies=0
websFilterTrustIP=192.168.1.2 websURLFilters=http://ads.example.com/banner
websHostFilters=games.example.com websHostFiltersEnable=1
RemoteManagement=0 WANPingFilter=1 LANPingFilter=0
BlockPortScan=1 BlockSynFlood=1 BlockPingofDeath=1 BlockLAND=1
ftpMode=1 telnetMode=3 snmpMode=-1 icmpMode=3 sshMode=0
aclMode=1 aclRules=192.168.1.7;192.168.1.20-192.168.1.30
MacFilterAction=DROP MACFilterRules=00:0C:43:00:00:66
PortForwardRules=192.168.1.10,8000,8010,TCP&UDP
DMZEnable=1 DMZAddress=192.168.1.50 DMZAvoidTCPPort80=1 RMWWWServerPort=8080 SIPALGEnable=1)";

void makeGateway(sim::Device &device) {
  device.settings(settingsOf(kGateway)).file(kSynCookies, "0\n");
  device.interface("ppp0").address("203.0.113.7");
  device.answer("switch reg r 3608", "value=0x1\n");
}

// What both building and taking down begin with.
const std::string kEmptied = R"(
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
iptables -P OUTPUT ACCEPT)";

// The chains, INPUT, and the first rule of FORWARD.
const std::string kChains = R"(
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
iptables -t filter -A FORWARD -o ppp+ -p tcp --tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu 1>/dev/null 2>&1)";

// The rest of FORWARD, and the jumps for TCP SYN packets.
const std::string kForward = R"(
iptables -A FORWARD -p tcp -i ppp+ --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1452:1536 -j TCPMSS --set-mss 1452
iptables -t filter -A FORWARD -j FORWARD_IGMP 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j FORWARD_UPNP 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j port_forward 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j DMZ 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j web_filter 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j malicious_filter 1>/dev/null 2>&1
iptables -t filter -A FORWARD -j macipport_filter 1>/dev/null 2>&1
iptables -t filter -A malicious_filter -p tcp --syn -j synflood_filter 1>/dev/null 2>&1
iptables -t filter -A malicious_input_filter -p tcp --syn -j synflood_input_filter 1>/dev/null 2>&1)";

// Source translation unhooked, forwarding and DMZ gone.
const std::string kNatRemoved = R"(
iptables -t nat -D POSTROUTING -j LAN_NAT_CHAIN 1>/dev/null 2>&1
/bin/super_dmz -f
iptables -t nat -D PREROUTING -j port_forward 1>/dev/null 2>&1
iptables -t nat -F port_forward  1>/dev/null 2>&1; iptables -t nat -X port_forward  1>/dev/null 2>&1
iptables -t nat -D PREROUTING -j DMZ 1>/dev/null 2>&1
iptables -t nat -F DMZ 1>/dev/null 2>&1; iptables -t nat -X DMZ  1>/dev/null 2>&1)";

// The nat chains anew.
const std::string kNat = R"(
iptables -t nat -N LAN_NAT_CHAIN 1>/dev/null 2>&1; iptables -t nat -A POSTROUTING -j LAN_NAT_CHAIN 1>/dev/null 2>&1
iptables -t nat -A PREROUTING -d 224.0.0.0/3 -j ACCEPT 1>/dev/null 2>&1
iptables -t nat -N port_forward 1>/dev/null 2>&1; iptables -t nat -I PREROUTING 1 -j port_forward 1>/dev/null 2>&1
iptables -t nat -N DMZ 1>/dev/null 2>&1; iptables -t nat -I PREROUTING 2 -j DMZ 1>/dev/null 2>&1
nat.sh)";

TEST_F(Firewall, GatewayIsBuiltWhole) {
  sim::Device device;
  makeGateway(device);
  firewall_init();
  EXPECT_EQ(transcript(device), kEmptied + "\niptables -P FORWARD ACCEPT" + kChains + R"(
iptables -A FORWARD -p tcp -i ppp0 --tcp-flags SYN,ACK SYN,ACK -m tcpmss --mss 1440:1536 -j TCPMSS --set-mss 1440)" +
                                    kForward + R"(
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
iptables -A malicious_filter -p tcp --tcp-flags ALL FIN,URG,PSH -j DROP
iptables -A malicious_filter -p tcp --tcp-flags ALL SYN,RST,ACK,FIN,URG -j DROP
iptables -A malicious_filter -p tcp --tcp-flags ALL NONE -j DROP
iptables -A malicious_filter -p tcp --tcp-flags SYN,RST SYN,RST -j DROP
iptables -A malicious_filter -p tcp --tcp-flags SYN,FIN SYN,FIN -j DROP
iptables -A malicious_input_filter -p tcp --tcp-flags ALL FIN,URG,PSH -j DROP
iptables -A malicious_input_filter -p tcp --tcp-flags ALL SYN,RST,ACK,FIN,URG -j DROP
iptables -A malicious_input_filter -p tcp --tcp-flags ALL NONE -j DROP
iptables -A malicious_input_filter -p tcp --tcp-flags SYN,RST SYN,RST -j DROP
iptables -A malicious_input_filter -p tcp --tcp-flags SYN,FIN SYN,FIN -j DROP
echo 1 > /proc/sys/net/ipv4/tcp_syncookies
iptables -A PING_DEATH -p icmp -m length ! --length 0:1536 -j DROP
iptables -A PING_DEATH -p icmp --icmp-type echo-request -m limit --limit 1/s -j RETURN
iptables -A PING_DEATH -p icmp -j DROP
iptables -A malicious_input_filter -p icmp --icmp-type echo-request -m state --state NEW -j PING_DEATH
iptables -A malicious_filter -p icmp --icmp-type echo-request -m state --state NEW -j PING_DEATH
iptables -A malicious_input_filter ! -i br+ -s 203.0.113.7 -d 203.0.113.7 -j DROP
iptables -t filter -A dhcp_relay_chain ! -i br+ -p udp --sport 67 --dport 67 -j ACCEPT
iptables -t filter -F MCL_FILTER
iptables -t filter -F MCL_IPCHAIN
iptables -A MCL_FILTER -i ! br+ -p tcp --dport 80 -j DROP
iptables -A MCL_FILTER -i br+ -p tcp --dport 80 -j RETURN
iptables -A MCL_FILTER -i br+ -p tcp --dport 21 -j DROP
iptables -A MCL_FILTER -i ! br+ -p tcp --dport 21 -j RETURN
iptables -A MCL_FILTER -p tcp --dport 23 -j DROP
iptables -A MCL_FILTER -p udp --dport 161 -j RETURN
iptables -A MCL_FILTER -i br+ -p icmp --icmp-type 8 -j DROP
iptables -A MCL_FILTER -i ! br+ -p icmp --icmp-type 8 -j DROP
iptables -A MCL_FILTER -i ! br+ -p tcp --dport 22 -j DROP
iptables -A MCL_FILTER -i br+ -p tcp --dport 22 -j RETURN
iptables -A MCL_FILTER -i ! br+ -p udp --dport 69 -j DROP
iptables -A MCL_FILTER -i br+ -p udp --dport 69 -j RETURN
iptables -t filter -I MCL_IPCHAIN -j MCL_FILTER 1>/dev/null 2>&1
iptables -A MCL_IPCHAIN -s 192.168.1.7 -j ACCEPT
iptables -A MCL_IPCHAIN -m iprange --src-range 192.168.1.20-192.168.1.30 -j ACCEPT
iptables -A MCL_IPCHAIN -p tcp --dport 21 -j DROP
iptables -A MCL_IPCHAIN -p tcp --dport 23 -j DROP
iptables -A MCL_IPCHAIN -p tcp --dport 80 -j DROP
iptables -A MCL_IPCHAIN -p udp --dport 161 -j DROP
iptables -A MCL_IPCHAIN -p icmp --icmp-type 8 -j DROP
iptables -A MCL_IPCHAIN -p tcp --dport 22 -j DROP
ebtables -t nat -P MAC_Filter RETURN
ebtables -t nat -A MAC_Filter -s 00:0C:43:00:00:66 -j DROP)" +
                                    kNatRemoved + kNat + R"(
iptables -t filter -A port_forward -i ppp0 -d 192.168.1.10 -p tcp --dport 8000:8010  -j ACCEPT
iptables -t nat -A port_forward -j DNAT -d 203.0.113.7 -p tcp --dport 8000:8010 --to 192.168.1.10 
iptables -t filter -A port_forward -i ppp0 -d 192.168.1.10 -p udp --dport 8000:8010  -j ACCEPT
iptables -t nat -A port_forward -j DNAT -d 203.0.113.7 -p udp --dport 8000:8010 --to 192.168.1.10 
iptables -t filter -A DMZ -i ppp0 -d 192.168.1.50 -j ACCEPT
iptables -t nat -A DMZ -i ppp0 -p tcp --dport 7547 -j RETURN;iptables -t nat -A DMZ -i ppp0 -p tcp --dport 161 -j RETURN;iptables -t nat -A DMZ -j DNAT -i ppp0 --to 192.168.1.50;iptables -t nat -A DMZ -j DNAT -i ppp0 -p tcp --dport ! 8080 --to 192.168.1.50
insmod /lib/modules/2.6.21/kernel/net/netfilter/nf_conntrack_sip.ko
insmod /lib/modules/2.6.21/kernel/net/ipv4/netfilter/nf_nat_sip.ko)");
  EXPECT_EQ(device.text(kSynCookies), "1\n");
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
  std::string lan_only = "\niptables -t filter -F MCL_FILTER\niptables -t filter -F MCL_IPCHAIN";
  for (std::string service :
       {"tcp --dport 80", "tcp --dport 21", "tcp --dport 23", "udp --dport 161",
        "icmp --icmp-type 8", "tcp --dport 22", "udp --dport 69"}) {
    lan_only += "\niptables -A MCL_FILTER -i ! br+ -p " + service + " -j DROP";
    lan_only += "\niptables -A MCL_FILTER -i br+ -p " + service + " -j ACCEPT";
  }
  lan_only += "\niptables -t filter -I MCL_IPCHAIN -j MCL_FILTER 1>/dev/null 2>&1";
  EXPECT_EQ(transcript(device), kEmptied + kChains + kForward + lan_only + kNatRemoved + kNat);
  EXPECT_EQ(device.printed(),
            "Warning: can't find \"IPPortFilterRules\" in flash.\n"
            "Warning: can't find \"DMZEnable\" in flash\n"
            "Warning: can't find \"SIPALGEnable\" in flash\n");
  EXPECT_EQ(device.console(),
            "ifname:, wanmode:\n"
            "Warning: can't find \"PortForwardRules\" in flash\n");
}

// The policy is what filter rules do not do.
TEST_F(Firewall, IsTakenDownToAForwardPolicyOppositeToTheAction) {
  const std::pair<const char *, const char *> kCases[] = {
      {"DROP", "\niptables -P FORWARD ACCEPT"},
      {"ACCEPT", "\niptables -P FORWARD DROP"},
      {"", ""},
      {"drop", ""},
  };
  for (const auto &[action, policy] : kCases) {
    sim::Device device;
    device.settings({{"firewallAction", action}});
    firewall_fini();
    EXPECT_EQ(transcript(device),
              kEmptied + policy + kNatRemoved + "\nebtables -t nat -F MAC_Filter");
  }
}

TEST_F(Firewall, BuiltAgainItStandsOnceAsAtFirst) {
  sim::Device device;
  makeGateway(device);
  sim::PacketFilter kernel;
  auto build = [&] {
    device.forget();
    firewall_init();
    kernel.run(device.commands());
    std::ostringstream tables;
    kernel.print(tables);
    return tables.str();
  };
  const std::string at_first = build();
  EXPECT_THAT(kernel.rules("iptables", "nat", "PREROUTING"),
              ElementsAre("-j port_forward", "-j DMZ", "-d 224.0.0.0/3 -j ACCEPT"));
  EXPECT_EQ(kernel.rules("iptables", "filter", "INPUT").size(), 8u);
  EXPECT_EQ(kernel.rules("iptables", "filter", "FORWARD").size(), 10u);
  EXPECT_EQ(build(), at_first);

  device.forget();
  firewall_fini();
  kernel.run(device.commands());
  for (const char *chain :
       {"INPUT", "FORWARD", "OUTPUT", "port_forward", "DMZ", "web_filter", "macipport_filter",
        "macipport_input_filter", "malicious_filter", "malicious_input_filter", "PING_DEATH",
        "MCL_FILTER", "MCL_IPCHAIN", "dhcp_relay_chain"}) {
    EXPECT_THAT(kernel.rules("iptables", "filter", chain), IsEmpty()) << chain;
  }
  EXPECT_FALSE(kernel.has("iptables", "nat", "port_forward"));
  EXPECT_THAT(kernel.rules("ebtables", "nat", "MAC_Filter"), IsEmpty());
  EXPECT_EQ(build(), at_first);

  // Another program limits SYNs; its rules outlive the firewall.
  kernel.run("iptables -A synflood_input_filter -m limit --limit 5/s -j RETURN");
  firewall_fini();
  kernel.run(device.commands());
  EXPECT_EQ(kernel.rules("iptables", "filter", "synflood_input_filter").size(), 1u);
}

TEST_F(Firewall, SipModulesAreLoadedOnceAndUnloadedInReverse) {
  sim::Device device;
  auto modules = [&](const char *enable) {
    device.forget();
    device.settings({{"SIPALGEnable", enable}});
    firewall_init();
    std::string commands = transcript(device);
    return commands.substr(commands.find("\nnat.sh") + strlen("\nnat.sh"));
  };
  const std::string kLoading = R"(
insmod /lib/modules/2.6.21/kernel/net/netfilter/nf_conntrack_sip.ko
insmod /lib/modules/2.6.21/kernel/net/ipv4/netfilter/nf_nat_sip.ko)";
  EXPECT_EQ(modules("0"), "");
  EXPECT_EQ(modules("1"), kLoading);
  EXPECT_EQ(modules("1"), "");
  EXPECT_EQ(modules("2"), "");
  firewall_fini();
  device.remove("SIPALGEnable");
  firewall_init();  // without the setting nothing changes
  EXPECT_EQ(modules("1"), "");
  EXPECT_EQ(modules("0"), "\nrmmod nf_nat_sip.ko\nrmmod nf_conntrack_sip.ko");
  EXPECT_EQ(modules("0"), "");
  EXPECT_EQ(modules("1"), kLoading);
}

TEST(FirewallFlushes, EmptyOneFeatureEach) {
  sim::Device device;
  device.file(kSynCookies, "1\n");
  iptablesDMZFlush();
  iptablesPortForwardFlush();
  MACFilterFlush();
  iptablesIPPortFilterFlush();
  iptablesMaliciousFilterFlush();
  EXPECT_EQ(transcript(device), R"(
iptables -t filter -F DMZ 1>/dev/null 2>&1
iptables -t nat -F DMZ 1>/dev/null 2>&1
/bin/super_dmz -f
iptables -t filter -F port_forward 1>/dev/null 2>&1
iptables -t nat -F port_forward 1>/dev/null 2>&1
ebtables -t nat -F MAC_Filter
iptables -F macipport_filter 1>/dev/null 2>&1
iptables -F macipport_input_filter 1>/dev/null 2>&1
iptables -F malicious_filter  1>/dev/null 2>&1
iptables -F synflood_filter  1>/dev/null 2>&1
iptables -A malicious_filter -p tcp --syn -j synflood_filter 1>/dev/null 2>&1
iptables -F malicious_input_filter  1>/dev/null 2>&1
iptables -F synflood_input_filter  1>/dev/null 2>&1
iptables -A malicious_input_filter -p tcp --syn -j synflood_input_filter 1>/dev/null 2>&1
iptables -F PING_DEATH  1>/dev/null 2>&1
echo 0 > /proc/sys/net/ipv4/tcp_syncookies)");
  EXPECT_EQ(device.text(kSynCookies), "0\n");
}

}  // namespace
