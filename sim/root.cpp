#include "sim/root.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace sim {

namespace fs = std::filesystem;

namespace {

// Memory, where there is some to be had as a folder; tests make thousands of these.
fs::path temporaryFolder() {
  const char *memory = "/dev/shm";
  return access(memory, W_OK) == 0 ? fs::path(memory) : fs::temp_directory_path();
}

}  // namespace

Root::~Root() {
  std::error_code ignored;
  if (!upper_.empty()) fs::remove_all(upper_, ignored);
}

void Root::makeUpper() {
  if (!upper_.empty()) return;
  std::string pattern = (temporaryFolder() / "orba-device-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot make a folder for the simulated device: " + pattern);
  }
  upper_ = pattern;
}

fs::path Root::upperOf(const std::string &path) const {
  // Normalised against "/", so that no number of ".." leads out of the folder.
  fs::path inside = (fs::path("/") / path).lexically_normal();
  return (upper_.empty() ? "/nonexistent" : upper_) / inside.relative_path();
}

fs::path Root::lowerOf(const std::string &path) const {
  return lower_ / (fs::path("/") / path).lexically_normal().relative_path();
}

bool Root::inLower(const std::string &path) const {
  return !lower_.empty() && removed_.count(path) == 0 && fs::exists(lowerOf(path));
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
  fs::path upper = upperOf(path);
  if (!fs::exists(upper) && inLower(path)) {
    return lowerOf(path).string();
  }
  if (every_file_ && !fs::exists(upper)) {
    write(path, *every_file_);
    return upperOf(path).string();
  }
  return upper.string();
}

std::string Root::forWriting(const std::string &path) {
  if (refused_.count(path) != 0) {
    errno = EACCES;
    return {};
  }
  makeUpper();
  fs::path upper = upperOf(path);
  std::error_code ignored;
  fs::create_directories(upper.parent_path(), ignored);
  if (!fs::exists(upper) && inLower(path)) fs::copy(lowerOf(path), upper, ignored);
  return upper.string();
}

void Root::write(const std::string &path, const std::string &content, bool append) {
  std::string real = forWriting(path);
  if (real.empty()) return;
  std::ofstream(real, append ? std::ios::app : std::ios::trunc) << content;
  removed_.erase(path);
}

bool Root::remove(const std::string &path) {
  bool there = fs::exists(upperOf(path)) || inLower(path);
  std::error_code ignored;
  if (!upper_.empty()) fs::remove_all(upperOf(path), ignored);
  removed_.insert(path);
  return there;
}

std::optional<std::string> Root::content(const std::string &path) const {
  fs::path real = upperOf(path);
  if (!fs::exists(real) && inLower(path)) real = lowerOf(path);
  std::ifstream file(real);
  if (!file) return {};
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

}  // namespace sim
