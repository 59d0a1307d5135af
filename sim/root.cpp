#include "sim/root.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace sim {

namespace fs = std::filesystem;

Root::Root() {
  std::string pattern = (fs::temp_directory_path() / "orba-device-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot make a folder for the simulated device: " + pattern);
  }
  upper_ = pattern;
}

Root::~Root() {
  std::error_code ignored;
  fs::remove_all(upper_, ignored);
}

fs::path Root::upperOf(const std::string &path) const {
  // Normalised against "/", so that no number of ".." leads out of the folder.
  fs::path inside = (fs::path("/") / path).lexically_normal();
  return upper_ / inside.relative_path();
}

bool Root::inLower(const std::string &path) const {
  return !lower_.empty() && removed_.count(path) == 0 &&
         fs::exists(lower_ / (fs::path("/") / path).lexically_normal().relative_path());
}

std::string Root::forReading(const std::string &path) const {
  if (refused_.count(path) != 0) {
    errno = EACCES;
    return {};
  }
  fs::path upper = upperOf(path);
  if (!fs::exists(upper) && inLower(path)) {
    return (lower_ / (fs::path("/") / path).lexically_normal().relative_path()).string();
  }
  return upper.string();
}

std::string Root::forWriting(const std::string &path) {
  if (refused_.count(path) != 0) {
    errno = EACCES;
    return {};
  }
  fs::path upper = upperOf(path);
  std::error_code ignored;
  fs::create_directories(upper.parent_path(), ignored);
  if (!fs::exists(upper) && inLower(path)) fs::copy(forReading(path), upper, ignored);
  return upper.string();
}

void Root::write(const std::string &path, const std::string &content, bool append) {
  std::string real = forWriting(path);
  if (real.empty()) return;
  std::ofstream(real, append ? std::ios::app : std::ios::trunc) << content;
  removed_.erase(path);
}

bool Root::remove(const std::string &path) {
  bool there = fs::exists(forReading(path));
  std::error_code ignored;
  fs::remove_all(upperOf(path), ignored);
  removed_.insert(path);
  return there;
}

std::optional<std::string> Root::content(const std::string &path) const {
  std::ifstream file(forReading(path));
  if (!file) return {};
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

}  // namespace sim
