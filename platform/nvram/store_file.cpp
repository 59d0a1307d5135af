#include "store_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace nvram {
namespace {

[[noreturn]] void fail(const std::string &path) {
  throw std::system_error(errno, std::generic_category(), path);
}

Identity identityOf(const struct stat &status) {
  return {status.st_dev, status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec,
          status.st_size};
}

Identity identityOf(const Descriptor &file, const std::string &path) {
  struct stat status;
  if (fstat(file.number(), &status) != 0) fail(path);
  return identityOf(status);
}

void writeAll(const Descriptor &file, std::string_view text, const std::string &path) {
  while (!text.empty()) {
    const ssize_t written = write(file.number(), text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      fail(path);
    }
  }
}

// Two replacements within one tick of the file system's clock could leave a
// file with the inode, the size and the time of the one before the last. So
// the time always moves on.
void makeYounger(const Descriptor &file, const struct stat &old, const std::string &path) {
  const Identity now = identityOf(file, path);
  const Identity before = identityOf(old);
  if (std::pair(now.seconds, now.nanoseconds) > std::pair(before.seconds, before.nanoseconds)) {
    return;
  }
  timespec next = old.st_mtim;
  if (++next.tv_nsec == 1'000'000'000) {
    ++next.tv_sec;
    next.tv_nsec = 0;
  }
  const timespec times[] = {next, next};
  if (futimens(file.number(), times) != 0) fail(path);
}

void takeAfter(const Descriptor &file, const std::string &old, const std::string &path) {
  struct stat status;
  if (stat(old.c_str(), &status) != 0) {
    if (errno == ENOENT) return;
    fail(old);
  }
  // Only root may give a file away; for anyone else it becomes their own.
  if (fchown(file.number(), status.st_uid, status.st_gid) != 0 && errno != EPERM) fail(path);
  if (fchmod(file.number(), status.st_mode & 0777) != 0) fail(path);
  makeYounger(file, status, path);
}

}  // namespace

Descriptor::Descriptor(const std::string &path, int flags, mode_t mode)
    : number_(open(path.c_str(), flags | O_CLOEXEC, mode)) {
  if (number_ < 0) fail(path);
}

Descriptor::~Descriptor() {
  close(number_);
}

std::optional<Identity> identify(const std::string &path) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0) return identityOf(status);
  if (errno == ENOENT) return std::nullopt;
  fail(path);
}

std::optional<File> readFile(const std::string &path) try {
  const Descriptor file(path, O_RDONLY);
  File result{{}, identityOf(file, path)};
  char block[16384];
  for (;;) {
    const ssize_t got = read(file.number(), block, sizeof block);
    if (got == 0) return result;
    if (got > 0) {
      result.text.append(block, static_cast<std::size_t>(got));
    } else if (errno != EINTR) {
      fail(path);
    }
  }
} catch (const std::system_error &error) {
  if (error.code() == std::errc::no_such_file_or_directory) return std::nullopt;
  throw;
}

Identity replaceFile(const std::string &path, std::string_view text) {
  const std::string fresh = path + ".new";
  unlink(fresh.c_str());  // what a writer that was killed left behind
  const Descriptor file(fresh, O_WRONLY | O_CREAT | O_EXCL, 0600);
  try {
    writeAll(file, text, fresh);
    takeAfter(file, path, fresh);
    if (fsync(file.number()) != 0) fail(fresh);
    if (rename(fresh.c_str(), path.c_str()) != 0) fail(path);
  } catch (...) {
    unlink(fresh.c_str());
    throw;
  }
  syncName(path);
  return identityOf(file, path);
}

void makeFolder(const std::string &folder) {
  if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) fail(folder);
}

void syncName(const std::string &path) {
  const auto slash = path.rfind('/');
  const std::string folder = slash == path.npos ? "." : path.substr(0, slash + 1);
  const Descriptor file(folder, O_RDONLY | O_DIRECTORY);
  if (fsync(file.number()) != 0) fail(folder);
}

FileLock::FileLock(const std::string &path) : file_(path, O_RDWR | O_CREAT, 0600) {
  while (flock(file_.number(), LOCK_EX) != 0) {
    if (errno != EINTR) fail(path);
  }
}

}  // namespace nvram
