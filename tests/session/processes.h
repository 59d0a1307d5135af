// Processes for the tests of what processes share.
#ifndef ORBA_TESTS_SESSION_PROCESSES_H
#define ORBA_TESTS_SESSION_PROCESSES_H

#include <sys/wait.h>
#include <unistd.h>

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

#endif
