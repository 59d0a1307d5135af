#include "core/pause.h"

#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "core/errno_keeper.h"

namespace orba {

namespace {

struct timespec now() {
  struct timespec time = {};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time;
}

struct timespec difference(const struct timespec &later, const struct timespec &earlier) {
  constexpr long kSecond = 1000000000;
  struct timespec left = {later.tv_sec - earlier.tv_sec, later.tv_nsec - earlier.tv_nsec};
  if (left.tv_nsec < 0) {
    left.tv_sec--;
    left.tv_nsec += kSecond;
  }
  return left;
}

}  // namespace

// sleep() tells whole seconds only of what it left, so the clock is asked.
void pauseFor(unsigned int seconds) {
  ErrnoKeeper errno_keeper;
  struct timespec end = now();
  end.tv_sec += static_cast<decltype(end.tv_sec)>(seconds);
  errno = 0;
  sleep(seconds);
  while (errno == EINTR) {
    struct timespec left = difference(end, now());
    if (left.tv_sec < 0) return;
    errno = 0;
    nanosleep(&left, nullptr);
  }
}

}  // namespace orba
