// The library's calls, as sim/calls.txt renames them. Each is answered by the
// current device, or by the real system when there is none.
#include <dirent.h>
#include <fcntl.h>
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
#include <set>

#include "nvram.h"
#include "sim/device.h"
#include "sim/runner.h"

using sim::Device;
using sim::Event;

namespace {

Device *device() {
  return Device::current();
}

sim::Runner *runner() {
  return sim::Runner::current();
}

// Descriptors that stand for the console, and streams that stand for pipes.
std::set<int> consoles;
std::set<FILE *> pipes;

std::string formatted(const char *format, va_list arguments) {
  char *text = nullptr;
  int length = vasprintf(&text, format, arguments);
  std::string result = length >= 0 ? text : "";
  free(text);
  return result;
}

int openConsole() {
  if (!device()->hasConsole()) {
    errno = ENODEV;
    return -1;
  }
  int fd = open("/dev/null", O_RDWR | O_CLOEXEC);
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
  int fd = memfd_create("pipe", MFD_CLOEXEC);
  if (fd < 0) return nullptr;
  FILE *stream = fdopen(fd, "w+");
  fwrite(content.data(), 1, content.size(), stream);
  rewind(stream);
  return stream;
}

}  // namespace

extern "C" {

// ---- commands ----

int sim_system(const char *line) {
  if (device() != nullptr) return device()->runLine(line);
  return runner() != nullptr ? runner()->run(line) : system(line);
}

FILE *sim_popen(const char *command, const char *mode) {
  if (device() == nullptr && runner() != nullptr && *mode == 'r') return runner()->read(command);
  if (device() == nullptr) return popen(command, mode);
  device()->record(Event::kPipe, command);
  std::optional<std::string> output = device()->outputOf(command);
  if (!output) {
    errno = EAGAIN;
    return nullptr;
  }
  FILE *stream = streamOf(*output);
  pipes.insert(stream);
  device()->pipeOpened();
  return stream;
}

int sim_pclose(FILE *stream) {
  if (device() == nullptr && runner() != nullptr) {
    if (std::optional<int> status = runner()->closed(stream)) return *status;
  }
  if (pipes.erase(stream) == 0) return pclose(stream);
  if (device() != nullptr) device()->pipeClosed();
  return fclose(stream);
}

int sim_kill(pid_t process, int number) {
  if (device() == nullptr) return kill(process, number);
  device()->record(Event::kSignal, std::to_string(number) + " to " + std::to_string(process));
  return 0;
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
  if (device() == nullptr) return open(path, flags, mode);
  if (std::optional<int> node = device()->openDevice(path)) {
    if (*node == 0) return open("/dev/null", O_RDWR | O_CLOEXEC);
    errno = ENODEV;
    return -1;
  }
  if (strcmp(path, "/dev/console") == 0) return openConsole();
  std::string real =
      writes(flags) ? device()->root().forWriting(path) : device()->root().forReading(path);
  if (real.empty()) return -1;
  int fd = open(real.c_str(), flags | O_CLOEXEC, mode);
  if (fd >= 0 && writes(flags)) device()->record(Event::kFile, path);
  return fd;
}

int sim_close(int fd) {
  consoles.erase(fd);
  return close(fd);
}

ssize_t sim_read(int fd, void *buffer, size_t size) {
  return read(fd, buffer, size);
}

ssize_t sim_write(int fd, const void *buffer, size_t size) {
  if (device() != nullptr && consoles.count(fd) != 0) {
    device()->record(Event::kConsole, std::string(static_cast<const char *>(buffer), size));
  }
  return write(fd, buffer, size);
}

FILE *sim_fopen(const char *path, const char *mode) {
  if (device() == nullptr) return fopen(path, mode);
  bool writing = strpbrk(mode, "wa+") != nullptr;
  std::string real =
      writing ? device()->root().forWriting(path) : device()->root().forReading(path);
  if (real.empty()) return nullptr;
  FILE *stream = fopen(real.c_str(), mode);
  if (stream != nullptr && writing) device()->record(Event::kFile, path);
  return stream;
}

int sim_unlink(const char *path) {
  if (device() == nullptr) return unlink(path);
  if (device()->root().remove(path)) {
    device()->record(Event::kRemoved, path);
    return 0;
  }
  errno = ENOENT;
  return -1;
}

int sim_rename(const char *from, const char *to) {
  if (device() == nullptr) return rename(from, to);
  std::string real_from = device()->root().forWriting(from);
  std::string real_to = device()->root().forWriting(to);
  if (real_from.empty() || real_to.empty()) return -1;
  device()->record(Event::kFile, to);
  return rename(real_from.c_str(), real_to.c_str());
}

DIR *sim_opendir(const char *path) {
  if (device() == nullptr) return opendir(path);
  std::string real = device()->root().forReading(path);
  return real.empty() ? nullptr : opendir(real.c_str());
}

int sim_access(const char *path, int mode) {
  if (device() == nullptr) return access(path, mode);
  std::string real = device()->root().forReading(path);
  return real.empty() ? -1 : access(real.c_str(), mode);
}

int sim_stat(const char *path, struct stat *status) {
  if (device() == nullptr) return stat(path, status);
  std::string real = device()->root().forReading(path);
  return real.empty() ? -1 : stat(real.c_str(), status);
}

int sim_mkdir(const char *path, mode_t mode) {
  if (device() == nullptr) return mkdir(path, mode);
  std::string real = device()->root().forWriting(path);
  return real.empty() ? -1 : mkdir(real.c_str(), mode);
}

int sim_chmod(const char *path, mode_t mode) {
  if (device() == nullptr) return chmod(path, mode);
  std::string real = device()->root().forWriting(path);
  return real.empty() ? -1 : chmod(real.c_str(), mode);
}

int sim_truncate(const char *path, off_t length) {
  if (device() == nullptr) return truncate(path, length);
  std::string real = device()->root().forWriting(path);
  return real.empty() ? -1 : truncate(real.c_str(), length);
}

int sim_fsync(int fd) {
  return fsync(fd);
}

// ---- what is printed ----

int sim_vfprintf(FILE *stream, const char *format, va_list arguments) {
  if (device() == nullptr || !isStandard(stream)) return vfprintf(stream, format, arguments);
  std::string text = formatted(format, arguments);
  recordPrinted(stream, text);
  return static_cast<int>(text.size());
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
  if (device() == nullptr || !isStandard(stream)) return fwrite(data, size, count, stream);
  recordPrinted(stream, std::string(static_cast<const char *>(data), size * count));
  return count;
}

void sim_perror(const char *prefix) {
  int error = errno;
  sim_fprintf(stderr, "%s: %s\n", prefix, strerror(error));
}

// ---- kernel ----

int sim_socket(int family, int type, int protocol) {
  if (device() == nullptr) return socket(family, type, protocol);
  if (device()->hasSockets()) return open("/dev/null", O_RDWR | O_CLOEXEC);
  errno = EAFNOSUPPORT;
  return -1;
}

int sim_ioctl(int fd, unsigned long number, ...) {
  va_list arguments;
  va_start(arguments, number);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  return device() != nullptr ? device()->request(fd, number, argument)
                             : ioctl(fd, number, argument);
}

int sim_sysinfo(struct sysinfo *info) {
  if (device() == nullptr) return sysinfo(info);
  memset(info, 0, sizeof *info);
  info->uptime = static_cast<decltype(info->uptime)>(device()->uptime());
  return 0;
}

// ---- time ----

int sim_setitimer(int which, const itimerval *timer, itimerval *previous) {
  if (device() == nullptr)
    return setitimer(static_cast<decltype(ITIMER_REAL)>(which), timer, previous);
  if (previous != nullptr) memset(previous, 0, sizeof *previous);
  long long first = timer->it_value.tv_sec * 1000LL + timer->it_value.tv_usec / 1000;
  long long period = timer->it_interval.tv_sec * 1000LL + timer->it_interval.tv_usec / 1000;
  device()->clock().arm(first, period);
  device()->record(Event::kTimer, first == 0    ? "stopped"
                                  : period != 0 ? "every " + std::to_string(period) + " ms"
                                                : "once in " + std::to_string(first) + " ms");
  return 0;
}

sighandler_t sim_signal(int number, sighandler_t handler) {
  if (device() == nullptr || number != SIGALRM) return signal(number, handler);
  return device()->clock().install(handler);
}

unsigned int sim_sleep(unsigned int seconds) {
  if (device() == nullptr) return sleep(seconds);
  device()->record(Event::kSleep, std::to_string(seconds * 1000LL) + " ms");
  device()->advance(seconds * 1000LL);
  return 0;
}

int sim_usleep(useconds_t microseconds) {
  if (device() == nullptr) return usleep(microseconds);
  device()->record(Event::kSleep, std::to_string(microseconds / 1000) + " ms");
  device()->advance(microseconds / 1000);
  return 0;
}

int sim_nanosleep(const timespec *wanted, timespec *left) {
  if (device() == nullptr) return nanosleep(wanted, left);
  long long milliseconds = wanted->tv_sec * 1000LL + wanted->tv_nsec / 1000000;
  device()->record(Event::kSleep, std::to_string(milliseconds) + " ms");
  device()->advance(milliseconds);
  return 0;
}

time_t sim_time(time_t *out) {
  if (device() == nullptr) return time(out);
  time_t now = device()->clock().now();
  if (out != nullptr) *out = now;
  return now;
}

int sim_clock_gettime(clockid_t id, timespec *out) {
  if (device() == nullptr) return clock_gettime(id, out);
  out->tv_sec = device()->clock().now();
  out->tv_nsec = static_cast<decltype(out->tv_nsec)>(device()->clock().nanoseconds());
  return 0;
}

tm *sim_localtime(const time_t *when) {
  return device() == nullptr ? localtime(when) : gmtime(when);
}

tm *sim_localtime_r(const time_t *when, tm *out) {
  return device() == nullptr ? localtime_r(when, out) : gmtime_r(when, out);
}

char *sim_ctime_r(const time_t *when, char *out) {
  if (device() == nullptr) return ctime_r(when, out);
  tm broken;
  return asctime_r(gmtime_r(when, &broken), out);
}

// ---- memory ----

void *sim_malloc(size_t size) {
  return device() != nullptr && device()->memoryIsOut() ? nullptr : malloc(size);
}

void *sim_calloc(size_t count, size_t size) {
  return device() != nullptr && device()->memoryIsOut() ? nullptr : calloc(count, size);
}

char *sim_strdup(const char *text) {
  return device() != nullptr && device()->memoryIsOut() ? nullptr : strdup(text);
}

// ---- settings ----

char *sim_nvram_get(int space, const char *key) {
  return device() != nullptr ? device()->get(space, key) : nvram_get(space, key);
}

char *sim_nvram_bufget(int space, const char *key) {
  return device() != nullptr ? device()->get(space, key) : nvram_bufget(space, key);
}

int sim_nvram_set(int space, const char *key, const char *value) {
  return device() != nullptr ? device()->set(space, key, value) : nvram_set(space, key, value);
}

int sim_nvram_bufset(int space, const char *key, const char *value) {
  return device() != nullptr ? device()->set(space, key, value) : nvram_bufset(space, key, value);
}

int sim_nvram_commit(int space) {
  return device() != nullptr ? device()->commit(space) : nvram_commit(space);
}

}  // extern "C"
