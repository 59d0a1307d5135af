// One call of an entry point on a router that is made anew for it each time, so
// that the same call can be gone through again with something different.
#ifndef ORBA_TESTS_FAULTS_SCENE_H
#define ORBA_TESTS_FAULTS_SCENE_H

#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/leds.h"
#include "sim/radio.h"
#include "tools/catalog/entry_point.h"
#include "tools/catalog/sample_calls.h"
#include "tools/device/config.h"
#include "tools/device/desk_device.h"
#include "tools/device/usual_device.h"

// An ordinary run takes some of the calls of each scene, and of signals one handler but where
// something is shared with the monitors; a soak takes all of them.
const bool kLongRun = getenv("ORBA_SOAK") != nullptr;
constexpr size_t kCallsOfOrdinaryRun = 4;

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
    using orba::tool::Since;
    const Place &place = scene.place;
    orba::tool::putSettings(configOf(place.config), device);
    device.settings({{"AccessPolicy0", "1"}});
    device.lowerRoot(orba::tool::usualFolder(place.files ? Since::kUse : Since::kBoot));
    orba::tool::setUpDeskDevice(device);
    orba::tool::putUsualAnswers(device, Since::kUse);
    orba::tool::putWpsStatus(device, place.wps_status);
    orba::tool::putWpsResult(device, orba::tool::kUsualCredential);
    if (!place.files) device.part<sim::Leds>().refusing();
    device.part<sim::Radio>().networks(
        sim::readNeighbourhood("\"Home's\" 00:11:22:33:44:55 6 -55 WPA2-PSK AES\n"));
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

  static const std::vector<nvram::Setting> &configOf(const std::string &name) {
    static std::map<std::string, std::vector<nvram::Setting>> read;
    std::vector<nvram::Setting> &config = read[name];
    if (config.empty()) config = orba::tool::readConfig(std::string(ORBA_EXAMPLES) + "/" + name);
    return config;
  }

  const Scene &scene_;
  size_t calls_before_ = 0;
};

#endif
