#include "tools/play/series.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "tools/device/config.h"

namespace orba::tool {

namespace {

using Config = std::vector<nvram::Setting>;

constexpr size_t kMostPrepared = 16;

struct Ended {
  int status;
};

// Of two settings of a name the store keeps the later one.
const std::string *valueIn(const Config &config, const std::pair<int, std::string> &name) {
  const auto found = std::find_if(config.rbegin(), config.rend(), [&](const auto &each) {
    return each.space == name.first && each.key == name.second;
  });
  return found != config.rend() ? &found->value : nullptr;
}

void readFiles(const sim::Device &device, Recording &run) {
  for (const sim::Event &event : run.events) {
    if (event.kind != sim::Event::kFile) continue;
    if (std::optional<std::string> content = device.text(event.text)) {
      run.files[event.text] = std::move(*content);
    }
  }
}

}  // namespace

Series::Prepared Series::deviceFor(const Config &config) {
  const auto finds = [&](const auto &asked) {
    const std::string *value = valueIn(config, asked.first);
    return value != nullptr ? asked.second == *value : !asked.second;
  };
  const auto same = std::find_if(prepared_.begin(), prepared_.end(), [&](const Prepared &each) {
    return std::all_of(each.asked.begin(), each.asked.end(), finds);
  });
  if (same != prepared_.end()) {
    Prepared found = std::move(*same);
    prepared_.erase(same);
    if (found.device->startOver()) {
      putSettings(config, *found.device);
      return found;
    }
  }
  Prepared made{std::make_unique<sim::Device>(), {}};
  putSettings(config, *made.device);
  as_new_.restore();
  if (prepare_) prepare_(*made.device);
  for (const auto &[name, events_before] : made.device->firstAsked()) {
    made.asked.emplace_back(name, made.device->setting(name.second, name.first));
  }
  made.device->keep();
  return made;
}

void Series::call(const Config &config, const EntryPoint &entry,
                  const std::vector<std::string> &words, long long ticks, const Told &told) {
  Prepared used = deviceFor(config);
  sim::Device &device = *used.device;
  as_new_.restore();
  // What a new process has, and the library can tell.
  srand(1);
  errno = 0;
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
  device.rest();
  prepared_.push_front(std::move(used));
  if (prepared_.size() > kMostPrepared) prepared_.pop_back();
}

Recording Series::outcome(const Config &config, const EntryPoint &entry) {
  if (!sim::LibraryState::known()) return tool::record(config, entry.name, {}, prepare_);
  entry.checkWords({});
  Recording run;
  run.entry = entry.name;
  call(config, entry, {}, 0, [&](sim::Device &device, CallResult result) {
    run.result = std::move(result);
    run.events = device.takeEvents();
    readFiles(device, run);
    run.asked = device.firstAsked();
  });
  return run;
}

Recording Series::record(const Config &config, const EntryPoint &entry,
                         const std::vector<std::string> &words, long long ticks) {
  if (!sim::LibraryState::known()) return tool::record(config, entry.name, words, prepare_, ticks);
  entry.checkWords(words);
  Recording run;
  run.entry = entry.name;
  run.words = words;
  call(config, entry, words, ticks, [&](sim::Device &device, CallResult result) {
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
