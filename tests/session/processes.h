// A device for the tests of what processes share, and those processes.
#ifndef ORBA_TESTS_SESSION_PROCESSES_H
#define ORBA_TESTS_SESSION_PROCESSES_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "orba_util.h"
#include "sim/device.h"
#include "sim/system_v.h"

class LoginDevice : public testing::Test {
 protected:
  LoginDevice() : kernel_(device_.part<sim::SystemV>()) {
    device_.file("/var/run/utmp", "");
    global_shared_stuff = {};
    alarm(100);  // ends this process when it is blocked
  }
  ~LoginDevice() override { alarm(0); }

  sim::Device device_;
  sim::SystemV &kernel_;
};

// Starts a process that ends with status 0 when `work` returns true. One that
// blocks is ended by its alarm.
template <typename Work>
pid_t startProcess(Work work) {
  pid_t child = fork();
  if (child != 0) return child;
  alarm(20);
  _exit(work() ? 0 : 1);
}

inline bool endedWell(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

template <typename Work>
bool inAnotherProcess(Work work) {
  return endedWell(startProcess(work));
}

// Whether `user` is who is logged in to a process that has just been started.
inline bool othersSee(const char *user) {
  return inAnotherProcess([=] {
    global_shared_stuff = {};
    char name[32] = "unwritten";
    return getLoginUser(name) == 1 && strcmp(name, user) == 0;
  });
}

#endif
