#include "tools/lab/lab.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "tools/device/config.h"

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

// When a process started, in ticks since the machine did; "" when there is none. The
// name of its program, which stands before that, may hold anything.
std::string startOf(const std::string &process) {
  std::ifstream file("/proc/" + process + "/stat");
  std::string status;
  std::getline(file, status, '\0');
  std::istringstream fields(status.substr(status.rfind(')') + 1));
  std::string field;
  constexpr int kStart = 22, kFirstBehindName = 3;
  for (int number = kFirstBehindName; number <= kStart; number++) fields >> field;
  return fields ? field : "";
}

// The number of a host's first process. After a lab's end it may be another process's,
// into whose namespaces nobody is to be led: that one has started at another time.
std::string firstProcess(const std::string &host) {
  std::string process, start;
  std::ifstream(stateFolder() + "/" + host + ".pid") >> process >> start;
  if (start.empty() || startOf(process) != start) {
    throw NoLab("no lab is up; 'orba lab up --config FILE' makes one");
  }
  return process;
}

std::vector<char *> arguments(const std::vector<std::string> &words) {
  std::vector<char *> arguments;
  for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  return arguments;
}

// Beside the installed tool, or where the build has linked the source tree's.
fs::path scriptFolder(const char *name) {
  fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
  fs::path installed = here.parent_path() / "share" / "orba_util" / name;
  return fs::exists(installed) ? installed : fs::weakly_canonical(here / name);
}

[[noreturn]] void become(const fs::path &path, const std::vector<std::string> &words) {
  setenv("ORBA", fs::read_symlink("/proc/self/exe").c_str(), 1);
  std::vector<std::string> command = {path};
  command.insert(command.end(), words.begin(), words.end());
  execv(path.c_str(), arguments(command).data());
  throw NoLab(path.string() + ": " + strerror(errno));
}

void takeAsInput(const std::vector<nvram::Setting> &config) {
  const std::string text = printConfig(config);
  const int file = memfd_create("config", 0);
  bool written = file >= 0 &&
                 write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                 dup2(file, STDIN_FILENO) == STDIN_FILENO;
  if (!written) throw NoLab(std::string("cannot hand the settings over: ") + strerror(errno));
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
    throw NoLab("cannot enter the lab (" + path + "): " + strerror(errno));
  }
  close(fd);
}

// Whoever is in a lab may read the environment of what runs there.
void reduceEnvironment() {
  std::map<std::string, std::string> kept = {{"HOME", "/root"}};
  for (char **variable = environ; *variable != nullptr; variable++) {
    std::string text = *variable, name = text.substr(0, text.find('='));
    bool is_told = name == "TERM" || name == "LANG" || name == "TZ" || name.starts_with("LC_") ||
                   name.starts_with("ORBA_");
    if (is_told) kept.emplace(name, text.substr(name.size() + 1));
  }
  kept["PATH"] = "/run/lab/tools:/usr/sbin:/usr/bin:/sbin:/bin";
  clearenv();
  for (const auto &[name, value] : kept) setenv(name.c_str(), value.c_str(), 1);
}

}  // namespace

void runLabScript(const std::string &script, const std::vector<std::string> &words) {
  become(scriptFolder("lab") / script, words);
}

void makeLab(const std::vector<nvram::Setting> &config, bool json) {
  takeAsInput(config);
  std::vector<std::string> words = {"/dev/stdin"};
  if (json) words.insert(words.begin(), "--json");
  runLabScript("up.sh", words);
}

void runBooted(const std::vector<std::string> &words, const std::vector<nvram::Setting> *config) {
  const fs::path script = scriptFolder("machine") / "booted.py";
  if (!fs::exists(script)) throw NoLab("./dev machine boots a router, in the source tree only");
  if (config != nullptr) takeAsInput(*config);
  become(script, words);
}

std::string labConfig() {
  firstProcess("router");
  return stateFolder() + "/config";
}

void enterLab(const std::string &host) {
  std::string process = firstProcess(host);
  const int lab = static_cast<int>(syscall(SYS_pidfd_open, std::stoi(process), 0));
  // Until a program of the lab takes its place, this process has this machine's tool and its
  // caller's open files, and nobody in the lab is to reach them through it.
  if (prctl(PR_SET_DUMPABLE, 0) != 0)
    throw NoLab(std::string("cannot keep the lab in: ") + strerror(errno));
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
    pollfd ended = {lab, POLLIN, 0};
    if (poll(&ended, 1, 0) > 0) fputs("orba: the lab ended\n", stderr);
    _exit(128 + WTERMSIG(status));
  }
  if (child < 0) throw NoLab(std::string("cannot start a process: ") + strerror(errno));
  close(lab);
  reduceEnvironment();
}

void runInLab(const std::vector<std::string> &words) {
  std::string host = words.empty() ? "router" : words.front();
  if (host != "router" && host != "lan" && host != "internet") {
    throw NoLab("there is no host '" + host + "'; router, lan and internet are");
  }
  enterLab(host);
  std::vector<std::string> command(words.begin() + (words.empty() ? 0 : 1), words.end());
  // A shell gives the terminal back to the group that had it, which has no number in a lab.
  if (isatty(STDIN_FILENO) != 0 && setpgid(0, 0) == 0) {
    signal(SIGTTOU, SIG_IGN);
    tcsetpgrp(STDIN_FILENO, getpid());
    signal(SIGTTOU, SIG_DFL);
  }
  if (command.empty()) {
    setenv("PS1", (host + "# ").c_str(), 1);
    command = {"sh"};
  }
  execvp(command.front().c_str(), arguments(command).data());
  throw NoLab(command.front() + ": " + strerror(errno));
}

}  // namespace orba::tool
