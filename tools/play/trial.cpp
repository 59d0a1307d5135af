#include "tools/play/trial.h"

#include <map>

#include "orba_util.h"
#include "tools/catalog/settings.h"
#include "tools/device/desk_device.h"
#include "tools/device/usual_device.h"

namespace orba::tool {

namespace {

using sim::Device;
using sim::WpsSession;

// ---- surroundings ----

void noChange(Device &) {}

void noLink(Device &device) {
  device.answer("switch reg r 3608", "value=0x0\n");
}

void noGateway(Device &device) {
  device.removeFile("/var/wan1.info").file("/proc/net/route", usualHead("/proc/net/route", 1));
  device.answer("cat /var/wan1.info", "").answer("arp -an", "");
}

void anotherWan(Device &device) {
  device.file("/tmp/wan_index", "2\n").file("/tmp/wpsStatus", "2\n");
}

void wpsDone(Device &device, const WpsSession::Credential &credential) {
  putWpsStatus(device, 34);
  putWpsResult(device, credential);
}

void wpsDoneByWpa(Device &device) {
  wpsDone(device, kUsualCredential);
}

void wpsDoneByWep(Device &device) {
  wpsDone(device,
          {.ssid = "N", .authentication = 1, .encryption = 2, .key = "abcde", .key_index = 1});
}

// ---- settings ----

// Settings whose form does not give their values away.
const std::map<std::string, std::vector<std::string>> kValues = {
    {"wanConnectionMode", {"PPPOE", "STATIC", "BRIDGE"}},
    {"wanConnectionMode%d", {"PPPOE", "STATIC", "BRIDGE"}},
    {"IPPortFilterType", {"WAN_TO_WAN"}},
    {"AuthMode", {"OPEN", "WPA2PSK;WPA2PSK"}},
    {"IEEE8021X", {"0;1"}},
    {"WlanEnabled", {"0;0"}},
    {"WirelessMode", {"2"}},
    {"PortForwardRules", {"web,443,0,3", "a,b,c,8088,0,1"}},
    {"RemoteLogIP", {"0.0.0.0"}},
    {"websFilterTrustIP", {"0.0.0.0"}},
};

}  // namespace

std::string Change::words() const {
  std::string name = "`" + setting.second + (value ? "=" + *value : "") + "`";
  if (setting.first != 1) name += " in space " + std::to_string(setting.first);
  return (value ? "" : "without ") + name;
}

std::vector<Change> changesOf(const SettingName &setting) {
  std::vector<Change> changes;
  const SettingDescription *description = descriptionOf(setting.second, setting.first);
  if (description != nullptr) {
    auto chosen = kValues.find(description->key);
    for (const std::string &value :
         chosen != kValues.end() ? chosen->second : description->form.values()) {
      if (value != description->example) changes.push_back({setting, value});
    }
  }
  changes.push_back({setting, std::nullopt});
  return changes;
}

const std::vector<TrialDevice> &trialDevices() {
  static const std::vector<TrialDevice> all = {
      {"", true, true, noChange},
      {"nothing set and no files", false, false, noChange},
      {"no link on the WAN port", true, true, noLink},
      {"no gateway", true, true, noGateway},
      {"another WAN set up", true, true, anotherWan},
      {"a WPS run that ended well", true, true, wpsDoneByWpa},
      {"a WPS run that ended well, by WEP", true, true, wpsDoneByWep},
      {"a WPS run that failed", true, true, [](Device &device) { putWpsStatus(device, 2); }},
      {"two WPS buttons pushed at once", true, true,
       [](Device &device) { putWpsStatus(device, 265); }},
  };
  return all;
}

void putTrial(const TrialDevice &surroundings, const std::vector<Change> &changes, Device &device) {
  // What an earlier call may have left in the library.
  resetTimerAll();
  resetTimerAllApCli();
  setVarWscConfigured(0);
  setVarIsEnrollee(0);
  if (surroundings.files) device.lowerRoot(usualFolder(Since::kServices));
  for (const SettingDescription &description : settingDescriptions()) {
    for (const auto &[key, example] : description.keysWithExamples()) {
      if (surroundings.settings) device.settings({{key, example}}, description.space);
    }
  }
  for (const Change &change : changes) {
    const auto &[space, key] = change.setting;
    device.remove(key, space);
    if (change.value) device.settings({{key, *change.value}}, space);
  }
  setUpDeskDevice(device);
  surroundings.prepare(device);
  device.forget();
}

}  // namespace orba::tool
