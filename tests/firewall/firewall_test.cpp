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

std::string part(const char *name) {
  return section("firewall/pppoe_gateway.txt", name);
}

// The commands that every firewall has, as the transcript of the least configuration tells
// them: from the one that begins with `first` to the one before that which begins with `behind`.
std::string skeleton(const std::string &first, const std::string &behind) {
  std::ifstream transcript(ORBA_EXAMPLES "/../tests/tool/transcripts/minimal.firewall.txt");
  std::string commands;
  bool inside = false;
  for (std::string line; std::getline(transcript, line);) {
    if (line.empty() || line[0] == '$' || line[0] == ' ') continue;  // not a command
    inside = (inside || line.starts_with(first)) && !line.starts_with(behind);
    if (inside) commands += "\n" + line;
  }
  return commands;
}

const std::string kStart = "iptables -F INPUT", kEmptied = "ebtables -t nat -F MAC_Filter",
                  kSegments = "iptables -A FORWARD -p tcp -i ppp+",
                  kFilterRules = "iptables -t filter -A macipport_filter",
                  kNat = "iptables -t nat -D POSTROUTING", kNatRemoved = "iptables -t nat -N LAN",
                  kEnd = "firewall_init:";

void makeGateway(sim::Device &device) {
  device.settings(settingsOf(part("settings"))).file(kSynCookies, "0\n");
  device.interface("ppp0").address("203.0.113.7");
  device.answer("switch reg r 3608", "value=0x1\n");
}

TEST_F(Firewall, GatewayIsBuiltWhole) {
  sim::Device device;
  makeGateway(device);
  firewall_init();
  EXPECT_EQ(transcript(device), skeleton(kStart, kEmptied) + "\niptables -P FORWARD ACCEPT" +
                                    skeleton(kEmptied, kSegments) + part("segment sizes") +
                                    skeleton(kSegments, kFilterRules) + part("filter rules") +
                                    skeleton(kNat, kEnd) + part("nat rules"));
  EXPECT_EQ(device.text(kSynCookies), "1\n");
  EXPECT_EQ(device.printed(), "");
  EXPECT_EQ(device.console(), "ifname:, wanmode:PPPOE\ndefault:ppp0, WAN MTU:1440\n");
  EXPECT_THAT(device.writes(), IsEmpty());
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
    device.buffered({{"firewallAction", action}});
    firewall_fini();
    EXPECT_EQ(transcript(device),
              skeleton(kStart, kEmptied) + policy + skeleton(kNat, kNatRemoved) + "\n" + kEmptied);
  }
}

TEST_F(Firewall, TakenDownItsChainsAreEmptyAndBuiltAgainItIsAsAtFirst) {
  sim::Device device;
  makeGateway(device);
  sim::PacketFilter kernel;
  auto afterwards = [&](auto change) {
    device.forget();
    change();
    kernel.run(device.commands());
    std::ostringstream tables;
    kernel.print(tables);
    return tables.str();
  };
  const std::string at_first = afterwards(firewall_init);
  EXPECT_THAT(kernel.rules("iptables", "nat", "PREROUTING"),
              ElementsAre("-j port_forward", "-j DMZ", "-d 224.0.0.0/3 -j ACCEPT"));

  // Another program limits SYNs; its rules outlive the firewall.
  kernel.run("iptables -A synflood_input_filter -m limit --limit 5/s -j RETURN");
  afterwards(firewall_fini);
  for (const char *chain :
       {"INPUT", "FORWARD", "OUTPUT", "port_forward", "DMZ", "web_filter", "macipport_filter",
        "macipport_input_filter", "malicious_filter", "malicious_input_filter", "PING_DEATH",
        "MCL_FILTER", "MCL_IPCHAIN", "dhcp_relay_chain"}) {
    EXPECT_THAT(kernel.rules("iptables", "filter", chain), IsEmpty()) << chain;
  }
  EXPECT_FALSE(kernel.has("iptables", "nat", "port_forward"));
  EXPECT_THAT(kernel.rules("ebtables", "nat", "MAC_Filter"), IsEmpty());
  EXPECT_EQ(kernel.rules("iptables", "filter", "synflood_input_filter").size(), 1u);
  kernel.run("iptables -F synflood_input_filter");
  EXPECT_EQ(afterwards(firewall_init), at_first);
}

TEST_F(Firewall, SipModulesAreLoadedOnceAndUnloadedInReverse) {
  sim::Device device;
  auto modules = [&](const char *enable) {
    device.forget();
    device.settings({{"SIPALGEnable", enable}, {"IPPortFilterRules", ""}, {"DMZEnable", "0"}});
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
  EXPECT_EQ(device.printed(), "Warning: can't find \"SIPALGEnable\" in flash\n");
  EXPECT_EQ(modules("1"), "");
  EXPECT_EQ(modules("0"), "\nrmmod nf_nat_sip.ko\nrmmod nf_conntrack_sip.ko");
  EXPECT_EQ(modules("0"), "");
  EXPECT_EQ(modules("1"), kLoading);
}

}  // namespace
