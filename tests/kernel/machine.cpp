#include "tests/kernel/machine.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/wireless.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <sstream>

#include "nvram.h"

namespace machine {

int status = 0;
int shell_milliseconds = 0;
char leds[4096];

namespace {

constexpr int kNoSuchPlace = 77;
constexpr int kThrough = 78;  // not 0, with which the library may end a process early

bool writeMap(const char *path, const std::string &text) {
  std::ofstream file(path);
  return static_cast<bool>(file << text << std::flush);
}

// Root needs no user namespace, and could be nobody else in one.
bool enterNamespaces() {
  if (geteuid() == 0) return unshare(CLONE_NEWNS) == 0;
  std::string user = std::to_string(getuid()), group = std::to_string(getgid());
  return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeMap("/proc/self/setgroups", "deny") &&
         writeMap("/proc/self/uid_map", "0 " + user + " 1") &&
         writeMap("/proc/self/gid_map", "0 " + group + " 1");
}

// Each notes its command in a journal; some do what they do on a router besides.
void installPrograms() {
  mkdir("/var/bin", 0755);
  std::map<std::string, const char *> programs = {
      {"top", "echo CPU: 7% usr"},
      {"wlan_5G.sh", "sleep 0.3"},
      {"iwpriv",
       "case $2 in stat) stat -c %a /tmp/apcli.info >> /var/journal\nprintf 'SSID = home\\nAuthType = WPA2PSK\\n"
       "EncrypType = AES\\nKey = secret\\n' ;; esac"},
  };
  for (const char *name :
       {"sys", "wlan.sh", "ifconfig", "ralink_init", "route", "mii_mgr", "killall", "brctl",
        "udpsvd", "wscd", "internet.sh", "internetSetWAN.sh", "syslogd"}) {
    programs[name] = "";
  }
  for (const auto &[name, body] : programs) {
    std::string path = "/var/bin/" + name;
    write(path, std::string("#!/bin/sh\necho \"${0##*/} $*\" >> /var/journal\n") + body + "\n");
    chmod(path.c_str(), 0755);
  }
  setenv("PATH", ("/var/bin:" + std::string(getenv("PATH"))).c_str(), 1);
}

bool enter() {
  if (!enterNamespaces() || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    return false;
  }
  int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const char *folder : {"/tmp", "/var", "/dev"}) {
    if (mount("tmpfs", folder, "tmpfs", MS_NOSUID, "mode=0755") != 0) return false;
  }
  // Everybody writes there, without the bit by which newer kernels guard root.
  chmod("/tmp", 0777);
  for (const char *device : {"/dev/null", "/dev/gpio", "/dev/console"}) write(device, "");
  std::string open_null = "/proc/self/fd/" + std::to_string(null);
  if (mount(open_null.c_str(), "/dev/null", nullptr, MS_BIND, nullptr) != 0) return false;
  installPrograms();
  return true;
}

pid_t start(const std::function<void()> &body) {
  fflush(nullptr);
  pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  setpgid(0, 0);
  bool failed_before = testing::Test::HasFailure();
  body();
  fflush(nullptr);
  _exit(testing::Test::HasFailure() && !failed_before ? 1 : kThrough);
}

int statusWithin(pid_t child, int seconds) {
  int result = -1;
  for (long end = millisecondsNow() + seconds * 1000L; millisecondsNow() < end; usleep(1000)) {
    if (waitpid(child, &result, WNOHANG) == child) return result;
  }
  kill(-child, SIGKILL);  // with the commands that it waits for
  waitpid(child, &result, 0);
  return -1;
}

}  // namespace

void run(const std::function<void()> &scenario, int seconds) {
  int result = statusWithin(start([&] {
                              if (!enter()) _exit(kNoSuchPlace);
                              scenario();
                            }),
                            seconds);
  if (result != -1 && WIFEXITED(result) && WEXITSTATUS(result) == kNoSuchPlace &&
      getenv("CI") == nullptr) {
    GTEST_SKIP() << "no mount namespace is to be had here";
  }
  ASSERT_NE(result, -1) << "hung";
  EXPECT_EQ(result, W_EXITCODE(kThrough, 0));
}

namespace {

void becomeStranger() {
  constexpr uid_t kNobody = 65534;
  ASSERT_EQ(setgid(kNobody), 0);
  ASSERT_EQ(setuid(kNobody), 0);
  umask(0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // the change of user has taken it back
}

}  // namespace

void asStranger(const std::function<void()> &deeds) {
  EXPECT_EQ(statusWithin(start([&] {
                           becomeStranger();
                           deeds();
                         }),
                         5),
            W_EXITCODE(kThrough, 0));
}

void besideStranger(const std::function<void()> &deeds, const std::function<void()> &goes_on) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  start([&] {
    becomeStranger();
    deeds();
    close(ready[0]);
    close(ready[1]);
    while (true) goes_on();
  });
  close(ready[1]);
  char end;
  EXPECT_EQ(::read(ready[0], &end, 1), 0);
  close(ready[0]);
}

void write(const std::string &path, const std::string &text) {
  std::ofstream(path, std::ios::trunc) << text;
}

std::string read(const std::string &path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

bool alarmIsPending() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGALRM) != 0;
}

long millisecondsNow() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

void wait(long milliseconds) {
  for (long end = millisecondsNow() + milliseconds; millisecondsNow() < end;) usleep(1000);
}

// ---- the stand-ins ----

namespace {

struct {
  int space;
  char key[24], value[200];
} store[64];

char *find(int space, const char *key) {
  for (auto &entry : store) {
    if (entry.space == space && strcmp(entry.key, key) == 0) return entry.value;
  }
  return nullptr;
}

}  // namespace

void set(int space, const char *key, const char *value) {
  char *place = find(space, key);
  for (auto *free = store; place == nullptr; free++) {
    if (free->space != 0) continue;
    free->space = space;
    snprintf(free->key, sizeof free->key, "%s", key);
    place = free->value;
  }
  snprintf(place, sizeof store->value, "%s", value);
}

namespace {

void put(void *record, size_t offset, uint32_t value, size_t width) {
  for (size_t i = 0; i < width; i++) static_cast<uint8_t *>(record)[offset + i] = value >> 8 * i;
}

int answerDriver(const iwreq &request) {
  void *record = request.u.data.pointer;
  switch (request.u.data.flags) {
    case 0x0751:
      put(record, 0, static_cast<uint32_t>(status), 4);
      return 0;
    case 0x0750:  // a network of two letters, with a key of ten
      memset(record, 'k', 936);
      put(record, 8, 2, 4);
      put(record, 44, static_cast<uint32_t>(atoi(nvram_get(1, "authentication"))), 2);
      put(record, 46, static_cast<uint32_t>(atoi(nvram_get(1, "encryption"))), 2);
      put(record, 112, 10, 2);
      put(record, 120, 1, 1);
      return 0;
    case 0x052A:
      put(record, 4, 2, 4);
      return 0;
  }
  errno = EOPNOTSUPP;
  return -1;
}

}  // namespace

}  // namespace machine

extern "C" {

int __real_ioctl(int, unsigned long, ...);
int __real_system(const char *);

int __wrap_system(const char *line) {
  if (machine::shell_milliseconds > 0) {
    timespec pause = {0, machine::shell_milliseconds * 1000000L};
    nanosleep(&pause, nullptr);
  }
  return __real_system(line);
}

int __wrap_ioctl(int fd, unsigned long number, ...) {
  va_list arguments;
  va_start(arguments, number);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  if (number == 0x8BE1) return machine::answerDriver(*static_cast<iwreq *>(argument));
  if (number == 0x8BF2) {
    void *record = static_cast<iwreq *>(argument)->u.data.pointer;
    memset(record, 0, 105);
    machine::put(record, 0, 2, 2);
    return 0;
  }
  if (number == 0x89F3) {  // the switch, whose table is empty
    machine::put(static_cast<ifreq *>(argument)->ifr_data, 12, 1 << 14, 4);
    return 0;
  }
  if (number == 0x89F4) return 0;
  if (number == SIOCGIFADDR) {
    auto *address = reinterpret_cast<sockaddr_in *>(&static_cast<ifreq *>(argument)->ifr_addr);
    address->sin_addr.s_addr = htonl(0xC0A80101);
    return 0;
  }
  if (number != 0x41) return __real_ioctl(fd, number, argument);
  const uint32_t *led = static_cast<uint32_t *>(argument);
  size_t length = strlen(machine::leds);
  snprintf(machine::leds + length, sizeof machine::leds - length, "%u:%u/%u ", led[0], led[1],
           led[2]);
  return 0;
}

char *nvram_get(int space, const char *key) {
  return machine::find(space, key);
}
char *nvram_bufget(int space, const char *key) {
  return machine::find(space, key);
}
int nvram_set(int space, const char *key, const char *value) {
  machine::set(space, key, value);
  return 0;
}
int nvram_bufset(int space, const char *key, const char *value) {
  machine::set(space, key, value);
  return 0;
}
int nvram_commit(int) {
  return 0;
}
}
