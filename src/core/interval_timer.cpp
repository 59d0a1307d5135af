// The process's one real-time interval timer. Arming it again replaces what was
// armed, and the handler installed last is the one that is called; the WPS
// monitors switch from one to the other that way.
#include <sys/time.h>

#include <csignal>

#include "orba_util.h"

namespace {

int arm(const struct itimerval &timer) {
  struct itimerval previous;
  return setitimer(ITIMER_REAL, &timer, &previous);
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
  signal(SIGALRM, handler);
  return arm({duration(0, 0), duration(seconds, 0)});
}

int setFullTimer(unsigned int seconds, unsigned int microseconds, void (*handler)(int)) {
  signal(SIGALRM, handler);
  return arm({duration(seconds, microseconds), duration(seconds, microseconds)});
}

int stopTimer(void) {
  return arm({duration(0, 0), duration(0, 0)});
}
