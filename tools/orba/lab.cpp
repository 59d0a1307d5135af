#include "tools/orba/lab.h"

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace orba::tool {

namespace {

namespace fs = std::filesystem;

std::string nameOfStateFolder() {
  if (const char *folder = getenv("ORBA_LAB_STATE")) return folder;
  if (geteuid() == 0) return "/run/orba-lab";
  const char *runtime = getenv("XDG_RUNTIME_DIR");
  return (runtime != nullptr ? std::string(runtime) : "/tmp") + "/orba-lab-" +
         std::to_string(geteuid());
}

// lab/state.sh has the same rules. In /tmp anybody could have made the folder.
std::string stateFolder() {
  std::string folder = nameOfStateFolder();
  struct stat status;
  if (lstat(folder.c_str(), &status) == 0 &&
      (!S_ISDIR(status.st_mode) || status.st_uid != geteuid())) {
    throw NoLab(folder + " is not yours");
  }
  return folder;
}

// The number of the router's first process. After a lab's end the number may be
// another process's, and its namespaces this machine's own.
std::string router() {
  std::string process;
  std::ifstream(stateFolder() + "/router.pid") >> process;
  std::error_code ignored;
  if (process.empty() || !fs::exists("/proc/" + process + "/root/run/lab/tools", ignored)) {
    throw NoLab("no lab is up; 'orba lab up --config FILE' makes one");
  }
  return process;
}

// Beside the installed tool, or where the build has linked the source tree's.
fs::path scriptFolder() {
  fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
  fs::path installed = here.parent_path() / "share" / "orba_util" / "lab";
  return fs::exists(installed) ? installed : fs::weakly_canonical(here / "lab");
}

void enterNamespace(const std::string &process, const char *kind) {
  std::string path = "/proc/" + process + "/ns/" + kind;
  std::string own = std::string("/proc/self/ns/") + kind;
  struct stat wanted, mine;
  bool there = stat(path.c_str(), &wanted) == 0 && stat(own.c_str(), &mine) == 0 &&
               wanted.st_ino == mine.st_ino;
  if (there) return;
  int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 || setns(fd, 0) != 0) {
    throw NoLab("cannot enter the lab's router (" + path + "): " + strerror(errno));
  }
  close(fd);
}

}  // namespace

void runLabScript(const std::string &script, const std::vector<std::string> &words) {
  fs::path path = scriptFolder() / script;
  setenv("ORBA", fs::read_symlink("/proc/self/exe").c_str(), 1);
  std::vector<char *> arguments = {const_cast<char *>(path.c_str())};
  for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  execv(path.c_str(), arguments.data());
  throw NoLab(path.string() + ": " + strerror(errno));
}

std::string labConfig() {
  router();
  return stateFolder() + "/config";
}

void enterLab() {
  std::string process = router();
  // A user namespace lets nobody give up groups.
  if (geteuid() == 0) (void)!setgroups(0, nullptr);
  // The user namespace owns the others, so it comes first; the files come last,
  // because the way to the others leads through this machine's /proc.
  for (const char *kind : {"user", "pid", "net", "ipc", "uts", "mnt"})
    enterNamespace(process, kind);
  // This machine's root, who has no number there, becomes the lab's.
  if (geteuid() != 0 && (setresgid(0, 0, 0) != 0 || setresuid(0, 0, 0) != 0)) {
    throw NoLab(std::string("cannot become the lab's root: ") + strerror(errno));
  }
  if (chdir("/root") != 0) throw NoLab(std::string("/root: ") + strerror(errno));
  // Only a child has its number there, without which "/proc/self" leads nowhere.
  pid_t child = fork();
  if (child > 0) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) _exit(WEXITSTATUS(status));
    fputs("orba: the lab ended\n", stderr);
    _exit(128 + WTERMSIG(status));
  }
  if (child < 0) throw NoLab(std::string("cannot start a process: ") + strerror(errno));
  setenv("PATH", "/run/lab/tools:/usr/sbin:/usr/bin:/sbin:/bin", 1);
}

}  // namespace orba::tool
