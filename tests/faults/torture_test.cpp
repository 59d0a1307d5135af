// Every call that can fail is made to fail, one after the other.
#include <gmock/gmock.h>

#include <algorithm>
#include <set>

#include "tests/faults/rehearsal.h"

namespace {

using orba::tool::Answer;
using orba::tool::Entry;
using sim::Faults;

using Names = std::set<std::string>;

constexpr char kFetch[] = "fetching the login record";

// An ordinary run takes some of the calls of each situation, a soak all of them.
const bool kLongRun = getenv("ORBA_SOAK") != nullptr;
constexpr size_t kCallsOfOrdinaryRun = 4;

// What an entry point answers when something failed, apart from what it answers
// anyway.
const std::map<std::string, Names> kOnFailure = {
    {"-1",
     {"ApOidQueryInformation",
      "OidQueryInformation",
      "OidSetInformation",
      "STF",
      "STFs",
      "TZsync2nvram",
      "getCurrentPacketStatistic",
      "getCurrentWscProfile",
      "getGateway",
      "getGatewayByInterface",
      "getIfIp",
      "getIfMac",
      "getIfNetmask",
      "getIndexOfRoutingRule",
      "getRaRxByteASP",
      "getRaRxPacketASP",
      "getRaTxByteASP",
      "getRaTxPacketASP",
      "getRoutingTable",
      "getSwitchPacket",
      "getSwitchRxError",
      "getWanDefaultGateway",
      "getWanGateway",
      "getWscProfile",
      "getWscResultGUIOrba",
      "getWscResultOrba",
      "gpioLedSet",
      "ledAlways",
      "ledWps",
      "printStaBssidList",
      "reedSwitchReg",
      "setFullTimer",
      "setTimer",
      "setTimerOnce",
      "stopTimer"}},
    {"0", {"TZsync2nvram",        "executePolicyRoute", "executeStaticRoute",
           "checkWanPortNumber",  "getAPPIN",           "getAclRuleNums",
           "getDefaultWanIp",     "getDefaultWanMac",   "getDefaultWanNetmask",
           "getOperatingChannel", "getSwitchBytes",     "getWANLinkStatus",
           "getWscResultGUIOrba", "getWscResultOrba",   "getWiFiMac",
           "getWlanCurrentMac",   "getWlanMac",         "getWscResult",
           "getWscStatus",        "igmpsnoopingenable", "iptablesDHCPRelayChainRun",
           "isAnyVLANRuleExist",  "isQueueBeReference", "orbaQoSInit",
           "orbaQoSRestart",      "readHttpdPid",       "wanarplookup"}},
    {"", {"getDefaultWanIfName"}},
    {"eth2.10", {"getDefaultWanIfName"}},  // without its connection mode
    {"Unknown", {"getLanWanNamebyIf"}},
    {"33", {"clearlog", "startlog_init"}},  // a shorter command: no remote host
    // A register that cannot be read counts as -1, in sums and in joined halves.
    {"-2", {"getSwitchPacket", "getSwitchRxError"}},
    {"-3", {"getSwitchPacket", "getSwitchRxError"}},
    {"-4", {"getSwitchRxError"}},
    {"-5", {"getSwitchRxError"}},
    {"-6", {"getSwitchRxError"}},
    {"4294967295", {"getSwitchBytes"}},
    {"9223372036854775807", {"getSwitchBytes"}},
    {"1", {"init_SharedMemory", "sync_globalVar_and_sharedMem", "writeSessionFile", "wlan_init"}},
};

bool mayAnswer(const std::string &entry, const std::string &returned) {
  auto found = kOnFailure.find(returned);
  return found != kOnFailure.end() && found->second.count(entry) != 0;
}

// Who may end the process, with which status, and what must have failed before.
struct StatedExit {
  int status;
  Names causes;
  Names entries;
};

const StatedExit kExits[] = {
    {0,
     {"socket", "ioctl"},
     {"switch_init", "reg_read", "reg_write", "checkWanPortNumber", "igmpsnoopingenable",
      "igmpsnooping_init", "igmpHWSnoopingRule", "initInternet"}},
    {1, {"open"}, {"getWscResult", "setWscResult", "WPSAPTimerHandler"}},
    {1, {"shmdt"}, {"sync_globalVar_and_sharedMem", "writeSessionFile", "getLoginUser", kFetch}},
};

bool mayExit(const std::string &entry, int status, const Names &failed) {
  return std::any_of(std::begin(kExits), std::end(kExits), [&](const StatedExit &stated) {
    auto is_cause = [&](const std::string &call) { return stated.causes.count(call) != 0; };
    return stated.status == status && stated.entries.count(entry) != 0 &&
           std::any_of(failed.begin(), failed.end(), is_cause);
  });
}

// Who leaves the caller's buffer as it was when it answers -1.
struct KeptOutput {
  const char *name;
  int (*get)(char *out);
};

int fetchInto(char *out) {
  memcpy(&global_shared_stuff, out, sizeof global_shared_stuff);
  int result = sync_globalVar_and_sharedMem(0);
  memcpy(out, &global_shared_stuff, sizeof global_shared_stuff);
  return -result;
}

constexpr KeptOutput kKeptOutputs[] = {
    {"getIfIp", [](char *out) { return getIfIp("br0", out); }},
    {"getIfNetmask", [](char *out) { return getIfNetmask("br0", out); }},
    {"getIfMac", [](char *out) { return getIfMac("br0", out); }},
    {"getGatewayByInterface", [](char *out) { return getGatewayByInterface("eth2.2", out); }},
    {"getRoutingTable", getRoutingTable},
    {"getCurrentPacketStatistic", getCurrentPacketStatistic},
    {"getRaTxPacketASP", [](char *out) { return getRaTxPacketASP(out, 0, nullptr); }},
    {"getRaRxByteASP", [](char *out) { return getRaRxByteASP(out, 0, nullptr); }},
    {kFetch, fetchInto},
};

Entry asEntry(const KeptOutput &kept) {
  auto call = [get = kept.get](const std::vector<std::string> &) {
    const std::string before(4096, 'x');
    std::string out = before;
    bool failed = get(out.data()) == -1;
    return Answer{failed && out != before ? "not as it was" : "", {}};
  };
  return {"", kept.name, {}, "", false, call};
}

const char *const kSpans[] = {"once", "from then on", "and all behind it"};

class Torture : public testing::Test {
 protected:
  void torture(const Situation &situation) {
    Rehearsal whole(situation);
    whole.run();
    judge(situation, whole, "without a failure");
    const std::vector<std::string> calls = whole.calls();
    calls_ += calls.size();
    size_t step = kLongRun ? 1 : std::max<size_t>(1, calls.size() / kCallsOfOrdinaryRun);
    for (size_t number = 1 + calls_ % step; number <= calls.size(); number += step) {
      const std::string &call = calls[number - 1];
      for (size_t way = 0; way < Faults::ways(call); way++) {
        for (Faults::Span span : {Faults::kOnce, Faults::kEverySuchCall, Faults::kEverything}) {
          if (span != Faults::kOnce && Faults::interrupts(call, way)) continue;
          if (span == Faults::kEverything && way != 0) continue;
          Rehearsal run(situation);
          run.device.faults().fail(number, span, way);
          run.run();
          std::string what = "call " + std::to_string(number) + ", " + call + ", fails " +
                             kSpans[span] + ", way " + std::to_string(way);
          judge(situation, run, what);
          injections_++;
          // A semaphore that was not released is not there any more.
          if (run.exit_status || call == "semop") continue;
          run.device.faults().repair();
          run.run();
          judge(situation, run, "again after " + what);
        }
      }
    }
  }

  void judge(const Situation &situation, Rehearsal &run, const std::string &what) {
    const std::string entry = situation.entry.name, &returned = run.answer.returned;
    sim::Device &device = run.device;
    std::string fault = run.trouble;
    if (run.exit_status) {
      if (!mayExit(entry, *run.exit_status, device.faults().failed())) fault = "ends the process";
    } else {
      Names &usual = usual_[entry];
      if (device.faults().failed().empty()) usual.insert(returned);
      if (usual.count(returned) == 0 && !mayAnswer(entry, returned))
        fault += " answers " + returned;
      std::string held = device.held().describe();
      if (!held.empty()) fault += " still holds " + held;
      if (device.openPipes() != 0) fault += " leaves a pipe open";
    }
    for (const std::string &line : device.shellLines()) {
      if (!std::all_of(line.begin(), line.end(), [](char c) { return c >= ' ' && c <= '~'; })) {
        fault += " runs " + line;
      }
    }
    // The names of routing tables that others have put there.
    if (situation.place.files &&
        device.text("/etc/iproute2/rt_tables").value_or("").find("255 local\n") != 0) {
      fault += " loses foreign lines";
    }
    if (!fault.empty()) faults_[entry + ": " + fault] = situation.describe() + ", " + what;
  }

  std::map<std::string, Names> usual_;         // what each entry point answers when all is well
  std::map<std::string, std::string> faults_;  // where each was seen last
  size_t calls_ = 0;
  size_t injections_ = 0;
};

}  // namespace

TEST_F(Torture, EveryFailureIsSurvived) {
  std::vector<Entry> kept;
  for (const KeptOutput &output : kKeptOutputs) kept.push_back(asEntry(output));
  std::vector<Situation> situations = allSituations();
  for (const Place &place : kPlaces) {
    for (const Entry &entry : kept) situations.push_back({place, entry, {}});
  }
  for (const Situation &situation : situations) torture(situation);
  EXPECT_THAT(faults_, testing::IsEmpty());
  EXPECT_GT(injections_, 10000u);
  printf("%zu situations, %zu calls, %zu injections\n", situations.size(), calls_, injections_);
}
