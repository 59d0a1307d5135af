#include "tools/play/trial.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "orba_util.h"
#include "sim/wps_session.h"
#include "tools/catalog/settings.h"
#include "tools/device/desk_device.h"

namespace orba::tool {

namespace {

namespace fs = std::filesystem;
using sim::Device;
using sim::WpsSession;

// ---- files ----

constexpr std::pair<const char *, const char *> kFiles[] = {
    {"bin/orba_qos", ""},
    {"etc/TZ", "CET-1CEST,M3.5.0/2,M10.5.0/3\n"},
    {"etc_ro/l7-protocols/ftp.pat", "# FTP - File Transfer Protocol\n"},
    {"proc/meminfo", "MemTotal: 64000 kB\nMemFree: 16000 kB\n"},
    {"proc/net/arp", "IP\n203.0.113.1 0x1 0x2 02:00:00:00:00:09 * br0\n"},
    {"proc/net/dev", "Inter\nface\neth2.2: 1 2 0 0 0 0 0 0 3 4 0 0 0 0 0 0\n"},
    {"proc/net/route", "Iface\neth2.2\t00000000\t017100CB\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"},
    {"tmp/do_vela", "0\n"},
    {"tmp/wpsStatus", "1\n"},
    {"var/run/mini_httpd.pid", "77\n"},
    {"var/run/udhcpc1.pid", "78\n"},
    {"var/wan1.info", "203.0.113.1:203.0.113.2\n"},
    {"var/wan2.info", "203.0.113.1:203.0.113.3\n"},
    {"var/wan3.info", "203.0.113.1:203.0.113.4\n"},
    {"var/wan4.info", "203.0.113.1:203.0.113.5\n"},
};

// The folder of these files, made once: a device reads through to it.
class UsualFiles {
 public:
  UsualFiles() {
    std::string pattern = (fs::temp_directory_path() / "orba-files-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make " + pattern);
    folder_ = pattern;
    for (const auto &[path, content] : kFiles) {
      fs::create_directories((folder_ / path).parent_path());
      std::ofstream(folder_ / path) << content;
    }
  }
  UsualFiles(const UsualFiles &) = delete;
  UsualFiles &operator=(const UsualFiles &) = delete;
  ~UsualFiles() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }
  std::string folder() const { return folder_.string(); }

 private:
  fs::path folder_;
};

// ---- surroundings ----

void noChange(Device &) {}

void noLink(Device &device) {
  device.answer("switch reg r 3608", "value=0x0\n");
}

void noGateway(Device &device) {
  device.removeFile("/var/wan1.info").file("/proc/net/route", "Iface\n");
  device.answer("cat /var/wan1.info", "").answer("arp -an", "");
}

void anotherWan(Device &device) {
  device.file("/tmp/wan_index", "2\n").file("/tmp/wpsStatus", "2\n");
}

void endWps(Device &device, int status) {
  device.part<WpsSession>().status("ra0", {{status, 1}}).status("apcli0", {{status, 1}});
}

void wpsDone(Device &device, const WpsSession::Credential &credential) {
  endWps(device, 34);
  device.part<WpsSession>()
      .current({.state = 2})
      .credential(credential)
      .stations({std::string("\x00\x0c\x43\x28\x60\x2a", 6)})
      .clientStatistics(
          "SSID       = Uplink\nAuthType   = WPA2PSK\nEncrypType = AES\nKey        = secret\n");
  for (const char *grep : {"SSID", "AuthType", "EncrypType", "Key"}) {
    device.answer(std::string("iwpriv apcli0 stat | grep ") + grep, std::string(grep) + " = AES\n");
  }
}

void wpsDoneByWpa(Device &device) {
  wpsDone(device, {.ssid = "N", .authentication = 32, .encryption = 8, .key = "pass phrase"});
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
    {"firewallAction", {"ACCEPT"}},
    {"MacFilterAction", {"ACCEPT"}},
    {"AuthMode", {"OPEN", "WPA2PSK;WPA2PSK"}},
    {"IEEE8021X", {"0;1"}},
    {"WlanEnabled", {"0;0"}},
    {"WirelessMode", {"2"}},
    {"PortForwardRules", {"web,443,0,3", "a,b,c,8088,0,1"}},
    {"RemoteLogIP", {"0.0.0.0"}},
    {"websFilterTrustIP", {"0.0.0.0"}},
};

// The values of a form such as "[0-2]" or "[123]"; none for any other.
std::vector<std::string> digitsOf(const std::string &pattern) {
  std::vector<std::string> digits;
  if (pattern.empty() || pattern[0] != '[' || pattern.find(']') != pattern.size() - 1) return {};
  for (char c = '0'; c <= '9'; c++) {
    bool in_range = pattern[2] == '-' && pattern[1] <= c && c <= pattern[3];
    if (in_range || pattern.find(c) != std::string::npos) digits.emplace_back(1, c);
  }
  return digits;
}

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
         chosen != kValues.end() ? chosen->second : digitsOf(description->pattern)) {
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
      {"a WPS run that failed", true, true, [](Device &device) { endWps(device, 2); }},
      {"two WPS buttons pushed at once", true, true, [](Device &device) { endWps(device, 265); }},
  };
  return all;
}

void putTrial(const TrialDevice &surroundings, const std::vector<Change> &changes, Device &device) {
  static const UsualFiles files;
  // What an earlier call may have left in the library.
  resetTimerAll();
  resetTimerAllApCli();
  setVarWscConfigured(0);
  setVarIsEnrollee(0);
  if (surroundings.files) device.lowerRoot(files.folder());
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
