// What differs, and what comes of it.
#include <set>
#include <sstream>

#include "tools/play/difference.h"
#include "tools/serve/view_parts.h"
#include "tools/show/changes.h"
#include "tools/text/lines.h"
#include "tools/traffic/change.h"

namespace orba::tool {

namespace {

constexpr char kFirewall[] = "firewall_init";

// The entry points that make a configuration real, and what a page calls after a change.
constexpr const char *kApplying[] = {
    kFirewall,         "RoutingInit", "executeStaticRoute",     "executePolicyRoute",
    "orba_pppoeRelay", "WlanRestart", "wlanModeChange2_4_init", "wlan_schedule_init",
    "WPSRestart",      "orbaQoSInit", "startlog_init",          "igmpsnooping_init",
    "initInternet",
};

const std::vector<nvram::Setting> &before(const Draft &draft, Against against) {
  return against == Against::kKept ? draft.kept() : draft.saved();
}

}  // namespace

Json pendingView(const Draft &draft) {
  Json answer = stateOf(draft);
  answer["unsaved"] = Json::array();
  for (const auto &[space, key] : draft.unsaved()) {
    answer["unsaved"].push_back({{"space", space}, {"key", key}});
  }
  return answer;
}

Json changesView(const Draft &draft, Against against) {
  Json answer = pendingView(draft);
  answer["list"] = changedSettingsAsJson(changedSettings(before(draft, against), draft.changed()));
  return answer;
}

Json effectsView(const DeskDevice &desk, const Draft &draft, Against against) {
  const std::vector<nvram::Setting> &was = before(draft, against), is = draft.changed();
  Json answer = stateOf(draft);
  answer["effects"] = Json::array();
  for (const char *entry : kApplying) {
    Difference difference = differenceOf(runWith(was, entry, desk), runWith(is, entry, desk));
    if (difference.none()) continue;
    answer["effects"].push_back({{"entry", entry}, {"difference", differenceAsJson(difference)}});
  }
  std::set<std::string> known;
  for (const Finding &finding : findingsIn(was)) known.insert(finding.line());
  answer["findings"] = Json::array();
  for (const Finding &finding : findingsIn(is)) {
    if (known.count(finding.line()) == 0) answer["findings"].push_back(finding.line());
  }
  return answer;
}

Json trafficView(const DeskDevice &desk, const Draft &draft, Against against) {
  const Prepare prepare = [&](sim::Device &device) { desk.prepare(device); };
  const DeskRouter was = deskRouter(before(draft, against), prepare);
  const DeskRouter is = deskRouter(draft.changed(), prepare);
  const TrafficChanges changes = trafficChanges(was, is, prepare);
  std::ostringstream words;
  printTrafficChanges(words, changes, is, false);
  Json answer = stateOf(draft);
  answer["same"] = changes.none();
  answer["lines"] = linesIn(words.str());
  return answer;
}

}  // namespace orba::tool
