// The process's one real-time interval timer. Arming it again replaces what was
// armed, and the handler installed last is the one that is called; the WPS
// monitors switch from one to the other that way.
#include <sys/time.h>

#include <csignal>
#include <ctime>

#include "core/alarm_block.h"
#include "core/errno_keeper.h"
#include "orba_util.h"

namespace orba {

AlarmBlock::AlarmBlock() {
  sigemptyset(&alarm_);
  sigaddset(&alarm_, SIGALRM);
  sigprocmask(SIG_BLOCK, &alarm_, &before_);
}

AlarmBlock::~AlarmBlock() {
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

void AlarmBlock::discard() const {
  ErrnoKeeper errno_keeper;
  constexpr struct timespec kAtOnce = {};
  sigtimedwait(&alarm_, nullptr, &kAtOnce);
}

}  // namespace orba

namespace {

// What ran out before and was not handled yet, as happens in a handler that takes
// longer than the period, neither comes after a stop nor reaches a new handler.
int arm(const struct itimerval &timer, const orba::AlarmBlock &alarm) {
  struct itimerval previous;
  int result = setitimer(ITIMER_REAL, &timer, &previous);
  if (result == 0) alarm.discard();
  return result;
}

int arm(const struct itimerval &timer, void (*handler)(int)) {
  orba::AlarmBlock alarm;
  signal(SIGALRM, handler);
  return arm(timer, alarm);
}

struct timeval duration(unsigned int seconds, unsigned int microseconds) {
  struct timeval time;
  time.tv_sec = static_cast<decltype(time.tv_sec)>(seconds);
  time.tv_usec = static_cast<decltype(time.tv_usec)>(microseconds);
  return time;
}

}  // namespace

int setTimer(unsigned int microseconds, void (*handler)(int)) {
  return setFullTimer(0, microseconds, handler);
}

int setTimerOnce(unsigned int seconds, void (*handler)(int)) {
  return arm({duration(0, 0), duration(seconds, 0)}, handler);
}

int setFullTimer(unsigned int seconds, unsigned int microseconds, void (*handler)(int)) {
  return arm({duration(seconds, microseconds), duration(seconds, microseconds)}, handler);
}

int stopTimer(void) {
  return arm({duration(0, 0), duration(0, 0)}, orba::AlarmBlock());
}
