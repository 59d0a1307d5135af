#include "tools/orba/serve/answers.h"

#include <cstdlib>
#include <set>

#include "sim/radio.h"
#include "tools/orba/bench.h"
#include "tools/orba/check.h"
#include "tools/orba/config.h"
#include "tools/orba/difference.h"
#include "tools/orba/entry.h"
#include "tools/orba/firewall_picture.h"
#include "tools/orba/origin.h"
#include "tools/orba/serve/bench_life.h"
#include "tools/orba/settings.h"
#include "tools/orba/week.h"

namespace orba::tool {

namespace {

// A getter with its words. "@getLanIfName" is what that one answered before.
struct Question {
  const char *getter;
  std::vector<std::string> words = {};
};

const std::vector<Question> kStatus = {
    {"getModelName"},
    {"getHostName"},
    {"getSysUptime"},
    {"getSysCurrentTime"},
    {"getMemUsgInfo"},
    {"getCpuLoad"},
    {"getPortStatus"},
    {"getCurrentPacketStatistic"},
    {"getTuStatusFrameRefreshTimeout"},
};

const std::vector<Question> kNetwork = {
    {"getLanIfName"},
    {"getIfIp", {"@getLanIfName"}},
    {"getIfNetmask", {"@getLanIfName"}},
    {"getLanMac"},
    {"getDefaultWanConnectionMode"},
    {"getDefaultWanAddressType"},
    {"getDefaultWanIfName"},
    {"getDefaultWanIp"},
    {"getDefaultWanNetmask"},
    {"getDefaultWanMac"},
    {"getGatewayByInterface", {"@getDefaultWanIfName"}},
    {"getWanIfNamePPP"},
    {"getIfIp", {"@getWanIfNamePPP"}},
    {"getWan2IfNamePPP", {"2"}},
    {"getIfIp", {"@getWan2IfNamePPP 2"}},
    {"getWan2IfNamePPP", {"3"}},
    {"getIfIp", {"@getWan2IfNamePPP 3"}},
    {"getWan2IfNamePPP", {"4"}},
    {"getIfIp", {"@getWan2IfNamePPP 4"}},
    {"wanSrvName"},
    {"getWANLinkStatus"},
    {"getRoutingTable"},
};

const std::vector<Question> kRadio = {
    {"getWlan11aChannels"},      {"getWlan11bChannels"}, {"getWlan11gChannels"}, {"getWlanChannel"},
    {"getWlanOperatingChannel"}, {"getWlanCurrentMac"},  {"getMaxBssidNum"},
};

constexpr char kFirewall[] = "firewall_init";

// The entry points that make a configuration real, and what a page calls after a change.
constexpr const char *kApplying[] = {
    kFirewall,         "RoutingInit", "executeStaticRoute",     "executePolicyRoute",
    "orba_pppoeRelay", "WlanRestart", "wlanModeChange2_4_init", "wlan_schedule_init",
    "WPSRestart",      "orbaQoSInit", "startlog_init",          "igmpsnooping_init",
    "initInternet",
};

// What an answer is called: "getIfIp br0".
std::string nameOf(const char *getter, const std::vector<std::string> &words) {
  std::string name = getter;
  for (const std::string &word : words) name += " " + word;
  return name;
}

Json answersTo(const std::vector<Question> &questions) {
  Json answers = Json::object();
  for (const Question &question : questions) {
    std::vector<std::string> words = question.words;
    for (std::string &word : words) {
      if (word[0] == '@') word = answers[word.substr(1)].get<std::string>();
    }
    Answer answer = entryNamed(question.getter).call(words);
    const std::string &text = answer.outputs.empty() ? answer.returned : answer.outputs.front();
    answers[nameOf(question.getter, question.words)] = text;
  }
  return answers;
}

Json answerOf(const Session &session) {
  return {{"version", session.version()}, {"changes", session.changes().size()}};
}

// The device with the settings that are kept.
struct KeptDevice {
  KeptDevice(const Bench &bench, const Session &session) {
    putSettings(session.kept(), device);
    bench.prepare(device);
  }
  sim::Device device;
};

// What the survey prints, a page of its own.
std::string surveyOf(const Bench &bench, const Session &session) {
  KeptDevice kept(bench, session);
  entryNamed("printStaBssidList").call({});
  return kept.device.printed();
}

std::vector<Finding> findingsIn(const std::vector<nvram::Entry> &settings) {
  sim::Device device;
  putSettings(settings, device);
  return checkSettings(device);
}

Run runWith(const std::vector<nvram::Entry> &settings, const char *entry, const Bench &bench) {
  return runOn(settings, entry, {}, [&](sim::Device &device) { bench.prepare(device); });
}

Difference effectOn(const char *entry, const Bench &bench, const Session &session) {
  return differenceOf(runWith(session.kept(), entry, bench),
                      runWith(session.changed(), entry, bench));
}

}  // namespace

void Bench::prepare(sim::Device &device_made) const {
  if (!root.empty()) device_made.lowerRoot(root);
  setUpBench(device_made);
  // A radio that chooses for itself chose 6.
  int channel = atoi(device_made.setting("Channel").value_or("0").c_str());
  device_made.part<sim::Radio>().channel(channel > 0 ? channel : 6);
  if (!device.empty()) readDeviceFile(device, device_made);
}

Json statusAnswer(const Bench &bench, const Session &session, long long milliseconds) {
  KeptDevice kept(bench, session);
  letLive(kept.device, milliseconds, bench.started_at);
  Json answer = answerOf(session);
  answer["at"] = milliseconds;
  answer["answers"] = answersTo(kStatus);
  return answer;
}

Json networkAnswer(const Bench &bench, const Session &session) {
  KeptDevice kept(bench, session);
  Json answer = answerOf(session);
  answer["answers"] = answersTo(kNetwork);
  return answer;
}

Json radioAnswer(const Bench &bench, const Session &session) {
  Json answer = answerOf(session);
  answer["survey"] = surveyOf(bench, session);
  KeptDevice kept(bench, session);
  answer["answers"] = answersTo(kRadio);
  Week week = plannedWeek(kept.device);
  answer["week"] = week.asJson();
  answer["switched"] = week.hasSwitches();
  return answer;
}

Json settingsAnswer(const Session &session) {
  Json answer = answerOf(session);
  answer["settings"] = Json::array();
  for (const nvram::Entry &entry : session.changed()) {
    const SettingDescription *description = descriptionOf(entry.key, entry.space);
    answer["settings"].push_back({{"space", entry.space},
                                  {"key", entry.key},
                                  {"value", entry.value},
                                  {"meaning", description != nullptr ? description->meaning : ""}});
  }
  answer["forms"] = Json::array();
  for (const SettingForm &form : settingForms()) {
    answer["forms"].push_back({{"space", form.space},
                               {"key", form.key},
                               {"pattern", form.pattern},
                               {"words", form.words}});
  }
  answer["findings"] = Json::array();
  for (const Finding &finding : findingsIn(session.changed())) {
    answer["findings"].push_back(
        {{"space", finding.space}, {"key", finding.key}, {"line", finding.line()}});
  }
  return answer;
}

Json changesAnswer(const Session &session) {
  Json answer = answerOf(session);
  answer["list"] = Json::array();
  for (const auto &[name, value] : session.changes()) {
    Session::Value kept = session.kept(name);
    answer["list"].push_back({{"space", name.first},
                              {"key", name.second},
                              {"from", kept ? Json(*kept) : Json()},
                              {"to", value ? Json(*value) : Json()}});
  }
  return answer;
}

Json effectsAnswer(const Bench &bench, const Session &session) {
  Json answer = changesAnswer(session);
  answer["effects"] = Json::array();
  for (const char *entry : kApplying) {
    Difference difference = effectOn(entry, bench, session);
    if (difference.none()) continue;
    answer["effects"].push_back({{"entry", entry}, {"difference", differenceAsJson(difference)}});
  }
  std::set<std::string> known;
  for (const Finding &finding : findingsIn(session.kept())) known.insert(finding.line());
  answer["findings"] = Json::array();
  for (const Finding &finding : findingsIn(session.changed())) {
    if (known.count(finding.line()) == 0) answer["findings"].push_back(finding.line());
  }
  return answer;
}

std::string firewallAnswer(const Bench &bench, const Session &session, bool with_changes) {
  Run run = runWith(with_changes ? session.changed() : session.kept(), kFirewall, bench);
  Origins origins = originsOf(run, [&](sim::Device &device) { bench.prepare(device); });
  if (!with_changes) return firewallPicture(run, origins);
  Difference difference = differenceOf(runWith(session.kept(), kFirewall, bench), run);
  return firewallPicture(run, origins, &difference);
}

}  // namespace orba::tool
