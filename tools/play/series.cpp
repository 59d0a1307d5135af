#include "tools/play/series.h"

#include <cerrno>
#include <cstdlib>

#include "tools/device/config.h"

namespace orba::tool {

namespace {

struct Ended {
  int status;
};

}  // namespace

Recording Series::record(const std::vector<nvram::Setting> &config, const EntryPoint &entry,
                         const std::vector<std::string> &words, long long ticks) {
  if (!sim::LibraryState::known()) return tool::record(config, entry.name, words, prepare_, ticks);
  entry.checkWords(words);
  as_new_.restore();
  // What a new process has, and the library can tell.
  srand(1);
  errno = 0;
  sim::Device device;
  putSettings(config, device);
  if (prepare_) prepare_(device);
  device.onExit([](int status) { throw Ended{status}; });
  Recording run;
  run.entry = entry.name;
  run.words = words;
  try {
    run.result = entry.call(words);
    for (long long i = 0; i < ticks && device.clock().armed(); i++)
      device.advance(kTickMilliseconds);
  } catch (const Ended &ended) {
    run.result = {"exit " + std::to_string(ended.status), {}};
  }
  run.events = device.events();
  for (const sim::Event &event : run.events) {
    if (event.kind != sim::Event::kFile) continue;
    if (std::optional<std::string> content = device.text(event.text)) {
      run.files[event.text] = std::move(*content);
    }
  }
  run.missing = device.missing();
  run.milliseconds = device.clock().elapsed();
  const std::vector<size_t> commands_before = readEvents(run);
  for (const auto &[name, events_before] : device.firstAsked()) {
    run.asked[name] = commands_before[events_before];
  }
  return run;
}

}  // namespace orba::tool
