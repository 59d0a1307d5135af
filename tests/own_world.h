// Situations of the library as it meets the real system, with mounts of their own.
#ifndef ORBA_TESTS_OWN_WORLD_H
#define ORBA_TESTS_OWN_WORLD_H

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>

inline void put(const std::string &path, const std::string &text, mode_t mode = 0644) {
  std::ofstream(path) << text;
  chmod(path.c_str(), mode);
}

inline std::string textOf(const std::string &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Runs `situation` in a process of its own, for which each of these folders is empty
// and which has the namespaces `more` besides, and takes over what it expected. Skips
// the test where nobody may have such a world.
template <typename Situation>
void inOwnWorld(std::initializer_list<const char *> folders, int more, Situation situation) {
  constexpr int kNoWorld = 77;
  pid_t child = fork();
  if (child == 0) {
    alarm(60);
    bool made = unshare(CLONE_NEWNS | more) == 0 &&
                mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0;
    for (const char *folder : folders) {
      made = made && mount("none", folder, "tmpfs", 0, "mode=0755") == 0;
    }
    if (!made) _exit(kNoWorld);
    situation();
    fflush(stdout);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNoWorld) {
    GTEST_SKIP() << "needs root and namespaces";
  }
  EXPECT_EQ(status, 0);
}

#endif
