// Calls made one after the other in this process, each as if it had a process of its own: for
// whoever makes more of them than there can be processes.
#ifndef ORBA_TOOLS_PLAY_SERIES_H
#define ORBA_TOOLS_PLAY_SERIES_H

#include <memory>
#include <string>
#include <vector>

#include "sim/library_state.h"
#include "tools/play/recording.h"

namespace orba::tool {

class Series {
 public:
  explicit Series(Prepare prepare) : prepare_(std::move(prepare)) {}

  // What record() gives, but for `config` and `filter`, which stay empty. A call that dies or
  // waits for ever does so to this process. Throws BadArgument.
  Recording record(const std::vector<nvram::Setting> &config, const EntryPoint &entry,
                   const std::vector<std::string> &words, long long ticks = 0);

 private:
  Prepare prepare_;
  sim::LibraryState as_new_;
};

}  // namespace orba::tool

#endif
