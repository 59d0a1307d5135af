// Calls that fail on purpose, and what is to happen between two calls.
//
//   device.faults().fail(12, sim::Faults::kOnce);
//   firewall_init();
//   device.faults().calls();   // the names of all calls, in order
#ifndef ORBA_SIM_FAULTS_H
#define ORBA_SIM_FAULTS_H

#include <cerrno>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace sim {

// The library would go on for ever: it has made more calls than it was allowed,
// or waits for what nobody will release.
struct Endless : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What a call answers when it fails, as any of the types that calls return.
class Failure {
 public:
  Failure(long answer, int error) : answer_(answer), error_(error) {}

  template <typename R>
  R as() const {
    errno = error_;
    if constexpr (std::is_pointer_v<R>)
      return reinterpret_cast<R>(answer_);
    else
      return static_cast<R>(answer_);
  }

 private:
  long answer_;
  int error_;
};

class Faults {
 public:
  enum Span { kOnce, kEverySuchCall, kEverything };
  // What is to be done about one call; the last is for what gives something back,
  // which it does even when it fails.
  enum Course { kWork, kFail, kWorkAndFail };

  // The ways in which a call can fail: its errors, then (for some) that it does
  // half of what it was asked for.
  static size_t ways(const std::string &call);
  // The way in which it was interrupted by a signal, which is nothing that goes on for ever.
  static bool interrupts(const std::string &call, size_t way);
  static Failure failure(const std::string &call, size_t way = 0);

  // The `number`-th call from now, counted from 1, fails in this way; from then on
  // every call of its name does, or everything that can fail at all.
  void fail(size_t number, Span span, size_t way = 0);
  // All calls work again.
  void repair() { first_ = 0; }
  // Runs in front of each call, with the number of calls so far.
  void before(std::function<void(size_t)> watcher) { watcher_ = std::move(watcher); }
  // Throws Endless from the call behind this many. Whoever would wait for ever throws it too.
  void limit(size_t calls) { limit_ = calls; }
  bool limited() const { return limit_ != 0; }

  const std::vector<const char *> &calls() const { return calls_; }
  void forgetCalls() { calls_.clear(); }
  // The names of all calls that have failed.
  const std::set<std::string> &failed() const { return failed_; }

  // ---- for the calls (sim/answer.h) ----
  Course next(const char *call);
  Failure failure() const { return failure(calls_.back(), span_ == kEverything ? 0 : way_); }
  // How much of `size` the present call is to do, when it works.
  size_t share(size_t size) const { return half_ && size > 1 ? size / 2 : size; }

 private:
  std::vector<const char *> calls_;
  std::function<void(size_t)> watcher_;
  size_t limit_ = 0;
  size_t first_ = 0;  // the call that fails, 0 for none
  Span span_ = kOnce;
  size_t way_ = 0;
  std::string same_;  // the name of that call
  std::set<std::string> failed_;
  bool half_ = false;
};

}  // namespace sim

#endif
