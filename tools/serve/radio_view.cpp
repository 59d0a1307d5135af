// The radio: its channels and networks, its week, who else is on the air, and WPS.
#include <algorithm>
#include <cstdlib>

#include "tools/catalog/entry_point.h"
#include "tools/serve/view_parts.h"
#include "tools/show/week.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

const std::vector<Question> kRadio = {
    {"getWlan11aChannels"},      {"getWlan11bChannels"}, {"getWlan11gChannels"}, {"getWlanChannel"},
    {"getWlanOperatingChannel"}, {"getWlanCurrentMac"},  {"getMaxBssidNum"},
};

const std::vector<Question> kWps = {
    {"getWscStatus", {"ra0"}}, {"getAPPIN", {"ra0"}}, {"getWscResult"}};

constexpr int kModule = 2;  // the space of the 5 GHz module's settings

// The settings that are kept, for whoever asks for many.
class Kept {
 public:
  explicit Kept(const Draft &draft) : values_(byName(draft.kept())) {}

  Draft::Value value(const std::string &key, int space = nvram::kFirstSpace) const {
    auto there = values_.find({space, key});
    return there != values_.end() ? Draft::Value(there->second) : std::nullopt;
  }
  std::string text(const std::string &key, int space = nvram::kFirstSpace) const {
    return value(key, space).value_or("");
  }
  // Of a value that has a record a network; empty where it has none for this one.
  std::string record(const std::string &key, size_t network, int space) const {
    const std::vector<std::string> records = splitAt(text(key, space), ';');
    return network <= records.size() ? records[network - 1] : "";
  }

 private:
  std::map<Draft::Name, std::string> values_;
};

// A name as it is shown, and its bytes where it has any that are not of ASCII's characters.
Json nameAsJson(const std::string &name) {
  std::string spelled;
  for (const char letter : name) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte >= 0x20 && byte < 0x7f) {
      spelled += letter;
    } else {
      spelled += {'\\', 'x', "0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    }
  }
  Json json = {{"name", valueAsJson(name)}};
  if (spelled != name) json["bytes"] = spelled;
  return json;
}

Json accessPoint(const Kept &kept, size_t network, int space) {
  const std::string number = std::to_string(network);
  Json json = nameAsJson(kept.text("SSID" + number, space));
  const Draft::Value switches = kept.value("WlanEnabled", space);
  json["role"] = space == kModule ? "5 GHz network" : "2.4 GHz network";
  json["interface"] = (space == kModule ? "wifi" : "ra") + std::to_string(network - 1);
  json["on"] = !switches || kept.record("WlanEnabled", network, space) != "0";
  json["security"] = kept.record("AuthMode", network, space);
  json["encryption"] = kept.record("EncrypType", network, space);
  json["key"] = !kept.text("WPAPSK" + number, space).empty();
  json["space"] = space;
  json["setting"] = "SSID" + number;
  return json;
}

struct Link {
  const char *role;
  int space;
  const char *name, *security, *encryption, *key;
};
constexpr Link kLinks[] = {
    {"2.4 GHz client", 1, "ApCliSsid", "ApCliAuthMode", "ApCliEncrypType", "ApCliWPAPSK"},
    {"5 GHz client", kModule, "SSIDSTA", "AuthModeSTA", "", "PSKSTA"},
};

// The networks that the device announces, and those that it is told to join.
Json networksOf(const Kept &kept) {
  Json networks = Json::array();
  const int named = atoi(kept.text("BssidNum").c_str());
  for (int network = 1; network <= std::clamp(named, 1, 8); network++) {
    networks.push_back(accessPoint(kept, static_cast<size_t>(network), nvram::kFirstSpace));
  }
  if (kept.value("SSID1", kModule)) networks.push_back(accessPoint(kept, 1, kModule));
  for (const Link &link : kLinks) {
    if (kept.text(link.name, link.space).empty()) continue;
    Json json = nameAsJson(kept.text(link.name, link.space));
    json.update({{"role", link.role},
                 {"interface", link.space == kModule ? "" : "apcli0"},
                 {"on", true},
                 {"security", kept.text(link.security, link.space)},
                 {"encryption", kept.text(link.encryption, link.space)},
                 {"key", !kept.text(link.key, link.space).empty()},
                 {"space", link.space},
                 {"setting", link.name}});
    networks.push_back(json);
  }
  return networks;
}

// Why WPSRestart starts no daemon.
std::string whyNoDaemon(const Kept &kept) {
  const std::string mode = kept.text("OperationMode"), option = kept.text("WscModeOption");
  if (kept.text("RadioOff") == "1") return "RadioOff is 1: the timetable has the radio off";
  if (mode != "0" && mode != "1") return "OperationMode is neither 0 (bridge) nor 1 (gateway)";
  if (!kept.value("WscModeOption")) return "there is no WscModeOption";
  if (option <= "0") return "WscModeOption switches it off";
  return "the LAN has no address";
}

Json wpsOf(const DeskDevice &desk, const Draft &draft, const Kept &kept) {
  Json daemon;
  for (const std::string &command : runWith(draft.kept(), "WPSRestart", desk).commands) {
    if (command.starts_with("wscd ")) daemon = command;
  }
  const bool button = !runWith(draft.kept(), "WPSAPPBCStartAll", desk).commands.empty();
  return {{"daemon", daemon},
          {"why", daemon.is_null() ? whyNoDaemon(kept) : ""},
          {"button", button},
          {"configured", kept.text("WscConfigured") == "1"},
          {"answers", answersTo(kWps)}};
}

// What the survey prints, a page of its own.
std::string surveyOf(const DeskDevice &desk, const Draft &draft) {
  KeptDevice device(desk, draft);
  entryPointNamed("printStaBssidList").call({});
  return device.device.printed();
}

}  // namespace

Json radioView(const DeskDevice &desk, const Draft &draft) {
  const Kept kept(draft);
  Json answer = stateOf(draft);
  answer["networks"] = networksOf(kept);
  answer["survey"] = surveyOf(desk, draft);
  KeptDevice device(desk, draft);
  answer["on_air"] = Json::array();
  for (const std::string &name : namesOnAir(device.device)) {
    answer["on_air"].push_back(nameAsJson(name));
  }
  answer["answers"] = answersTo(kRadio);
  answer["wps"] = wpsOf(desk, draft, kept);
  Week week = plannedWeek(device.device);
  answer["week"] = week.asJson();
  answer["switched"] = week.hasSwitches();
  return answer;
}

}  // namespace orba::tool
