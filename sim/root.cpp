#include "sim/root.h"

#include <fcntl.h>
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

}  // namespace

Root::~Root() {
  if (upper_.empty()) return;
  // What is in a folder sorts behind it.
  for (auto path = made_.rbegin(); path != made_.rend(); ++path) ::remove(path->c_str());
  std::error_code ignored;
  if (rmdir(upper_.c_str()) != 0) fs::remove_all(upper_, ignored);
}

void Root::makeUpper() {
  if (!upper_.empty()) return;
  static const std::string folder = temporaryFolder();
  std::string pattern = folder + "/orba-device-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot make a folder for the simulated device: " + pattern);
  }
  upper_ = pattern;
}

void Root::makeFolder(const std::string &folder) {
  if (mkdir(folder.c_str(), 0777) != 0) {
    if (errno != ENOENT || folder.empty()) return;
    makeFolder(folder.substr(0, folder.rfind('/')));
    if (mkdir(folder.c_str(), 0777) != 0) return;
  }
  made_.insert(folder);
}

std::string Root::upperOf(const std::string &path) const {
  return (upper_.empty() ? "/nonexistent" : upper_) + inside(path);
}

std::string Root::lowerOf(const std::string &path) const {
  return lower_ + inside(path);
}

bool Root::inUpper(const std::string &path) const {
  return !upper_.empty() && exists(upperOf(path));
}

bool Root::inLower(const std::string &path) const {
  return !lower_.empty() && removed_.count(path) == 0 && exists(lowerOf(path));
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
  bool wanting = !lower_.empty() || every_file_;
  if (wanting && !inUpper(path)) {
    if (inLower(path)) return lowerOf(path);
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
