// One call of an entry point on a router that is made anew for it each time, so
// that the same call can be gone through again with something different.
#ifndef ORBA_TESTS_FAULTS_SCENE_H
#define ORBA_TESTS_FAULTS_SCENE_H

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/leds.h"
#include "sim/radio.h"
#include "sim/wps_session.h"
#include "tools/catalog/entry_point.h"
#include "tools/catalog/sample_calls.h"
#include "tools/device/config.h"
#include "tools/device/desk_device.h"

// Where the call is made: an example configuration, what the driver says of WPS,
// and whether the files are there that other programs leave. Without them the
// LEDs do not work either.
struct Place {
  const char *config;
  int wps_status;
  bool files;
};

constexpr Place kPlaces[] = {{"gateway.conf", 34, true},
                             {"pppoe-gateway.conf", 2, true},
                             {"repeater.conf", 34, false},
                             {"bridge.conf", 265, true},
                             {"minimal.conf", 1, false}};

// What the files of a place are, in a folder that its devices only read.
class Files {
 public:
  static std::string of(const Place &place) {
    static Files with(true), without(false);
    return (place.files ? with : without).root_.forReading("/");
  }

 private:
  explicit Files(bool of_other_programs) {
    namespace fs = std::filesystem;
    fs::copy(std::string(ORBA_EXAMPLES) + "/device", root_.forWriting("/"),
             fs::copy_options::recursive);
    for (char wan : {'1', '2', '3', '4'}) {
      root_.write(std::string("/var/wan") + wan + ".info", "203.0.113.1:203.0.113.2\n");
    }
    if (!of_other_programs) return;
    for (const auto &[path, content] : std::map<std::string, std::string>{
             {"/etc/iproute2/rt_tables", "255 local\n201 pf_office\n202 pf_lab\n"},
             {"/var/run/mini_httpd.pid", "77\n"},
             {"/var/run/udhcpc1.pid", "123\n"},
             {"/tmp/wan_index", "2\n"},
             {"/tmp/do_vela", "0\n"},
             {"/tmp/wifi_statistic", "1 2 3 4 5 6 7 8\n"},
             {"/tmp/wpsStatus", "1\n"},
             {"/tmp/wpsStatus5G", "1\n"},
             {"/var/wscResult", "-1"},
             {"/bin/orba_qos", ""}}) {
      root_.write(path, content);
    }
  }

  sim::Root root_;
};

struct Scene {
  const Place &place;
  const orba::tool::EntryPoint &entry;
  std::vector<std::string> words;

  std::string describe() const {
    std::string text = std::string(place.config) + ": " + entry.name;
    for (const std::string &word : words) text += " '" + word + "'";
    return text;
  }
};

inline std::vector<Scene> everyScene() {
  std::vector<Scene> all;
  for (const Place &place : kPlaces) {
    for (const orba::tool::EntryPoint &entry : orba::tool::entryPoints()) {
      for (const auto &words : orba::tool::sampleCalls(entry)) all.push_back({place, entry, words});
    }
  }
  return all;
}

class Take {
 public:
  // The library ended the process.
  struct Exit {
    int status;
  };

  explicit Take(const Scene &scene) : scene_(scene) {
    const Place &place = scene.place;
    orba::tool::putSettings(configOf(place.config), device);
    device.settings({{"AccessPolicy0", "1"}});
    device.lowerRoot(Files::of(place));
    orba::tool::setUpDeskDevice(device);
    sim::WpsSession::Credential credential{.ssid = "home", .authentication = 32, .encryption = 8};
    device.part<sim::WpsSession>()
        .status("ra0", {{place.wps_status, 1}})
        .status("apcli0", {{place.wps_status, 1}})
        .current({.state = 2})
        .credential(credential)
        .stations({"\x02\x0C\x43\x01\x02\x03"})
        .clientStatistics("      SSID = home\n  AuthType = WPA2PSK\nEncrypType = AES\n  Key = k\n");
    if (!place.files) device.part<sim::Leds>().refusing();
    device.part<sim::Radio>().networks(
        sim::readNeighbourhood("\"Home's\" 00:11:22:33:44:55 6 -55 WPA2-PSK AES\n"));
    device.answer("get_count_assoc", "1\n")
        .answer("top -n 1",
                "CPU:   3% usr   1% sys   0% nice  94% idle   2% io   0% irq   0% softirq\n");
    device.settings({{"WlanEnabled", "1;1;0;0"}}, 2);
    device.onExit([](int status) { throw Exit{status}; });
    setVarWscConfigured(1);
    setVarIsEnrollee(1);
    resetTimerAll();
    resetTimerAllApCli();
    global_shared_stuff = {"admin", 7, "/var/SESS_7", 1, "Ready", 0};
    esw_fd = -1;
    device.forget();
  }
  ~Take() { device.held().releaseAll(); }

  // Makes the call; what goes wrong of what it did is said by `trouble`.
  void run() {
    device.faults().limit(device.faults().calls().size() + kMostCalls);
    calls_before_ = device.faults().calls().size();
    try {
      result = scene_.entry.call(scene_.words);
    } catch (const Exit &exit) {
      exit_status = exit.status;
    } catch (const sim::Endless &endless) {
      trouble = endless.what();
    }
    if (scene_.entry.name == std::string("switch_init") && esw_fd >= 0) switch_fini();
  }

  // The names of the calls that it made.
  std::vector<std::string> calls() {
    const auto &all = device.faults().calls();
    return {all.begin() + static_cast<long>(calls_before_), all.end()};
  }

  sim::Device device;
  orba::tool::CallResult result;
  std::optional<int> exit_status;
  std::string trouble;

 private:
  // More than a search of the switch's whole table takes.
  static constexpr size_t kMostCalls = 200000;

  static const std::vector<nvram::Entry> &configOf(const std::string &name) {
    static std::map<std::string, std::vector<nvram::Entry>> read;
    std::vector<nvram::Entry> &config = read[name];
    if (config.empty()) config = orba::tool::readConfig(std::string(ORBA_EXAMPLES) + "/" + name);
    return config;
  }

  const Scene &scene_;
  size_t calls_before_ = 0;
};

#endif
