// Who may reach the management services: modes, trusted addresses, and the way
// back on the WAN side.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"
#include "tests/transcript.h"

namespace {

constexpr char kJump[] = "\niptables -t filter -I MCL_IPCHAIN -j MCL_FILTER 1>/dev/null 2>&1";

TEST(ServiceControl, OfOneService) {
  const struct {
    const char *acl_mode;
    unsigned mode;
    const char *protocol;
    int port;
    const char *commands;
  } kCases[] = {
      // Ping has its own type and no port.
      {"0", 1, "icmp", 99, R"(
iptables -A MCL_FILTER -i br+ -p icmp --icmp-type 8 -j DROP
iptables -A MCL_FILTER -i ! br+ -p icmp --icmp-type 8 -j ACCEPT)"},
      // Any aclMode but 0 leaves allowed packets to MCL_IPCHAIN, also one that has
      // no list in force there.
      {"2", 7, "icmp", 0, "\niptables -A MCL_FILTER -p icmp --icmp-type 8 -j RETURN"},
      {"", 2, "tcp", 8080, "\niptables -A MCL_FILTER -p tcp --dport 8080 -j ACCEPT"},
  };
  for (const auto &c : kCases) {
    sim::Device device;
    device.buffered({{"aclMode", c.acl_mode}});
    setServiceControl(c.mode, c.protocol, c.port);
    EXPECT_EQ(transcript(device), c.commands);
  }
}

TEST(AccessList, IsInForceInModeOneOnly) {
  sim::Device device;
  for (const char *mode : {"0", "2", ""}) {
    device.forget();
    device.buffered({{"aclMode", mode}, {"aclRules", "192.168.1.7"}});
    iptablesAclRun();
    EXPECT_EQ(transcript(device), kJump);
  }
  device.forget();
  device.buffered({{"aclMode", "1"}, {"aclRules", ";" + std::string(5000, '1')}});
  iptablesAclRun();
  EXPECT_EQ(device.commands()[1], "iptables -A MCL_IPCHAIN -s  -j ACCEPT");
  EXPECT_EQ(device.commands()[2],
            "iptables -A MCL_IPCHAIN -s " + std::string(127, '1') + " -j ACCEPT");
  device.forget();
  device.remove("aclRules");
  iptablesAclRun();
  EXPECT_EQ(device.commands().size(), 7u) << "nobody is trusted";
}

TEST(RemoteManagement, LetsAnswersInOnAGatewaysFirstWan) {
  const std::pair<const char *, bool> kCases[] = {
      {"OperationMode=1 SPIFWEnabled=1 RemoteManagement=2", true},
      {"OperationMode=1 SPIFWEnabled=1", true},
      {"OperationMode=1 SPIFWEnabled=1 RemoteManagement=1", false},
      {"OperationMode=1 SPIFWEnabled=0 RemoteManagement=0", false},
      {"OperationMode=3 SPIFWEnabled=1 RemoteManagement=0", false},
      {"OperationMode=01 SPIFWEnabled=1 RemoteManagement=0", false},
      {"SPIFWEnabled=1", false},
  };
  for (const auto &[settings, answers] : kCases) {
    sim::Device device;
    device.settings({{"wanConnectionMode", "PPPOE"}}).settings(settingsOf(settings));
    iptablesRemoteManagementRun();
    EXPECT_EQ(transcript(device), answers ? R"(
iptables -A malicious_input_filter -i ppp0 -m state --state RELATED,ESTABLISHED -j ACCEPT)"
                                          : "")
        << settings;
  }
}

}  // namespace
