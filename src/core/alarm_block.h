// Keeping the timer's signal waiting.
#ifndef ORBA_CORE_ALARM_BLOCK_H
#define ORBA_CORE_ALARM_BLOCK_H

#include <csignal>

#pragma GCC visibility push(hidden)
namespace orba {

// While one lives, SIGALRM is not delivered to this thread. Whoever has blocked
// it before, as its own handler has, keeps it blocked afterwards.
class AlarmBlock {
 public:
  AlarmBlock();
  AlarmBlock(const AlarmBlock &) = delete;
  AlarmBlock &operator=(const AlarmBlock &) = delete;
  ~AlarmBlock();

  // Takes away a signal that waits: it belongs to a timer that is no more.
  void discard() const;

 private:
  sigset_t alarm_;
  sigset_t before_;
};

}  // namespace orba
#pragma GCC visibility pop

#endif
