#include "sim/root.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace sim {

namespace fs = std::filesystem;

namespace {

// Memory, where there is some to be had as a folder; tests make thousands of these.
std::string temporaryFolder() {
  const char *memory = "/dev/shm";
  return access(memory, W_OK) == 0 ? memory : fs::temp_directory_path().string();
}

bool exists(const std::string &path) {
  return access(path.c_str(), F_OK) == 0;
}

// Normalised against "/", so that no number of ".." leads out of a folder.
std::string inside(const std::string &path) {
  bool normal = !path.empty() && path[0] == '/' && path.find("//") == std::string::npos &&
                path.find("/.") == std::string::npos;
  return normal ? path : (fs::path("/") / path).lexically_normal().string();
}

void writeAll(int fd, const std::string &content) {
  for (size_t done = 0; done < content.size();) {
    ssize_t now = ::write(fd, content.data() + done, content.size() - done);
    if (now < 0) return;
    done += static_cast<size_t>(now);
  }
}

constexpr char kName[] = "orba-device-";

// Whoever uses a folder holds its lock, however that ends. Negative when there is
// no such folder, or it is in use.
int lockFolder(const std::string &path) {
  int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0 || flock(folder, LOCK_EX | LOCK_NB) == 0) return folder;
  close(folder);
  return -1;
}

// What runs that were killed have left behind.
void removeUnused(const std::string &where) {
  std::error_code ignored;
  for (const fs::directory_entry &entry : fs::directory_iterator(where, ignored)) {
    if (!entry.path().filename().string().starts_with(kName)) continue;
    struct stat status;
    if (lstat(entry.path().c_str(), &status) != 0 || status.st_uid != geteuid()) continue;
    if (int folder = lockFolder(entry.path()); folder >= 0) {
      fs::remove_all(entry.path(), ignored);
      close(folder);
    }
  }
}

}  // namespace

Root::~Root() {
  if (upper_.empty()) return;
  close(lock_);
  // What is in a folder sorts behind it.
  for (auto path = made_.rbegin(); path != made_.rend(); ++path) ::remove(path->c_str());
  std::error_code ignored;
  if (rmdir(upper_.c_str()) != 0) fs::remove_all(upper_, ignored);
}

void Root::makeUpper() {
  if (!upper_.empty()) return;
  static const std::string where = temporaryFolder();
  static const bool cleaned = (removeUnused(where), true);
  (void)cleaned;
  std::string pattern = where + "/" + kName + "XXXXXX";
  // Another process may have taken it for one that is not used.
  do {
    pattern.replace(pattern.size() - 6, 6, "XXXXXX");
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("cannot make a folder for the simulated device: " + pattern);
    }
    lock_ = lockFolder(pattern);
  } while (lock_ < 0 || !exists(pattern));
  upper_ = pattern;
}

void Root::makeFolder(const std::string &folder) {
  if (!folders_.insert(folder).second) return;
  int result = mkdir(folder.c_str(), 0777);
  if (result != 0 && errno == ENOENT && !folder.empty()) {
    makeFolder(folder.substr(0, folder.rfind('/')));
    result = mkdir(folder.c_str(), 0777);
  }
  if (result == 0) made_.insert(folder);
}

std::string Root::upperOf(const std::string &path) const {
  return (upper_.empty() ? "/nonexistent" : upper_) + inside(path);
}

std::string Root::lowerOf(const std::string &path) const {
  return removed_.count(path) == 0 ? lower_.find(inside(path)) : "";
}

bool Root::inUpper(const std::string &path) const {
  return !upper_.empty() && exists(upperOf(path));
}

bool Root::inLower(const std::string &path) const {
  return !lowerOf(path).empty();
}

std::string Root::forReading(const std::string &path) {
  looked_.insert(path);
  return whereverItIs(path);
}

std::string Root::whereverItIs(const std::string &path) {
  if (refused_.count(path) != 0) {
    errno = EACCES;
    return {};
  }
  bool wanting = lower_.opened() || every_file_;
  if (wanting && !inUpper(path)) {
    if (std::string lower = lowerOf(path); !lower.empty()) return lower;
    if (every_file_) write(path, *every_file_);
  }
  return upperOf(path);
}

std::string Root::forWriting(const std::string &path) {
  if (refused_.count(path) != 0) {
    errno = EACCES;
    return {};
  }
  makeUpper();
  std::string upper = upperOf(path);
  makeFolder(upper.substr(0, upper.rfind('/')));
  made_.insert(upper);
  std::error_code ignored;
  if (inLower(path) && !exists(upper)) fs::copy(lowerOf(path), upper, ignored);
  return upper;
}

void Root::write(const std::string &path, const std::string &content, bool append) {
  std::string real = forWriting(path);
  if (real.empty()) return;
  int fd = open(real.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC), 0666);
  if (fd >= 0) {
    writeAll(fd, content);
    close(fd);
  }
  removed_.erase(path);
}

bool Root::remove(const std::string &path) {
  bool there = inUpper(path) || inLower(path);
  std::string real = upperOf(path);
  std::error_code ignored;
  if (!upper_.empty() && ::unlink(real.c_str()) != 0) fs::remove_all(real, ignored);
  folders_.clear();  // whether it was one, or was in the way of one
  removed_.insert(path);
  return there;
}

std::optional<std::string> Root::content(const std::string &path) const {
  bool lower = !inUpper(path) && inLower(path);
  if (upper_.empty() && !lower) return {};
  int fd = open((lower ? lowerOf(path) : upperOf(path)).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return {};
  std::string content;
  char block[4096];
  for (ssize_t now; (now = read(fd, block, sizeof block)) > 0;) {
    content.append(block, static_cast<size_t>(now));
  }
  close(fd);
  return content;
}

}  // namespace sim
