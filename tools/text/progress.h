// How far something long has come, for whoever waits for it.
#ifndef ORBA_TOOLS_TEXT_PROGRESS_H
#define ORBA_TOOLS_TEXT_PROGRESS_H

#include <chrono>
#include <functional>
#include <string>

namespace orba::tool {

// So many of all are done.
using Progress = std::function<void(size_t done, size_t all)>;

// "12 of 300 rules" on standard error, when that is a terminal and a second has gone by; nothing
// is left of it at its end.
class ProgressLine {
 public:
  explicit ProgressLine(std::string of_what) : of_what_(std::move(of_what)) {}
  ProgressLine(const ProgressLine &) = delete;
  ProgressLine &operator=(const ProgressLine &) = delete;
  ~ProgressLine();

  void show(size_t done, size_t all);

 private:
  const std::string of_what_;
  const std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
  bool shown_ = false;
};

}  // namespace orba::tool

#endif
