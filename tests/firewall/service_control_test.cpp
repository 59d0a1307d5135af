// Who may reach the management services: modes, trusted addresses, and the way
// back on the WAN side.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

using sim::Settings;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

constexpr char kJump[] = "iptables -t filter -I MCL_IPCHAIN -j MCL_FILTER 1>/dev/null 2>&1";

std::vector<std::string> control(const char *acl_mode, unsigned mode, const char *protocol,
                                 int port) {
  sim::Device device;
  device.settings({{"aclMode", acl_mode}});
  setServiceControl(mode, protocol, port);
  return device.commands();
}

}  // namespace

TEST(ServiceControl, OpenEverywhereAndNoTrustedList) {
  sim::Device device;
  for (const char *key :
       {"httpMode", "ftpMode", "telnetMode", "snmpMode", "icmpMode", "sshMode", "tftpMode"}) {
    device.settings({{key, "2"}});
  }
  device.settings({{"aclMode", "0"}, {"aclRules", "192.168.1.7"}, {"RMWWWServerPort", "8888"}});
  iptablesMclRun();
  EXPECT_THAT(device.commands(),
              ElementsAre("iptables -t filter -F MCL_FILTER", "iptables -t filter -F MCL_IPCHAIN",
                          "iptables -A MCL_FILTER -p tcp --dport 80 -j ACCEPT",
                          "iptables -A MCL_FILTER -p tcp --dport 21 -j ACCEPT",
                          "iptables -A MCL_FILTER -p tcp --dport 23 -j ACCEPT",
                          "iptables -A MCL_FILTER -p udp --dport 161 -j ACCEPT",
                          "iptables -A MCL_FILTER -p icmp --icmp-type 8 -j ACCEPT",
                          "iptables -A MCL_FILTER -p tcp --dport 22 -j ACCEPT",
                          "iptables -A MCL_FILTER -p udp --dport 69 -j ACCEPT", kJump));
}

TEST(ServiceControl, EveryModeAtOnceWithATrustedList) {
  sim::Device device;  // httpMode and tftpMode are missing: LAN only
  device.settings({{"ftpMode", "1"},
                   {"telnetMode", "3"},
                   {"snmpMode", "-1"},
                   {"icmpMode", "3"},
                   {"sshMode", "0"},
                   {"aclMode", "1"},
                   {"aclRules", "192.168.1.7;192.168.1.20-192.168.1.30"}});
  iptablesMclRun();
  EXPECT_THAT(device.commands(),
              ElementsAre("iptables -t filter -F MCL_FILTER", "iptables -t filter -F MCL_IPCHAIN",
                          "iptables -A MCL_FILTER -i ! br+ -p tcp --dport 80 -j DROP",
                          "iptables -A MCL_FILTER -i br+ -p tcp --dport 80 -j RETURN",
                          "iptables -A MCL_FILTER -i br+ -p tcp --dport 21 -j DROP",
                          "iptables -A MCL_FILTER -i ! br+ -p tcp --dport 21 -j RETURN",
                          "iptables -A MCL_FILTER -p tcp --dport 23 -j DROP",
                          "iptables -A MCL_FILTER -p udp --dport 161 -j RETURN",
                          "iptables -A MCL_FILTER -i br+ -p icmp --icmp-type 8 -j DROP",
                          "iptables -A MCL_FILTER -i ! br+ -p icmp --icmp-type 8 -j DROP",
                          "iptables -A MCL_FILTER -i ! br+ -p tcp --dport 22 -j DROP",
                          "iptables -A MCL_FILTER -i br+ -p tcp --dport 22 -j RETURN",
                          "iptables -A MCL_FILTER -i ! br+ -p udp --dport 69 -j DROP",
                          "iptables -A MCL_FILTER -i br+ -p udp --dport 69 -j RETURN", kJump,
                          "iptables -A MCL_IPCHAIN -s 192.168.1.7 -j ACCEPT",
                          "iptables -A MCL_IPCHAIN -m iprange --src-range "
                          "192.168.1.20-192.168.1.30 -j ACCEPT",
                          "iptables -A MCL_IPCHAIN -p tcp --dport 21 -j DROP",
                          "iptables -A MCL_IPCHAIN -p tcp --dport 23 -j DROP",
                          "iptables -A MCL_IPCHAIN -p tcp --dport 80 -j DROP",
                          "iptables -A MCL_IPCHAIN -p udp --dport 161 -j DROP",
                          "iptables -A MCL_IPCHAIN -p icmp --icmp-type 8 -j DROP",
                          "iptables -A MCL_IPCHAIN -p tcp --dport 22 -j DROP"));
}

TEST(ServiceControl, PingHasItsOwnTypeAndNoPort) {
  EXPECT_THAT(control("0", 1, "icmp", 99),
              ElementsAre("iptables -A MCL_FILTER -i br+ -p icmp --icmp-type 8 -j DROP",
                          "iptables -A MCL_FILTER -i ! br+ -p icmp --icmp-type 8 -j ACCEPT"));
  EXPECT_THAT(control("0", 0, "icmp", 0),
              ElementsAre("iptables -A MCL_FILTER -i ! br+ -p icmp --icmp-type 8 -j DROP",
                          "iptables -A MCL_FILTER -i br+ -p icmp --icmp-type 8 -j ACCEPT"));
  // Any aclMode but 0 leaves allowed packets to MCL_IPCHAIN, also one that has
  // no list in force there.
  EXPECT_THAT(control("2", 7, "icmp", 0),
              ElementsAre("iptables -A MCL_FILTER -p icmp --icmp-type 8 -j RETURN"));
  EXPECT_THAT(control("", 2, "tcp;reboot", 8080),
              ElementsAre("iptables -A MCL_FILTER -p 'tcp;reboot' --dport 8080 -j ACCEPT"));
}

TEST(AccessList, IsInForceInModeOneOnly) {
  for (const char *mode : {"0", "2", ""}) {
    sim::Device device;
    device.settings({{"aclMode", mode}, {"aclRules", "192.168.1.7"}});
    iptablesAclRun();
    EXPECT_THAT(device.commands(), ElementsAre(kJump));
  }
  sim::Device device;
  device.settings({{"aclMode", "1"}});  // nobody is trusted
  iptablesAclRun();
  EXPECT_EQ(device.commands().size(), 7u);
}

TEST(AccessList, MalformedRecordsGoToIptablesAsOneWord) {
  sim::Device device;
  device.settings(
      {{"aclMode", "1"}, {"aclRules", "10.0.0.1 | sh;;$(id)-2;" + std::string(5000, '1')}});
  iptablesAclRun();
  std::vector<std::string> commands = device.commands();
  commands.resize(5);
  EXPECT_THAT(commands,
              ElementsAre(kJump, "iptables -A MCL_IPCHAIN -s '10.0.0.1 | sh' -j ACCEPT",
                          "iptables -A MCL_IPCHAIN -s  -j ACCEPT",
                          "iptables -A MCL_IPCHAIN -m iprange --src-range '$(id)-2' -j ACCEPT",
                          "iptables -A MCL_IPCHAIN -s " + std::string(127, '1') + " -j ACCEPT"));
}

TEST(RemoteManagement, LetsAnswersInOnAGatewaysFirstWan) {
  const std::string kAnswers =
      "iptables -A malicious_input_filter -i ppp0 -m state --state RELATED,ESTABLISHED -j ACCEPT";
  const struct {
    Settings settings;
    std::vector<std::string> commands;
  } kCases[] = {
      {{{"OperationMode", "1"}, {"SPIFWEnabled", "1"}, {"RemoteManagement", "0"}}, {kAnswers}},
      {{{"OperationMode", "1"}, {"SPIFWEnabled", "1"}}, {kAnswers}},
      {{{"OperationMode", "1"}, {"SPIFWEnabled", "1"}, {"RemoteManagement", "1"}}, {}},
      {{{"OperationMode", "1"}, {"SPIFWEnabled", "0"}, {"RemoteManagement", "0"}}, {}},
      {{{"OperationMode", "3"}, {"SPIFWEnabled", "1"}, {"RemoteManagement", "0"}}, {}},
      {{{"OperationMode", "01"}, {"SPIFWEnabled", "1"}, {"RemoteManagement", "0"}}, {}},
      {{{"SPIFWEnabled", "1"}}, {}},
  };
  for (const auto &expected : kCases) {
    sim::Device device;
    device.settings({{"wanConnectionMode", "PPPOE"}}).settings(expected.settings);
    iptablesRemoteManagementRun();
    EXPECT_THAT(device.commands(), ElementsAreArray(expected.commands));
  }
}
