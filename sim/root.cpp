#include "sim/root.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

namespace sim {

namespace fs = std::filesystem;

namespace {

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

}  // namespace

Root::~Root() {
  // What is in a folder sorts behind it.
  for (auto path = made_.rbegin(); path != made_.rend(); ++path) ::remove(path->c_str());
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
  return (upper_ ? upper_->path() : "/nonexistent") + inside(path);
}

std::string Root::lowerOf(const std::string &path) const {
  return removed_.count(path) == 0 ? lower_.find(inside(path)) : "";
}

bool Root::inUpper(const std::string &path) const {
  return upper_ && exists(upperOf(path));
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
  if (!upper_) upper_.emplace("orba-device-");
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
  if (upper_ && ::unlink(real.c_str()) != 0) fs::remove_all(real, ignored);
  folders_.clear();  // whether it was one, or was in the way of one
  removed_.insert(path);
  return there;
}

std::optional<std::string> Root::content(const std::string &path) const {
  bool lower = !inUpper(path) && inLower(path);
  if (!upper_ && !lower) return {};
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
