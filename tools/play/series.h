// Calls made one after the other in this process, each as if it had a process of its own: for
// whoever makes more of them than there can be processes.
#ifndef ORBA_TOOLS_PLAY_SERIES_H
#define ORBA_TOOLS_PLAY_SERIES_H

#include <csignal>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/library_state.h"
#include "tools/play/recording.h"

namespace orba::tool {

class Series {
 public:
  explicit Series(Prepare prepare) : prepare_(std::move(prepare)) {
    sigprocmask(SIG_SETMASK, nullptr, &signals_);
  }

  // What record() gives, but for `config` and `filter`, which stay empty. A call that dies or
  // waits for ever does so to this process. Throws BadArgument.
  Recording record(const std::vector<nvram::Setting> &config, const EntryPoint &entry,
                   const std::vector<std::string> &words, long long ticks = 0);
  // What a call did, and by `asked` the settings that it asked for.
  using Settings = std::vector<const nvram::Setting *>;
  RawRecording raw(const Settings &settings, const EntryPoint &entry,
                   const std::vector<std::string> &words, sim::Device::FirstAsked &asked);

 private:
  // A device as `prepare` has made it, and all that it asked for meanwhile, with what it found: it
  // is the same for whoever has these settings.
  struct Prepared {
    std::unique_ptr<sim::Device> device;
    std::vector<std::pair<std::pair<int, std::string>, std::optional<std::string>>> asked;
  };
  using Told = std::function<void(sim::Device &device, CallResult result)>;

  void call(const Settings &settings, const EntryPoint &entry,
            const std::vector<std::string> &words, long long ticks, const Told &told);
  Prepared deviceFor(const Settings &settings);

  Prepare prepare_;
  sim::LibraryState as_new_;
  sigset_t signals_;              // that are blocked, as a call finds them
  std::list<Prepared> prepared_;  // the one that was used last first
};

}  // namespace orba::tool

#endif
