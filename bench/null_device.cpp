#include "bench/null_device.h"

#include <fcntl.h>
#include <linux/wireless.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <map>
#include <unordered_map>

namespace null_device {

Counts counts;

namespace {

std::unordered_map<std::string, std::string> settings[3];
std::map<std::string, std::string> files;
std::vector<uint8_t> survey_list;

constexpr unsigned long kOid = 0x8BE1;
constexpr int kSurveyList = 0x0609;
constexpr int kSocket = 1000;
constexpr int kMadeFile = 2000;
constexpr int kFirstFile = 2001;

// A number that every query but the survey is content with.
constexpr uint8_t kOne[4] = {1, 0, 0, 0};

int fail(int error) {
  errno = error;
  return -1;
}

int answerDriver(iwreq &block) {
  const uint8_t *value = kOne;
  size_t length = sizeof kOne;
  if (block.u.data.flags == kSurveyList) value = survey_list.data(), length = survey_list.size();
  if (length > block.u.data.length && block.u.data.flags == kSurveyList) return fail(E2BIG);
  if (length > block.u.data.length) length = block.u.data.length;
  if (length > 0) memcpy(block.u.data.pointer, value, length);
  block.u.data.length = static_cast<uint16_t>(length);
  return 0;
}

int answerAddress(ifreq &block) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(0xC0A80101);
  memcpy(&block.ifr_addr, &address, sizeof address);
  return 0;
}

FILE *streamOf(const std::string &content) {
  return fmemopen(const_cast<char *>(content.data()), content.size(), "r");
}

char *lookUp(int space, const char *key) {
  auto found = settings[space].find(key);
  return found != settings[space].end() ? found->second.data() : nullptr;
}

// Printed text is made, as it is for a terminal, and dropped.
int formatAndDrop(const char *format, va_list arguments) {
  static char text[4096];
  return vsnprintf(text, sizeof text, format, arguments);
}

}  // namespace

void reset() {
  for (auto &space : settings) space.clear();
  files.clear();
  survey_list.assign(4, 0);
  counts = {};
}

void setting(const std::string &key, const std::string &value, int space) {
  settings[space][key] = value;
}

void file(const std::string &path, const std::string &content) {
  files[path] = content;
}

void survey(const std::vector<uint8_t> &list) {
  survey_list = list;
}

}  // namespace null_device

using namespace null_device;

extern "C" {

int sim_system(const char *) {
  counts.commands++;
  return 0;
}
FILE *sim_popen(const char *, const char *) {
  static const std::string kRegister = "value=1f4\n";
  return streamOf(kRegister);
}
int sim_pclose(FILE *stream) {
  return fclose(stream);
}

FILE *sim_fopen(const char *path, const char *) {
  auto found = files.find(path);
  if (found != files.end()) return streamOf(found->second);
  errno = ENOENT;
  return nullptr;
}
int sim_fclose(FILE *stream) {
  return fclose(stream);
}
char *sim_fgets(char *line, int size, FILE *stream) {
  return fgets(line, size, stream);
}
size_t sim_fread(void *data, size_t size, size_t count, FILE *stream) {
  return fread(data, size, count, stream);
}
int sim_isoc99_fscanf(FILE *stream, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int read = vfscanf(stream, format, arguments);
  va_end(arguments);
  return read;
}
int sim_open(const char *path, int flags, ...) {
  auto found = files.find(path);
  if (found != files.end()) return kFirstFile + static_cast<int>(distance(files.begin(), found));
  return (flags & O_CREAT) != 0 ? kMadeFile : fail(ENOENT);
}
int sim_open_2(const char *path, int flags) {
  return sim_open(path, flags);
}
FILE *sim_fdopen(int fd, const char *) {
  return streamOf(next(files.begin(), fd - kFirstFile)->second);
}
int sim_close(int) {
  return 0;
}
ssize_t sim_write(int, const void *, size_t size) {
  return static_cast<ssize_t>(size);
}
int sim_stat(const char *, struct stat *) {
  return fail(ENOENT);
}
int sim_lstat(const char *, struct stat *) {
  return fail(ENOENT);
}
int sim_fstat(int, struct stat *status) {
  *status = {};
  status->st_mode = S_IFREG | 0600;
  status->st_nlink = 1;
  return 0;
}
int sim_flock(int, int) {
  return 0;
}
int sim_ftruncate(int, off_t) {
  return 0;
}
int sim_chmod(const char *, mode_t) {
  return 0;
}
int sim_unlink(const char *) {
  return fail(ENOENT);
}
int sim_rename(const char *, const char *) {
  return fail(ENOENT);
}
int sim_rmdir(const char *) {
  return fail(ENOENT);
}
char *sim_mkdtemp(char *) {
  return fail(EACCES), nullptr;
}
size_t sim_fwrite(const void *, size_t, size_t count, FILE *) {
  return count;
}

int sim_printf(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int length = formatAndDrop(format, arguments);
  va_end(arguments);
  return length;
}
int sim_fprintf(FILE *, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int length = formatAndDrop(format, arguments);
  va_end(arguments);
  return length;
}
int sim_printf_chk(int, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int length = formatAndDrop(format, arguments);
  va_end(arguments);
  return length;
}
int sim_fprintf_chk(FILE *, int, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int length = formatAndDrop(format, arguments);
  va_end(arguments);
  return length;
}
int sim_puts(const char *) {
  return 0;
}
int sim_putchar(int c) {
  return c;
}

int sim_socket(int, int, int) {
  return kSocket;
}
int sim_ioctl(int, unsigned long number, ...) {
  va_list arguments;
  va_start(arguments, number);
  void *block = va_arg(arguments, void *);
  va_end(arguments);
  if (number == kOid) return answerDriver(*static_cast<iwreq *>(block));
  if (number == SIOCGIFADDR) return answerAddress(*static_cast<ifreq *>(block));
  return fail(EOPNOTSUPP);
}
unsigned int sim_sleep(unsigned int) {
  errno = 0;
  return 0;
}
int sim_nanosleep(const timespec *, timespec *) {
  return 0;
}
int sim_clock_gettime(clockid_t clock, timespec *time) {
  return clock_gettime(clock, time);
}

void *sim_malloc(size_t size) {
  counts.allocations++;
  return malloc(size);
}
void *sim_calloc(size_t count, size_t size) {
  counts.allocations++;
  return calloc(count, size);
}
void sim_free(void *memory) {
  free(memory);
}
char *sim_strdup(const char *text) {
  counts.allocations++;
  return strdup(text);
}

char *sim_nvram_get(int space, const char *key) {
  return lookUp(space, key);
}
char *sim_nvram_bufget(int space, const char *key) {
  return lookUp(space, key);
}
int sim_nvram_bufset(int, const char *, const char *) {
  return 0;
}
int sim_nvram_commit(int) {
  return 0;
}

}  // extern "C"
