#include "core/file.h"

#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace orba {

namespace {

bool isOurs(const struct stat &status) {
  return S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         (status.st_uid == 0 || status.st_uid == geteuid());
}

// What keeps everybody from making a file, so that a command does no harm there.
bool nobodyCanMakeIt(int error) {
  return error == ENOENT || error == EACCES || error == EROFS;
}

// A folder, which only those can empty whose files are in it, is put aside whole: in the
// place of an empty one of ours, whose name nobody has taken before.
void clearAway(const char *path) {
  if (unlink(path) == 0) return;
  char aside[64];
  snprintf(aside, sizeof aside, "%s.XXXXXX", path);
  if (mkdtemp(aside) != nullptr && rename(path, aside) != 0) rmdir(aside);
}

}  // namespace

bool Stream::readLine(char *line, size_t size) {
  return fgets(line, static_cast<int>(size), stream_) != nullptr;
}

void Stream::readAll(char *text, size_t size) {
  text[fread(text, 1, size - 1, stream_)] = '\0';
}

File::File(const char *path, const char *mode) : Stream(fopen(path, mode)) {}

File::File(int fd) : Stream(fd >= 0 ? fdopen(fd, "r") : nullptr) {
  if (stream_ == nullptr && fd >= 0) ::close(fd);
}

bool File::close() {
  if (stream_ == nullptr) return true;
  FILE *closing = stream_;
  stream_ = nullptr;
  return fclose(closing) == 0;
}

Pipe::Pipe(const char *command) : Stream(popen(command, "r")) {}

Pipe::~Pipe() {
  if (stream_ != nullptr) pclose(stream_);
}

Descriptor::~Descriptor() {
  if (fd_ >= 0) close(fd_);
}

bool fileExists(const char *path) {
  return static_cast<bool>(Descriptor(open(path, O_RDONLY | O_NONBLOCK)));
}

void lockShortly(int fd) {
  constexpr int kAttempts = 1000;
  constexpr int kPauseMilliseconds = 1;
  for (int attempt = 0; attempt < kAttempts; attempt++) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
    poll(nullptr, 0, kPauseMilliseconds);
  }
}

int openOurs(const char *path, int access) {
  int fd = open(path, access | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  struct stat status;
  if (fd < 0 || (fstat(fd, &status) == 0 && isOurs(status))) return fd;
  close(fd);
  errno = EEXIST;
  return -1;
}

bool mayBeRead(const char *path, const char *folder) {
  Descriptor ours(openOurs(path));
  if (!ours && errno != ENOENT) return false;
  struct stat status;
  if (stat(folder, &status) != 0 || (status.st_mode & 022) == 0) return true;
  return ours && (status.st_mode & S_ISVTX) != 0;
}

bool claimFile(const char *path, mode_t mode) {
  // Again while somebody is quick to put the next one there, but not for ever.
  for (int attempt = 0; attempt < 1000; attempt++) {
    struct stat status;
    if (lstat(path, &status) == 0) {
      bool private_enough = (status.st_mode & 0777 & ~mode) == 0;
      if (isOurs(status)) return private_enough || chmod(path, status.st_mode & mode) == 0;
      clearAway(path);
    }
    Descriptor made(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (made) return true;
    if (errno != EEXIST) return nobodyCanMakeIt(errno);
  }
  return false;
}

void writeOurs(const char *path, const char *text) {
  if (!claimFile(path)) return;
  Descriptor file(openOurs(path, O_WRONLY));
  if (ftruncate(file.get(), 0) == 0) (void)!write(file.get(), text, strlen(text));
}

}  // namespace orba
