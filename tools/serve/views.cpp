#include "tools/serve/views.h"
#include <nlohmann/json.hpp>

#include <set>

#include "tools/catalog/entry_point.h"
#include "tools/catalog/settings.h"
#include "tools/device/config.h"
#include "tools/device/desk_life.h"
#include "tools/play/difference.h"
#include "tools/show/changes.h"
#include "tools/show/check.h"
#include "tools/show/week.h"

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
    CallResult result = entryPointNamed(question.getter).call(words);
    const std::string &text = result.outputs.empty() ? result.returned : result.outputs.front();
    answers[nameOf(question.getter, question.words)] = text;
  }
  return answers;
}

Json answerOf(const Draft &draft) {
  return {{"version", draft.version()}, {"changes", draft.changes().size()}};
}

// The device with the settings that are kept.
struct KeptDevice {
  KeptDevice(const DeskDevice &desk, const Draft &draft) {
    putSettings(draft.kept(), device);
    desk.prepare(device);
  }
  sim::Device device;
};

// What the survey prints, a page of its own.
std::string surveyOf(const DeskDevice &desk, const Draft &draft) {
  KeptDevice kept(desk, draft);
  entryPointNamed("printStaBssidList").call({});
  return kept.device.printed();
}

std::vector<Finding> findingsIn(const std::vector<nvram::Setting> &settings) {
  sim::Device device;
  putSettings(settings, device);
  return checkSettings(device);
}

Recording runWith(const std::vector<nvram::Setting> &settings, const char *entry,
                  const DeskDevice &desk) {
  return record(settings, entry, {}, [&](sim::Device &device) { desk.prepare(device); });
}

Difference effectOn(const char *entry, const DeskDevice &desk, const Draft &draft) {
  return differenceOf(runWith(draft.kept(), entry, desk), runWith(draft.changed(), entry, desk));
}

}  // namespace

Json statusView(const DeskDevice &desk, const Draft &draft, long long milliseconds) {
  KeptDevice kept(desk, draft);
  letLive(kept.device, milliseconds, desk.started_at);
  Json answer = answerOf(draft);
  answer["at"] = milliseconds;
  answer["answers"] = answersTo(kStatus);
  return answer;
}

Json networkView(const DeskDevice &desk, const Draft &draft) {
  KeptDevice kept(desk, draft);
  Json answer = answerOf(draft);
  answer["answers"] = answersTo(kNetwork);
  return answer;
}

Json radioView(const DeskDevice &desk, const Draft &draft) {
  Json answer = answerOf(draft);
  answer["survey"] = surveyOf(desk, draft);
  KeptDevice kept(desk, draft);
  answer["answers"] = answersTo(kRadio);
  Week week = plannedWeek(kept.device);
  answer["week"] = week.asJson();
  answer["switched"] = week.hasSwitches();
  return answer;
}

Json settingsView(const Draft &draft) {
  Json answer = answerOf(draft);
  answer["settings"] = Json::array();
  for (const nvram::Setting &entry : draft.changed()) {
    const SettingDescription *description = descriptionOf(entry.key, entry.space);
    const SettingDescription known = description != nullptr ? *description : SettingDescription();
    answer["settings"].push_back({{"space", entry.space},
                                  {"key", entry.key},
                                  {"value", entry.value},
                                  {"meaning", known.meaning},
                                  {"fields", known.form.fieldLines()}});
  }
  answer["forms"] = Json::array();
  for (const SettingDescription &description : settingDescriptions()) {
    if (!description.form.limits()) continue;
    for (const auto &[key, example] : description.keysWithExamples()) {
      answer["forms"].push_back({{"space", description.space},
                                 {"key", key},
                                 {"choices", description.form.values()},
                                 {"words", description.form.inWords()}});
    }
  }
  answer["findings"] = Json::array();
  for (const Finding &finding : findingsIn(draft.changed())) {
    answer["findings"].push_back(
        {{"space", finding.space}, {"key", finding.key}, {"line", finding.line()}});
  }
  return answer;
}

Json changesView(const Draft &draft) {
  Json answer = answerOf(draft);
  answer["list"] = Json::array();
  for (const auto &[name, value] : draft.changes()) {
    Draft::Value kept = draft.kept(name);
    answer["list"].push_back({{"space", name.first},
                              {"key", name.second},
                              {"from", kept ? Json(*kept) : Json()},
                              {"to", value ? Json(*value) : Json()}});
  }
  return answer;
}

Json effectsView(const DeskDevice &desk, const Draft &draft) {
  Json answer = changesView(draft);
  answer["effects"] = Json::array();
  for (const char *entry : kApplying) {
    Difference difference = effectOn(entry, desk, draft);
    if (difference.none()) continue;
    answer["effects"].push_back({{"entry", entry}, {"difference", differenceAsJson(difference)}});
  }
  std::set<std::string> known;
  for (const Finding &finding : findingsIn(draft.kept())) known.insert(finding.line());
  answer["findings"] = Json::array();
  for (const Finding &finding : findingsIn(draft.changed())) {
    if (known.count(finding.line()) == 0) answer["findings"].push_back(finding.line());
  }
  return answer;
}

}  // namespace orba::tool
