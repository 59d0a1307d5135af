// What include/orba_util.h promises of each entry point when something that it
// asks of the system fails. Nothing here is taken from what the library was seen to do.
#ifndef ORBA_TESTS_FAULTS_PROMISES_H
#define ORBA_TESTS_FAULTS_PROMISES_H

#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using Names = std::set<std::string>;

inline Names namesIn(const std::string &words) {
  std::istringstream stream(words);
  return {std::istream_iterator<std::string>(stream), {}};
}

// What the caller's buffers are to hold.
constexpr char kAnyText[] = "any text that ends";
constexpr char kAsItWas[] = "what the caller had put there";

// How a failure is told: surely when one of these calls has failed, and perhaps
// when another has.
struct Failure {
  Names of = {};
  Names answers = {};  // empty: what it answers when nothing fails
  std::string leaves = kAnyText;
  std::optional<int> exits = {};  // it ends the process, with this status
  bool for_good = false;          // surely only when the call fails again and again
};

// One row holds for a family of entry points. Where nothing else is promised, as to all
// that have no row, they answer what they answer when nothing fails, and leave a text
// that ends.
struct Promise {
  Names entries;
  std::vector<Failure> failures = {};
  std::string may_leave = kAnyText;  // also when nothing fails
  bool any_answer = false;           // the answer has no meaning
  bool begins_empty = false;         // the caller hands over an empty text
  bool prints_on_failure = true;
};

// A fetch into a record that the caller can compare with what it was.
const std::string kFetch = "fetching";

inline const std::vector<Promise> &promises() {
  const Names kKernel = {"socket", "ioctl"};
  const Names kShared = {"shmget", "shmat", "semget", "semtimedop"};
  const Failure kRegisterExit = {.of = kKernel, .exits = 0};
  const Failure kNotAsked = {.of = kKernel, .answers = {"-1"}, .leaves = kAsItWas};
  static const std::vector<Promise> kPromises = {
      // ---- what they answer has no meaning ----
      {.entries = namesIn("MACFilterFlush MACFilterRun RoutingInit firewall_fini firewall_init "
                          "iptablesAclRun iptablesDHCPRelayChainFlush iptablesDHCPRelayChainRun "
                          "iptablesDMZFlush iptablesDMZRun iptablesIPPortFilterFlush "
                          "iptablesIPPortFilterRun iptablesMaliciousFilterFlush "
                          "iptablesMaliciousFilterRun iptablesMclRun iptablesPathMTU "
                          "iptablesPortForwardFlush iptablesRemoteManagementRun "
                          "iptablesWebsFilterRun orba_pppoeRelay setServiceControl "
                          "staticRoutingInit updateFlash8021x clearlog startlog_init restartnmbd "
                          "restartAvahid management_init"),
       .any_answer = true},

      // ---- settings: one that cannot be read counts as missing ----
      {.entries = namesIn("getIPPortRuleNums getHostKeywordNums getPortForwardRuleNums"),
       .failures = {{.of = {"nvram_bufget"}, .leaves = "0"}}},
      {.entries = namesIn("getAclRuleNums isAnyVLANRuleExist isQueueBeReference"),
       .failures = {{.of = {"nvram_bufget"}, .answers = {"0"}}}},
      {.entries = namesIn("STF STFs"), .failures = {{.of = {"nvram_bufset"}, .answers = {"-1"}}}},
      {.entries = namesIn("getIndexOfRoutingRule"),
       .failures = {{.of = {"nvram_bufget"}, .answers = {"-1"}}}},
      {.entries = namesIn("getLanIfName"), .failures = {{.answers = {"br0", "eth2"}}}},
      {.entries = namesIn("getLanWanNamebyIf"),
       .failures = {{.of = {"nvram_bufget"}, .answers = {"Unknown"}}}},
      {.entries = namesIn("getWanIfName getWanIfNamePPP"), .may_leave = kAsItWas},
      // Without its connection mode WAN 1 has the name of its Ethernet-side device.
      {.entries = namesIn("getDefaultWanIfName"),
       .failures = {{.answers = {"", "eth2.2", "eth2.10"}}}},
      {.entries = namesIn("getModelName getHostName"),
       .failures = {{.of = {"nvram_bufget"}, .leaves = ""}}},
      {.entries = namesIn("getWlan11aChannels getWlan11bChannels getWlan11gChannels getWPSAuthMode "
                          "getWPSEncrypType"),
       .begins_empty = true},
      {.entries = namesIn("executeStaticRoute executePolicyRoute"),
       .failures = {{.answers = {"0"}}}},

      // ---- the kernel's interfaces and routes ----
      {.entries = namesIn("getIfIp getIfNetmask getIfMac"), .failures = {kNotAsked}},
      {.entries = namesIn("getLanMac"), .failures = {{.of = kKernel, .leaves = ""}}},
      {.entries = namesIn("getDefaultWanMac getDefaultWanIp getDefaultWanNetmask getWlanCurrentMac "
                          "getWlanMac getWiFiMac"),
       .failures = {{.of = kKernel, .answers = {"0"}, .leaves = ""}}},
      {.entries = namesIn("getGatewayByInterface"),
       .failures = {{.of = {"fopen", "fgets"}, .leaves = "0.0.0.0"},
                    {.answers = {"-1"}, .leaves = kAsItWas}}},
      {.entries = namesIn("getGateway"),
       .failures = {{.of = kKernel, .answers = {"-1"}, .leaves = kAsItWas}},
       .begins_empty = true},
      {.entries = namesIn("getWanGateway"),
       .failures = {{.of = {"fopen"}, .answers = {"-1"}, .leaves = kAsItWas}},
       .may_leave = kAsItWas},
      {.entries = namesIn("getWanDefaultGateway"),
       .failures = {{.of = {"fopen"}, .answers = {"-1"}, .leaves = kAsItWas}},
       .may_leave = kAsItWas,
       .any_answer = true},
      {.entries = namesIn("arplookup"),
       .failures = {{.of = {"fopen", "fgets"}, .leaves = "00:00:00:00:00:00"}},
       .any_answer = true},
      {.entries = namesIn("wanarplookup"),
       .failures = {{.of = {"socket", "ioctl", "fopen"}, .answers = {"0"}}, {.answers = {"1"}}}},
      {.entries = namesIn("getRoutingTable"),
       .failures = {{.of = {"fopen", "calloc"}, .answers = {"-1"}, .leaves = kAsItWas}}},

      // ---- drivers ----
      {.entries = namesIn("OidQueryInformation OidSetInformation ApOidQueryInformation"),
       .failures = {{.of = {"ioctl"}, .answers = {"-1"}}}},
      {.entries = namesIn("getOperatingChannel getAPPIN getWscStatus"),
       .failures = {{.of = kKernel, .answers = {"0"}}}},
      {.entries = namesIn("getWlanOperatingChannel"), .failures = {{.of = kKernel, .leaves = "0"}}},
      {.entries = namesIn("getCurrentWscProfile"),
       .failures = {{.of = kKernel, .answers = {"-1"}, .leaves = "N/A N/A"}},
       .begins_empty = true},
      {.entries = namesIn("getWscProfile"), .failures = {{.of = kKernel, .answers = {"-1"}}}},
      {.entries = namesIn("getRaTxPacketASP getRaRxPacketASP getRaTxByteASP getRaRxByteASP"),
       .failures = {{.of = {"ioctl"}, .answers = {"-1"}, .leaves = kAsItWas}}},
      {.entries = namesIn("printStaBssidList"),
       .failures = {{.of = {"socket", "calloc"}, .answers = {"-1"}}},
       .prints_on_failure = false},
      {.entries = namesIn("gpioLedSet ledAlways"),
       .failures = {{.of = {"open", "ioctl"}, .answers = {"-1"}}}},
      {.entries = namesIn("ledWps setLedOff"), .failures = {{.answers = {"-1"}}}},
      {.entries = namesIn("setTimer setTimerOnce setFullTimer stopTimer"),
       .failures = {{.of = {"setitimer"}, .answers = {"-1"}}}},
      {.entries = namesIn("wlan_init"), .failures = {{.of = {"sleep"}, .answers = {"1"}}}},
      {.entries = namesIn("switch_init reg_read reg_write"), .failures = {kRegisterExit}},
      {.entries = namesIn("checkWanPortNumber"),
       .failures = {kRegisterExit, {.answers = {"0", "16384"}}}},
      {.entries = namesIn("igmpsnoopingenable"), .failures = {kRegisterExit, {.answers = {"0"}}}},
      {.entries = namesIn("igmpsnooping_init igmpHWSnoopingRule initInternet"),
       .failures = {{.exits = 0}}},

      // ---- programs and files ----
      {.entries = namesIn("getWANLinkStatus"),
       .failures = {{.of = {"popen", "fread"}, .answers = {"0"}}}},
      {.entries = namesIn("reedSwitchReg"),
       .failures = {{.of = {"popen"}, .answers = {"-1"}}, {.of = {"fgets"}, .answers = {"0"}}}},
      {.entries = namesIn("getSwitchPacket"),
       .failures = {{.of = {"popen"}, .answers = {"-1", "-2", "-3"}}}},
      {.entries = namesIn("getSwitchRxError"),
       .failures = {{.of = {"popen"}, .answers = {"-1", "-2", "-3", "-4", "-5", "-6"}}}},
      {.entries = namesIn("getSwitchBytes"),
       .failures = {{.of = {"popen"}, .answers = {"0", "4294967295", "9223372036854775807"}}}},
      {.entries = namesIn("getWLANTxPacketASP getWLANRxPacketASP getWLANTxByteASP getWLANRxByteASP "
                          "getWANTxPacketASP getWANRxPacketASP getWANTxByteASP getWANRxByteASP"),
       .failures = {{.of = {"fopen"}, .leaves = "-1"}}},
      {.entries = namesIn("getCurrentPacketStatistic"),
       .failures = {{.of = {"ioctl"}, .answers = {"-1"}, .leaves = kAsItWas}}},
      {.entries = namesIn("getSysUptime"), .failures = {{.of = {"sysinfo"}, .leaves = ""}}},
      {.entries = namesIn("getMemUsgInfo"), .failures = {{.of = {"fopen"}, .leaves = ""}}},
      {.entries = namesIn("getCpuLoad"), .failures = {{.of = {"fgets"}, .leaves = ""}}},
      {.entries = namesIn("getSysCurrentTime"), .failures = {{.of = {"ctime_r"}, .leaves = ""}}},
      {.entries = namesIn("getPortStatus"), .failures = {{.of = {"popen", "fread"}, .leaves = ""}}},
      {.entries = namesIn("readHttpdPid"),
       .failures = {{.of = {"fopen", "fscanf"}, .answers = {"0"}}}},
      {.entries = namesIn("getNameIntroFromPat"),
       .failures = {{.of = {"fopen"}, .answers = {"(null)"}}, {.answers = {"N/A#N/A"}}}},
      {.entries = namesIn("getLayer7Filters"), .failures = {{.of = {"opendir"}, .leaves = ""}}},
      {.entries = namesIn("orbaQoSRestart orbaQoSInit"),
       .failures = {{.of = {"fopen"}, .answers = {"0"}}}},
      {.entries = namesIn("TZsync2nvram"),
       .failures = {{.of = {"fopen"}, .answers = {"0"}}, {.answers = {"-1"}}}},
      {.entries = namesIn("getWscResultOrba getWscResultGUIOrba"),
       .failures = {{.of = {"open"}, .answers = {"-1"}}, {.of = {"read"}, .answers = {"0"}}}},
      {.entries = namesIn("getWscResult"),
       .failures = {{.of = {"open", "fstat"}, .exits = 1, .for_good = true},
                    {.of = {"read"}, .answers = {"0"}}}},
      {.entries = namesIn("setWscResult"),
       .failures = {{.of = {"open", "fstat"}, .exits = 1, .for_good = true}}},
      {.entries = namesIn("WPSAPTimerHandler"), .failures = {{.exits = 1}}},

      // ---- the login record ----
      {.entries = namesIn("init_SharedMemory"),
       .failures = {{.of = {"shmget", "shmat", "shmdt", "semget"}, .answers = {"1"}}}},
      {.entries = namesIn("sync_globalVar_and_sharedMem writeSessionFile " + kFetch),
       .failures = {{.of = kShared, .answers = {"1"}, .leaves = kAsItWas},
                    {.of = {"shmdt"}, .exits = 1}}},
      {.entries = namesIn("getLoginUser"),
       .failures = {{.of = kShared, .leaves = "admin"}, {.of = {"shmdt"}, .exits = 1}}},
  };
  return kPromises;
}

#endif
