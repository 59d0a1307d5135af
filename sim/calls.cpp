// The library's calls, as sim/calls.txt renames them. Each is answered by the
// current device, or by the real system when there is none.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>

#include "nvram.h"
#include "sim/answer.h"
#include "sim/runner.h"

using sim::answer;
using sim::Device;
using sim::Endless;
using sim::Event;
using sim::Held;

namespace {

Device *device() {
  return Device::current();
}

sim::Runner *runner() {
  return sim::Runner::current();
}

// Descriptors that stand for the console, and for files that are in memory; streams that stand for
// pipes.
std::set<int> consoles;
std::map<int, std::string> memory_files;
std::set<FILE *> pipes;

void forgetDescriptor(int fd) {
  consoles.erase(fd);
  memory_files.erase(fd);
}

std::string formatted(const char *format, va_list arguments) {
  char *text = nullptr;
  int length = vasprintf(&text, format, arguments);
  std::string result = length >= 0 ? text : "";
  free(text);
  return result;
}

// What stands for consoles, drivers and sockets: opened once, since to open is dear.
const int null_device = open("/dev/null", O_RDWR | O_CLOEXEC);

int openNull() {
  const int fd = fcntl(null_device, F_DUPFD_CLOEXEC, 0);
  forgetDescriptor(fd);  // of somebody who never closed it
  return fd;
}

int openConsole(const Device &device) {
  if (!device.hasConsole()) {
    errno = ENODEV;
    return -1;
  }
  int fd = openNull();
  consoles.insert(fd);
  return fd;
}

bool isStandard(FILE *stream) {
  return stream == stdout || stream == stderr;
}

void recordPrinted(FILE *stream, const std::string &text) {
  device()->record(stream == stdout ? Event::kPrinted : Event::kError, text);
}

bool writes(int flags) {
  return (flags & O_ACCMODE) != O_RDONLY || (flags & O_CREAT) != 0;
}

FILE *streamOf(const std::string &content) {
  FILE *stream = fmemopen(nullptr, content.size() + 1, "w+");
  if (stream == nullptr) return nullptr;
  fwrite(content.data(), 1, content.size(), stream);
  rewind(stream);
  return stream;
}

// Where a path of the device really is; empty, with errno set, when it is refused.
std::string realPath(Device &device, const char *path, bool writing) {
  return writing ? device.root().forWriting(path) : device.root().forReading(path);
}

int openOn(Device &device, const char *path, int flags, mode_t mode) {
  if (std::optional<int> node = device.openDevice(path)) {
    if (*node == 0) return openNull();
    errno = ENODEV;
    return -1;
  }
  if (strcmp(path, "/dev/console") == 0) return openConsole(device);
  if (writes(flags) && (flags & O_CREAT) == 0 && !device.root().mayHold(path)) {
    errno = ENOENT;
    return -1;
  }
  if (flags == (O_WRONLY | O_TRUNC) && device.root().emptyInMemory(path)) {
    device.record(Event::kFile, path);
    const int fd = openNull();
    memory_files[fd] = path;
    return fd;
  }
  std::string real = realPath(device, path, writes(flags));
  if (real.empty()) return -1;
  int fd = open(real.c_str(), flags | O_CLOEXEC, mode);
  forgetDescriptor(fd);
  // What makes an empty file writes nothing yet.
  if (fd >= 0 && writes(flags) && (flags & O_EXCL) == 0) device.record(Event::kFile, path);
  return fd;
}

// What the kernel makes up for its reader: all of it is there when it is opened, and nobody writes
// to it.
FILE *openKernelText(Device &device, const char *path) {
  const bool by_kernel = strncmp(path, "/proc/", strlen("/proc/")) == 0;
  const std::string *text = by_kernel ? device.root().textForReading(path) : nullptr;
  return text != nullptr ? streamOf(*text) : nullptr;
}

enum : bool { kReads = false, kWrites = true };

// A call that asks, or changes, something of the file at a path.
template <typename Call>
int answerOfPath(const char *name, const char *path, bool writing, Call call) {
  return answer(
      name, [=] { return call(path); },
      [=](Device &device) {
        std::string real = realPath(device, path, writing);
        return real.empty() ? -1 : call(real.c_str());
      });
}

// Whoever the folder on the desk belongs to, on the device its files are the library's.
int ofTheDevice(int result, struct stat &status) {
  status.st_uid = geteuid();
  status.st_nlink = 1;
  return result;
}

template <typename Call>
auto memory(const char *name, Call call) {
  return answer(name, call, [=](Device &device) {
    return device.memoryIsOut() ? nullptr : device.held().take(Held::kMemory, call());
  });
}

// A timer is late rather than early.
long long inMilliseconds(const timeval &time) {
  return time.tv_sec * 1000LL + (time.tv_usec + 999) / 1000;
}

void armTimer(Device &device, const itimerval &timer) {
  long long first = inMilliseconds(timer.it_value);
  long long period = inMilliseconds(timer.it_interval);
  device.clock().arm(first, period);
  device.record(Event::kTimer, first == 0    ? "stopped"
                               : period != 0 ? "every " + std::to_string(period) + " ms"
                                             : "once in " + std::to_string(first) + " ms");
}

void pass(Device &device, long long milliseconds) {
  device.record(Event::kSleep, std::to_string(milliseconds) + " ms");
  device.advance(milliseconds);
}

}  // namespace

extern "C" {

// ---- commands ----

int sim_system(const char *line) {
  return answer(
      "system", [=] { return runner() != nullptr ? runner()->run(line) : system(line); },
      [=](Device &device) { return device.runLine(line); });
}

FILE *sim_popen(const char *command, const char *mode) {
  return answer(
      "popen",
      [=] {
        return runner() != nullptr && *mode == 'r' ? runner()->read(command) : popen(command, mode);
      },
      [=](Device &device) -> FILE * {
        device.record(Event::kPipe, command);
        std::optional<std::string> output = device.outputOf(command);
        if (!output) {
          errno = EAGAIN;
          return nullptr;
        }
        FILE *stream = streamOf(*output);
        pipes.insert(stream);
        device.pipeOpened();
        return device.held().take(Held::kStream, stream);
      });
}

int sim_pclose(FILE *stream) {
  return answer(
      "pclose",
      [=] {
        if (runner() != nullptr) {
          if (std::optional<int> status = runner()->closed(stream)) return *status;
        }
        return pipes.erase(stream) != 0 ? fclose(stream) : pclose(stream);
      },
      [=](Device &device) {
        device.held().give(Held::kStream, stream);
        if (pipes.erase(stream) == 0) return pclose(stream);
        device.pipeClosed();
        return fclose(stream);
      });
}

int sim_kill(pid_t process, int number) {
  return answer(
      "kill", [=] { return kill(process, number); },
      [=](Device &device) {
        device.record(Event::kSignal, std::to_string(number) + " to " + std::to_string(process));
        return 0;
      });
}

void sim_exit(int status) {
  if (device() != nullptr) device()->exit(status);
  exit(status);
}

// ---- files ----

int sim_open(const char *path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = static_cast<mode_t>(va_arg(arguments, int));
    va_end(arguments);
  }
  return answer(
      "open", [=] { return open(path, flags, mode); },
      [=](Device &device) { return device.held().take(openOn(device, path, flags, mode)); });
}

// Only files are opened as a stream.
FILE *sim_fdopen(int fd, const char *mode) {
  return answer(
      "fdopen", [=] { return fdopen(fd, mode); },
      [=](Device &device) {
        device.held().give(fd);
        return device.held().take(Held::kStream, fdopen(fd, mode));
      });
}

int sim_close(int fd) {
  forgetDescriptor(fd);
  return answer(
      "close", [=] { return close(fd); },
      [=](Device &device) {
        device.held().give(fd);
        return close(fd);
      });
}

ssize_t sim_read(int fd, void *buffer, size_t size) {
  return answer(
      "read", [=] { return read(fd, buffer, size); },
      [=](Device &device) { return read(fd, buffer, device.faults().share(size)); });
}

ssize_t sim_write(int fd, const void *buffer, size_t size) {
  return answer(
      "write", [=] { return write(fd, buffer, size); },
      [=](Device &device) {
        size_t length = device.faults().share(size);
        if (const auto file = memory_files.find(fd); file != memory_files.end()) {
          device.root().write(file->second, {static_cast<const char *>(buffer), length}, true);
        }
        if (consoles.count(fd) != 0) {
          device.record(Event::kConsole, std::string(static_cast<const char *>(buffer), length));
        }
        if (fd == STDOUT_FILENO || fd == STDERR_FILENO) {
          recordPrinted(fd == STDOUT_FILENO ? stdout : stderr,
                        std::string(static_cast<const char *>(buffer), length));
          return static_cast<ssize_t>(length);
        }
        return write(fd, buffer, length);
      });
}

FILE *sim_fopen(const char *path, const char *mode) {
  return answer(
      "fopen", [=] { return fopen(path, mode); },
      [=](Device &device) -> FILE * {
        bool writing = strpbrk(mode, "wa+") != nullptr;
        FILE *made_up = writing ? nullptr : openKernelText(device, path);
        if (made_up != nullptr) return device.held().take(Held::kStream, made_up);
        std::string real = realPath(device, path, writing);
        if (real.empty()) return nullptr;
        FILE *stream = fopen(real.c_str(), mode);
        if (stream != nullptr && writing) device.record(Event::kFile, path);
        return device.held().take(Held::kStream, stream);
      });
}

int sim_fclose(FILE *stream) {
  return answer(
      "fclose", [=] { return fclose(stream); },
      [=](Device &device) {
        device.held().give(Held::kStream, stream);
        return fclose(stream);
      });
}

int sim_fflush(FILE *stream) {
  return answer("fflush", [=] { return fflush(stream); });
}

char *sim_fgets(char *line, int size, FILE *stream) {
  return answer("fgets", [=] { return fgets(line, size, stream); });
}

size_t sim_fread(void *data, size_t size, size_t count, FILE *stream) {
  return answer(
      "fread", [=] { return fread(data, size, count, stream); },
      [=](Device &device) { return fread(data, size, device.faults().share(count), stream); });
}

int sim_fscanf(FILE *stream, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = answer("fscanf", [&] { return vfscanf(stream, format, arguments); });
  va_end(arguments);
  return count;
}

// What glibc's headers call it.
int sim_isoc99_fscanf(FILE *, const char *, ...) __attribute__((alias("sim_fscanf")));

int sim_unlink(const char *path) {
  return answer(
      "unlink", [=] { return unlink(path); },
      [=](Device &device) {
        if (device.root().remove(path)) {
          device.record(Event::kRemoved, path);
          return 0;
        }
        errno = ENOENT;
        return -1;
      });
}

int sim_rename(const char *from, const char *to) {
  return answer(
      "rename", [=] { return rename(from, to); },
      [=](Device &device) {
        std::string real_from = device.root().forWriting(from);
        std::string real_to = device.root().forWriting(to);
        if (real_from.empty() || real_to.empty()) return -1;
        device.record(Event::kFile, to);
        return rename(real_from.c_str(), real_to.c_str());
      });
}

DIR *sim_opendir(const char *path) {
  return answer(
      "opendir", [=] { return opendir(path); },
      [=](Device &device) -> DIR * {
        std::string real = device.root().forReading(path);
        if (real.empty()) return nullptr;
        return device.held().take(Held::kFolder, opendir(real.c_str()));
      });
}

dirent *sim_readdir(DIR *folder) {
  return answer("readdir", [=] { return readdir(folder); });
}

int sim_closedir(DIR *folder) {
  return answer(
      "closedir", [=] { return closedir(folder); },
      [=](Device &device) {
        device.held().give(Held::kFolder, folder);
        return closedir(folder);
      });
}

int sim_access(const char *path, int mode) {
  return answerOfPath("access", path, kReads, [=](const char *real) { return access(real, mode); });
}

int sim_stat(const char *path, struct stat *status) {
  return answer(
      "stat", [=] { return stat(path, status); },
      [=](Device &device) {
        if (const std::string *text = device.root().textForReading(path)) {
          *status = {};
          status->st_mode = S_IFREG | 0644;
          status->st_size = static_cast<off_t>(text->size());
          return ofTheDevice(0, *status);
        }
        std::string real = realPath(device, path, kReads);
        return real.empty() ? -1 : stat(real.c_str(), status);
      });
}

int sim_lstat(const char *path, struct stat *status) {
  return answer(
      "lstat", [=] { return lstat(path, status); },
      [=](Device &device) {
        std::string real = device.root().whereverItIs(path);
        return real.empty() ? -1 : ofTheDevice(lstat(real.c_str(), status), *status);
      });
}

int sim_mkdir(const char *path, mode_t mode) {
  return answerOfPath("mkdir", path, kWrites, [=](const char *real) { return mkdir(real, mode); });
}

char *sim_mkdtemp(char *path) {
  int made = answerOfPath("mkdtemp", path, kWrites, [=](std::string real) {
    if (mkdtemp(real.data()) == nullptr) return -1;
    size_t length = strlen(path);
    real.copy(path + length - 6, 6, real.size() - 6);
    return 0;
  });
  return made == 0 ? path : nullptr;
}

int sim_rmdir(const char *path) {
  return answerOfPath("rmdir", path, kWrites, [=](const char *real) { return rmdir(real); });
}

int sim_chmod(const char *path, mode_t mode) {
  return answerOfPath("chmod", path, kWrites, [=](const char *real) { return chmod(real, mode); });
}

int sim_truncate(const char *path, off_t length) {
  return answerOfPath("truncate", path, kWrites,
                      [=](const char *real) { return truncate(real, length); });
}

int sim_fstat(int fd, struct stat *status) {
  return answer(
      "fstat", [=] { return fstat(fd, status); },
      [=](Device &) { return ofTheDevice(fstat(fd, status), *status); });
}

int sim_fchmod(int fd, mode_t mode) {
  return answer("fchmod", [=] { return fchmod(fd, mode); });
}

int sim_ftruncate(int fd, off_t length) {
  return answer("ftruncate", [=] { return ftruncate(fd, length); });
}

int sim_fsync(int fd) {
  return answer("fsync", [=] { return fsync(fd); });
}

int sim_flock(int fd, int operation) {
  return answer(
      "flock", [=] { return flock(fd, operation); },
      [=](Device &device) {
        if (!device.faults().limited()) return flock(fd, operation);
        int result = flock(fd, operation | LOCK_NB);
        if (result != 0 && errno == EWOULDBLOCK) throw Endless("waits for a lock");
        return result;
      });
}

void *sim_mmap(void *address, size_t size, int protection, int flags, int fd, off_t offset) {
  auto map = [=] { return mmap(address, size, protection, flags, fd, offset); };
  return answer("mmap", map,
                [=](Device &device) { return device.held().take(Held::kMapping, map(), size); });
}

int sim_munmap(void *address, size_t size) {
  return answer(
      "munmap", [=] { return munmap(address, size); },
      [=](Device &device) {
        device.held().give(Held::kMapping, address);
        return munmap(address, size);
      });
}

// ---- what is printed ----

int sim_vfprintf(FILE *stream, const char *format, va_list arguments) {
  return answer(
      "fprintf", [&] { return vfprintf(stream, format, arguments); },
      [&](Device &) {
        if (!isStandard(stream)) return vfprintf(stream, format, arguments);
        std::string text = formatted(format, arguments);
        recordPrinted(stream, text);
        return static_cast<int>(text.size());
      });
}

int sim_fprintf(FILE *stream, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = sim_vfprintf(stream, format, arguments);
  va_end(arguments);
  return count;
}

int sim_printf(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = sim_vfprintf(stdout, format, arguments);
  va_end(arguments);
  return count;
}

int sim_puts(const char *text) {
  return sim_printf("%s\n", text);
}

int sim_putchar(int c) {
  return sim_printf("%c", c), c;
}

int sim_fputs(const char *text, FILE *stream) {
  return sim_fprintf(stream, "%s", text);
}

int sim_fputc(int c, FILE *stream) {
  return sim_fprintf(stream, "%c", c), c;
}

size_t sim_fwrite(const void *data, size_t size, size_t count, FILE *stream) {
  return answer(
      "fwrite", [=] { return fwrite(data, size, count, stream); },
      [=](Device &device) {
        size_t done = device.faults().share(count);
        if (!isStandard(stream)) return fwrite(data, size, done, stream);
        recordPrinted(stream, std::string(static_cast<const char *>(data), size * done));
        return done;
      });
}

void sim_perror(const char *prefix) {
  int error = errno;
  sim_fprintf(stderr, "%s: %s\n", prefix, strerror(error));
}

// ---- kernel ----

int sim_socket(int family, int type, int protocol) {
  return answer(
      "socket", [=] { return socket(family, type, protocol); },
      [=](Device &device) {
        // Of any protocol of its type, as drivers are asked through.
        bool known = (type & ~SOCK_CLOEXEC) == SOCK_DGRAM && protocol == 0;
        if (device.hasSockets() && known) return device.held().take(openNull());
        errno = EAFNOSUPPORT;
        return -1;
      });
}

int sim_ioctl(int fd, unsigned long number, ...) {
  va_list arguments;
  va_start(arguments, number);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  return answer(
      "ioctl", [=] { return ioctl(fd, number, argument); },
      [=](Device &device) { return device.request(fd, number, argument); });
}

int sim_sysinfo(struct sysinfo *info) {
  return answer(
      "sysinfo", [=] { return sysinfo(info); },
      [=](Device &device) {
        memset(info, 0, sizeof *info);
        info->uptime = static_cast<decltype(info->uptime)>(device.uptime());
        return 0;
      });
}

// ---- time ----

int sim_setitimer(int which, const itimerval *timer, itimerval *previous) {
  return answer(
      "setitimer",
      [=] { return setitimer(static_cast<decltype(ITIMER_REAL)>(which), timer, previous); },
      [=](Device &device) {
        if (previous != nullptr) memset(previous, 0, sizeof *previous);
        armTimer(device, *timer);
        return 0;
      });
}

sighandler_t sim_signal(int number, sighandler_t handler) {
  return answer(
      "signal", [=] { return signal(number, handler); },
      [=](Device &device) {
        return number == SIGALRM ? device.clock().install(handler) : signal(number, handler);
      });
}

int sim_sigprocmask(int how, const sigset_t *set, sigset_t *previous) {
  return answer("sigprocmask", [=] { return sigprocmask(how, set, previous); });
}

int sim_sigtimedwait(const sigset_t *set, siginfo_t *info, const timespec *limit) {
  return answer("sigtimedwait", [=] { return sigtimedwait(set, info, limit); });
}

unsigned int sim_sleep(unsigned int seconds) {
  return answer(
      "sleep", [=] { return sleep(seconds); },
      [=](Device &device) { return pass(device, seconds * 1000LL), 0u; });
}

int sim_usleep(useconds_t microseconds) {
  return answer(
      "usleep", [=] { return usleep(microseconds); },
      [=](Device &device) { return pass(device, microseconds / 1000), 0; });
}

int sim_nanosleep(const timespec *wanted, timespec *left) {
  return answer(
      "nanosleep", [=] { return nanosleep(wanted, left); },
      [=](Device &device) {
        return pass(device, wanted->tv_sec * 1000LL + wanted->tv_nsec / 1000000), 0;
      });
}

time_t sim_time(time_t *out) {
  return answer(
      "time", [=] { return time(out); },
      [=](Device &device) {
        time_t now = device.clock().now();
        if (out != nullptr) *out = now;
        return now;
      });
}

int sim_clock_gettime(clockid_t id, timespec *out) {
  return answer(
      "clock_gettime", [=] { return clock_gettime(id, out); },
      [=](Device &device) {
        out->tv_sec = device.clock().now();
        out->tv_nsec = static_cast<decltype(out->tv_nsec)>(device.clock().nanoseconds());
        return 0;
      });
}

tm *sim_localtime(const time_t *when) {
  return answer(
      "localtime", [=] { return localtime(when); }, [=](Device &) { return gmtime(when); });
}

tm *sim_localtime_r(const time_t *when, tm *out) {
  return answer(
      "localtime_r", [=] { return localtime_r(when, out); },
      [=](Device &) { return gmtime_r(when, out); });
}

char *sim_ctime_r(const time_t *when, char *out) {
  return answer(
      "ctime_r", [=] { return ctime_r(when, out); },
      [=](Device &) {
        tm broken;
        return asctime_r(gmtime_r(when, &broken), out);
      });
}

// ---- memory ----

void *sim_malloc(size_t size) {
  return memory("malloc", [=] { return malloc(size); });
}

void *sim_calloc(size_t count, size_t size) {
  return memory("calloc", [=] { return calloc(count, size); });
}

char *sim_strdup(const char *text) {
  return memory("strdup", [=] { return strdup(text); });
}

void sim_free(void *memory) {
  if (device() != nullptr) device()->held().give(Held::kMemory, memory);
  free(memory);
}

// ---- settings ----

char *sim_nvram_get(int space, const char *key) {
  return answer(
      "nvram_get", [=] { return nvram_get(space, key); },
      [=](Device &device) { return device.get(space, key); });
}

char *sim_nvram_bufget(int space, const char *key) {
  return answer(
      "nvram_bufget", [=] { return nvram_bufget(space, key); },
      [=](Device &device) { return device.bufget(space, key); });
}

int sim_nvram_set(int space, const char *key, const char *value) {
  return answer(
      "nvram_set", [=] { return nvram_set(space, key, value); },
      [=](Device &device) { return device.set(space, key, value); });
}

int sim_nvram_bufset(int space, const char *key, const char *value) {
  return answer(
      "nvram_bufset", [=] { return nvram_bufset(space, key, value); },
      [=](Device &device) { return device.bufset(space, key, value); });
}

int sim_nvram_commit(int space) {
  return answer(
      "nvram_commit", [=] { return nvram_commit(space); },
      [=](Device &device) { return device.commit(space); });
}

}  // extern "C"
