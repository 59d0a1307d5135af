// Long work that nobody else is to wait for.
#ifndef ORBA_TOOLS_SERVE_ASIDE_H
#define ORBA_TOOLS_SERVE_ASIDE_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace orba::tool {

// One question at a time: whoever asks anew no longer wants the answer before.
class Aside {
 public:
  explicit Aside(std::chrono::seconds patience) : patience_(patience) {}

  // What `work` returns in a process of its own; nothing when it takes longer, ends without an
  // answer or is no longer wanted. What it works on is as it was when this was called: `held`
  // keeps others from it, and is given back as soon as the process is there.
  std::optional<std::string> answer(std::unique_lock<std::mutex> held,
                                    const std::function<std::string()> &work);
  // Nothing is wanted any more.
  void stop();

 private:
  const std::chrono::seconds patience_;
  std::mutex mutex_;
  pid_t child_ = 0;  // 0: none
};

}  // namespace orba::tool

#endif
