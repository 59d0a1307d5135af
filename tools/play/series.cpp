#include "tools/play/series.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "tools/device/config.h"

namespace orba::tool {

namespace {

constexpr size_t kMostPrepared = 16;

struct Ended {
  int status;
};

// Of two settings of a name the store keeps the later one.
const std::string *valueIn(const Series::Settings &settings,
                           const std::pair<int, std::string> &name) {
  const auto found = std::find_if(settings.rbegin(), settings.rend(), [&](const auto *each) {
    return each->space == name.first && each->key == name.second;
  });
  return found != settings.rend() ? &(*found)->value : nullptr;
}

void putSettings(const Series::Settings &settings, sim::Device &device) {
  for (const nvram::Setting *each : settings) device.setting(each->space, each->key, each->value);
}

void readFiles(const sim::Device &device, RawRecording &run) {
  for (const sim::Event &event : run.events) {
    if (event.kind != sim::Event::kFile) continue;
    if (std::optional<std::string> content = device.text(event.text)) {
      run.files[event.text] = std::move(*content);
    }
  }
}

}  // namespace

Series::Prepared Series::deviceFor(const Settings &settings) {
  const auto finds = [&](const auto &asked) {
    const std::string *value = valueIn(settings, asked.first);
    return value != nullptr ? asked.second == *value : !asked.second;
  };
  const auto same = std::find_if(prepared_.begin(), prepared_.end(), [&](const Prepared &each) {
    return std::all_of(each.asked.begin(), each.asked.end(), finds);
  });
  if (same != prepared_.end()) {
    Prepared found = std::move(*same);
    prepared_.erase(same);
    if (found.device->startOver()) {
      putSettings(settings, *found.device);
      return found;
    }
  }
  Prepared made{std::make_unique<sim::Device>(), {}};
  putSettings(settings, *made.device);
  as_new_.restore();
  if (prepare_) prepare_(*made.device);
  for (const auto &[name, events_before] : made.device->firstAsked()) {
    made.asked.emplace_back(name, made.device->setting(name.second, name.first));
  }
  made.device->keep();
  return made;
}

void Series::call(const Settings &settings, const EntryPoint &entry,
                  const std::vector<std::string> &words, long long ticks, const Told &told) {
  Prepared used = deviceFor(settings);
  sim::Device &device = *used.device;
  as_new_.restore();
  // What a new process has, and the library can tell.
  srand(1);
  errno = 0;
  sigprocmask(SIG_SETMASK, &signals_, nullptr);
  device.onExit([](int status) { throw Ended{status}; });
  CallResult result;
  try {
    result = entry.call(words);
    for (long long i = 0; i < ticks && device.clock().armed(); i++)
      device.advance(kTickMilliseconds);
  } catch (const Ended &ended) {
    result = {"exit " + std::to_string(ended.status), {}};
  }
  told(device, std::move(result));
  // As the end of a process would: one that is full of descriptors answers otherwise.
  device.held().releaseAll();
  device.rest();
  prepared_.push_front(std::move(used));
  if (prepared_.size() > kMostPrepared) prepared_.pop_back();
}

RawRecording Series::raw(const Settings &settings, const EntryPoint &entry,
                         const std::vector<std::string> &words, sim::Device::FirstAsked &asked) {
  if (!sim::LibraryState::known()) {
    std::vector<nvram::Setting> config;
    for (const nvram::Setting *each : settings) config.push_back(*each);
    Recording run = tool::record(config, entry.name, words, prepare_);
    asked = std::move(run.asked);
    return run;
  }
  entry.checkWords(words);
  RawRecording raw;
  raw.entry = entry.name;
  raw.words = words;
  call(settings, entry, words, 0, [&](sim::Device &device, CallResult result) {
    raw.result = std::move(result);
    raw.events = device.takeEvents();
    readFiles(device, raw);
    asked = device.takeFirstAsked();
  });
  return raw;
}

Recording Series::record(const std::vector<nvram::Setting> &config, const EntryPoint &entry,
                         const std::vector<std::string> &words, long long ticks) {
  if (!sim::LibraryState::known()) return tool::record(config, entry.name, words, prepare_, ticks);
  entry.checkWords(words);
  Recording run;
  run.entry = entry.name;
  run.words = words;
  Settings settings;
  for (const nvram::Setting &each : config) settings.push_back(&each);
  call(settings, entry, words, ticks, [&](sim::Device &device, CallResult result) {
    run.result = std::move(result);
    run.events = device.takeEvents();
    readFiles(device, run);
    run.missing = device.missing();
    run.milliseconds = device.clock().elapsed();
    const std::vector<size_t> commands_before = readEvents(run);
    for (const auto &[name, events_before] : device.firstAsked()) {
      run.asked[name] = commands_before[events_before];
    }
  });
  return run;
}

}  // namespace orba::tool
