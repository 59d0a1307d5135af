#include "store_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

namespace nvram {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;  // in nanoseconds

[[noreturn]] void fail() {
  throw std::system_error(errno, std::generic_category());
}

struct stat statusOf(const Descriptor &file) {
  struct stat status;
  if (fstat(file.number(), &status) != 0) fail();
  return status;
}

Identity identityOf(const struct stat &status) {
  return {status.st_dev,         status.st_ino,          status.st_size,
          status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_ctim.tv_sec,
          status.st_ctim.tv_nsec};
}

// Times move by the ticks of the kernel's clock, a hundredth of a second at
// most, and on some file systems by one or two whole seconds.
bool settledAt(const timespec &now, const Identity &file) {
  const std::int64_t since = (now.tv_sec - file.changed) * kSecond + now.tv_nsec - file.changed_ns;
  const std::int64_t tick = file.changed_ns == 0 ? 3 * kSecond : kSecond / 50;
  return since > tick || since < -tick;
}

bool ours(uid_t owner) {
  return owner == geteuid() || owner == 0;
}

bool inGroup(gid_t group) {
  std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
  groups.resize(static_cast<std::size_t>(
      std::max(getgroups(static_cast<int>(groups.size()), groups.data()), 0)));
  return group == getegid() || std::find(groups.begin(), groups.end(), group) != groups.end();
}

void requireTrusted(const struct stat &folder) {
  if ((folder.st_mode & S_IWOTH) != 0) refuse(EPERM, "everyone may write to its folder");
  const bool shared = geteuid() != 0 && (folder.st_mode & S_IWGRP) != 0 && inGroup(folder.st_gid);
  if (!ours(folder.st_uid) && !shared) refuse(EPERM, "its folder belongs to somebody else");
}

// Where a link leads. Who made it decides that.
std::string targetOf(const Descriptor &link) {
  if (!ours(statusOf(link).st_uid)) refuse(EPERM, "a link to it is somebody else's");
  char target[PATH_MAX];
  const ssize_t length = readlinkat(link.number(), "", target, sizeof target);
  if (length < 0) fail();
  if (length == sizeof target) refuse(ENAMETOOLONG, "a link to it");
  return std::string(target, static_cast<std::size_t>(length));
}

// A name in a folder, or in the root folder: that is never gone through by a descriptor, since
// to an emulator of another processor it is a folder of its own.
int openNext(const std::unique_ptr<Descriptor> &folder, const std::string &name) {
  constexpr int kFlags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
  return folder ? openat(folder->number(), name.c_str(), kFlags)
                : open(('/' + name).c_str(), kFlags);
}

Descriptor orRoot(std::unique_ptr<Descriptor> folder) {
  return folder ? std::move(*folder) : Descriptor(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
}

// Goes along an absolute path name by name, to the folder of the last one. That is left
// in `path`, is no link, and need not be there.
Descriptor enterFolderOf(std::string &path) {
  constexpr int kMostLinks = 40;  // as the kernel has it
  std::unique_ptr<Descriptor> folder;
  for (int links = 0; links < kMostLinks;) {
    path.erase(0, path.find_first_not_of('/'));
    const std::string name = path.substr(0, path.find('/'));
    const bool last = path.find_first_not_of('/', name.size()) == path.npos;
    const int number = openNext(folder, name);
    if (last && number < 0 && errno == ENOENT) {
      path = name;
      return orRoot(std::move(folder));
    }
    Descriptor next(number);
    if (S_ISLNK(statusOf(next).st_mode)) {
      path.replace(0, name.size(), targetOf(next));
      if (path.front() == '/') folder.reset();
      ++links;
    } else if (last) {
      path = name;
      return orRoot(std::move(folder));
    } else {
      path.erase(0, name.size());
      folder = std::make_unique<Descriptor>(std::move(next));
    }
  }
  refuse(ELOOP, "links to it");
}

void writeAll(const Descriptor &file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(file.number(), text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      fail();
    }
  }
}

// Only root may give a file away: for anyone else it becomes their own, and
// stays with its group if they are in it. Otherwise their own group may do what
// everyone may, since it was not the one that was let in.
void keepOwnerAndMode(const Descriptor &file, const struct stat &old) {
  const auto give = [&](uid_t owner) {
    if (fchown(file.number(), owner, old.st_gid) == 0) return true;
    if (errno != EPERM) fail();
    return false;
  };
  struct stat status = statusOf(file);
  if (status.st_uid != old.st_uid || status.st_gid != old.st_gid) {
    if (!give(old.st_uid)) give(static_cast<uid_t>(-1));
    status = statusOf(file);
  }
  mode_t mode = old.st_mode & 0777;
  if (status.st_gid != old.st_gid) mode &= ~static_cast<mode_t>(S_IRWXG) | (mode & S_IRWXO) << 3;
  if (mode != (status.st_mode & 0777) && fchmod(file.number(), mode) != 0) fail();
}

// Two replacements within one tick of the file system's clock, or a clock that
// was set back, could leave a file with the inode, the size and the time of one
// that somebody has read. So the time always moves on, by the least that the
// file system can keep.
void makeYounger(const Descriptor &file, const timespec &old) {
  timespec least = old;
  if (++least.tv_nsec == kSecond) least = {old.tv_sec + 1, 0};
  const timespec later[] = {least, {old.tv_sec + 1, 0}, {old.tv_sec + 2, 0}};
  for (const timespec &next : later) {
    const timespec now = statusOf(file).st_mtim;
    if (std::pair(now.tv_sec, now.tv_nsec) > std::pair(old.tv_sec, old.tv_nsec)) return;
    const timespec times[] = {next, next};
    // Where every file is the mount's and not its maker's, times are too.
    if (futimens(file.number(), times) != 0 && errno != EPERM) fail();
  }
}

bool isShared(const std::optional<struct stat> &file) {
  return file && S_ISREG(file->st_mode) && (file->st_mode & S_IWGRP) != 0;
}

std::string lockOf(const std::string &name) {
  constexpr std::string_view kEnding = ".conf";
  return (name.ends_with(kEnding) ? name.substr(0, name.size() - kEnding.size()) : name) + ".lock";
}

}  // namespace

void refuse(int error, const char *why) {
  throw std::system_error(error, std::generic_category(), why);
}

Descriptor::Descriptor(int number) : number_(number) {
  if (number_ < 0) fail();
}

Descriptor::Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor &Descriptor::operator=(Descriptor &&other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

Descriptor::~Descriptor() {
  if (number_ >= 0) close(number_);
}

std::optional<Identity> identify(const std::string &path) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0) return identityOf(status);
  if (errno == ENOENT) return std::nullopt;
  fail();
}

std::optional<File> readFile(const std::string &path) try {
  return Place(path).read();
} catch (const std::system_error &error) {
  if (error.code() == std::errc::no_such_file_or_directory) return std::nullopt;
  throw;
}

void makeFolder(std::string folder) {
  const Descriptor within = enterFolderOf(folder);
  if (folder.empty()) return;  // the root folder
  if (mkdirat(within.number(), folder.c_str(), 0755) != 0 && errno != EEXIST) fail();
}

Place::Place(std::string path) : folder_(enterFolderOf(path)), name_(std::move(path)) {
  requireTrusted(statusOf(folder_));
}

int Place::open(const std::string &name, int flags, mode_t mode) const {
  // A FIFO would keep its opener waiting.
  const int number =
      openat(folder(), name.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode);
  if (number < 0) fail();
  struct stat status;
  const bool known = fstat(number, &status) == 0;
  if (known && S_ISREG(status.st_mode)) return number;
  if (known) errno = S_ISDIR(status.st_mode) ? EISDIR : EPERM;
  const Descriptor other(number);
  fail();
}

std::optional<struct stat> Place::look(const std::string &name) const {
  struct stat status;
  if (fstatat(folder(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return status;
  if (errno == ENOENT) return std::nullopt;
  fail();
}

std::optional<File> Place::read() const {
  if (!look(name_)) return std::nullopt;
  const Descriptor file(open(name_, O_RDONLY));
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  const struct stat status = statusOf(file);
  const Identity identity = identityOf(status);
  File result{{}, identity, settledAt(now, identity), status};
  char block[16384];
  for (;;) {
    const ssize_t got = ::read(file.number(), block, sizeof block);
    if (got == 0) return result;
    if (got > 0) {
      result.text.append(block, static_cast<std::size_t>(got));
    } else if (errno != EINTR) {
      fail();
    }
  }
}

void Place::put(const std::string &name, std::string_view text,
                const std::optional<File> &like) const {
  const std::string fresh = name + ".new";
  remove(fresh);  // what a writer that was killed left behind
  const Descriptor file(
      openat(folder(), fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  try {
    writeAll(file, text);
    if (like) keepOwnerAndMode(file, like->status);
    if (const auto old = look(name)) makeYounger(file, old->st_mtim);
    if (fsync(file.number()) != 0) fail();
    if (renameat(folder(), fresh.c_str(), folder(), name.c_str()) != 0) fail();
  } catch (...) {
    remove(fresh);
    throw;
  }
}

bool Place::remove(const std::string &name) const {
  return unlinkat(folder(), name.c_str(), 0) == 0;
}

void Place::syncNames(const Descriptor &within, const char *folder) const {
  const int number = openat(folder_.number(), folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (number < 0 && errno == EACCES) {
    // A folder that may be entered and not be listed.
    if (syncfs(within.number()) != 0) fail();
    return;
  }
  const Descriptor file(number);
  // EINVAL: a file system that has nothing to do for it.
  if (fsync(file.number()) != 0 && errno != EINVAL) fail();
}

// A file that a group may write to is locked itself, which the whole group may
// do. For any other a file beside it is, which is its maker's alone, so that
// whoever may read the settings cannot keep writers waiting.
FileLock::FileLock(const Place &place)
    : shared_(isShared(place.look(place.name()))),
      name_(shared_ ? place.name() : lockOf(place.name())),
      file_(place.open(name_, O_RDWR | (shared_ ? 0 : O_CREAT), 0600)) {
  if (flock(file_.number(), LOCK_EX | LOCK_NB) != 0) fail();
  const auto locked = place.look(name_);
  const bool is_there = locked && locked->st_ino == statusOf(file_).st_ino;
  // Somebody replaced it, or changed its mode, before the lock was ours.
  if (!is_there || isShared(place.look(place.name())) != shared_) {
    refuse(EWOULDBLOCK, "the lock moved");
  }
}

}  // namespace nvram
