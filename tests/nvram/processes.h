/* Stores in a folder of their own, used by processes of their own: as on the
 * device, where each program that uses the store is a new process. */
#ifndef TESTS_NVRAM_PROCESSES_H
#define TESTS_NVRAM_PROCESSES_H

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

// Where a commit takes microseconds and not milliseconds, for those who do many.
inline const char *const kMemory = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";

class StoreFolder {
 public:
  explicit StoreFolder(const std::string &parent = "/tmp") : root_(parent + "/orba-nvram-XXXXXX") {
    EXPECT_NE(mkdtemp(root_.data()), nullptr);
    std::filesystem::create_directory(path());
    setenv("ORBA_NVRAM_DIR", path().c_str(), 1);
  }
  ~StoreFolder() { std::filesystem::remove_all(root_); }

  std::string path() const { return root_ + "/store"; }
  std::string file(const std::string &name) const { return path() + "/" + name; }
  std::string errors() const { return root_ + "/errors"; }

  void write(const std::string &name, const std::string &text) const {
    std::ofstream(file(name), std::ios::binary) << text;
  }
  std::string read(const std::string &name) const { return contents(file(name)); }

  static std::string contents(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }

 private:
  std::string root_;
};

/* What errno says of a call that failed, 0 of one that did not. */
inline int failureOf(int result) {
  return result == -1 ? errno : 0;
}
inline int failureOf(const char *value) {
  return value == nullptr ? errno : 0;
}

/* Starts a process that runs `body` and ends with 0 if its expectations hold. */
template <typename Body>
pid_t startProcess(Body body) {
  fflush(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // no process outlives a test that was given up
  body();
  fflush(nullptr);
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

inline void expectGoodEnd(pid_t child) {
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

template <typename Body>
void inProcess(Body body) {
  expectGoodEnd(startProcess(body));
}

/* Ends `child` when it does not end by itself within twenty seconds. */
inline int endOf(pid_t child) {
  int status = -1;
  for (int ms = 0; ms < 20'000 && waitpid(child, &status, WNOHANG) == 0; ++ms) usleep(1000);
  if (status == -1) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }
  return status;
}

/* What `body` wrote to standard error. */
template <typename Body>
std::string errorsOf(const StoreFolder &folder, Body body) {
  inProcess([&] {
    ASSERT_NE(freopen(folder.errors().c_str(), "w", stderr), nullptr);
    body();
  });
  return StoreFolder::contents(folder.errors());
}

#endif
