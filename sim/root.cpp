#include "sim/root.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "sim/temporary_folder.h"

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

// Whether a path is a folder's or of what is in it.
bool isWithin(const std::string &folder, const std::string &path) {
  return path.starts_with(folder) &&
         (path.size() == folder.size() || folder == "/" || path[folder.size()] == '/');
}

void writeFile(const std::string &path, const std::string &content, int flags) {
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0666);
  if (fd < 0) return;
  for (size_t done = 0; done < content.size();) {
    ssize_t now = ::write(fd, content.data() + done, content.size() - done);
    if (now < 0) break;
    done += static_cast<size_t>(now);
  }
  close(fd);
}

std::set<Root *> &roots() {
  static std::set<Root *> all;
  return all;
}

void shareAll() {
  for (Root *root : roots()) root->share();
}

// This process's folder, for all roots; it is there before anybody counts descriptors, and
// again when the process has gone where other files are.
const std::string &sharedFolder(bool again = false) {
  static std::optional<TemporaryFolder> folder;
  if (!folder || again) folder.emplace("orba-device-");
  return folder->path();
}

// A process that was forked from this one counts on by itself.
std::string makeOwnFolder() {
  static unsigned count = 0;
  std::string path;
  for (bool again : {false, true}) {
    do {
      path = sharedFolder(again && errno == ENOENT) + "/" + std::to_string(count++);
      if (mkdir(path.c_str(), 0777) == 0) return path;
    } while (errno == EEXIST);
  }
  throw std::runtime_error("cannot make " + path);
}

}  // namespace

Root::Root() {
  static const int watched = pthread_atfork(shareAll, nullptr, nullptr);
  (void)watched;
  roots().insert(this);
  sharedFolder();
}

Root::~Root() {
  roots().erase(this);
  clearUpper();
}

void Root::clearUpper() {
  if (upper_.empty()) return;
  // What is in a folder sorts behind it.
  for (auto path = made_.rbegin(); path != made_.rend(); ++path) ::remove(path->c_str());
  std::error_code ignored;
  if (rmdir(upper_.c_str()) != 0) fs::remove_all(upper_, ignored);
  upper_.clear();
  told_.clear();
  folders_.clear();
  made_.clear();
}

void Root::share() {
  shared_ = true;
  kept_.reset();
  layOut("/");
}

void Root::keep() {
  if (upper_.empty() && !shared_) kept_ = {in_memory_, removed_};
}

bool Root::startOver() {
  if (!kept_) return false;
  clearUpper();
  in_memory_ = kept_->in_memory;
  removed_ = kept_->removed;
  looked_.clear();
  return true;
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

bool Root::inLower(const std::string &path) const {
  return !lowerOf(path).empty();
}

// Where nobody looks who has been told a place, nothing is in the way, and nothing of it is
// anywhere else.
bool Root::staysInMemory(const std::string &path, bool append) const {
  const std::string file = inside(path);
  if (shared_ || made_.count(upperOf(path)) != 0 || (append && inLower(path))) return false;
  auto knows = [&](const std::string &told) { return isWithin(told, file); };
  if (std::any_of(told_.begin(), told_.end(), knows)) return false;
  return std::none_of(in_memory_.begin(), in_memory_.end(), [&](const auto &other) {
    return other.first != file && (isWithin(other.first, file) || isWithin(file, other.first));
  });
}

// The file, those in the folder that it may be, and what is a file where it needs a folder.
void Root::layOut(const std::string &path) {
  const std::string wanted = inside(path);
  for (auto file = in_memory_.begin(); file != in_memory_.end();) {
    const auto &[name, content] = *file;
    if (isWithin(wanted, name) || isWithin(name, wanted)) {
      writeOut(name, content, false);
      file = in_memory_.erase(file);
    } else {
      ++file;
    }
  }
  if (!upper_.empty()) told_.insert(wanted);
}

void Root::writeOut(const std::string &path, const std::string &content, bool append) {
  writeFile(placeFor(path), content, append ? O_APPEND : O_TRUNC);
}

std::string Root::placeFor(const std::string &path) {
  if (upper_.empty()) upper_ = makeOwnFolder();
  std::string upper = upperOf(path);
  makeFolder(upper.substr(0, upper.rfind('/')));
  made_.insert(upper);
  return upper;
}

std::string Root::forReading(const std::string &path) {
  looked_.insert(path);
  return whereverItIs(path);
}

const std::string *Root::textForReading(const std::string &path) {
  if (refused_.count(path) != 0) return nullptr;
  const auto file = in_memory_.find(inside(path));
  if (file == in_memory_.end()) return nullptr;
  looked_.insert(path);
  return &file->second;
}

bool Root::emptyInMemory(const std::string &path) {
  const auto file = in_memory_.find(inside(path));
  if (file == in_memory_.end() || refused_.count(path) != 0) return false;
  file->second.clear();
  return true;
}

bool Root::mayHold(const std::string &path) const {
  if (!upper_.empty() || lower_.opened() || every_file_ || refused_.count(path) != 0) return true;
  const std::string wanted = inside(path);
  return std::any_of(in_memory_.begin(), in_memory_.end(), [&](const auto &file) {
    return isWithin(wanted, file.first) || isWithin(file.first, wanted);
  });
}

std::string Root::whereverItIs(const std::string &path) {
  if (refused_.count(path) != 0) {
    errno = EACCES;
    return {};
  }
  layOut(path);
  if (!lower_.opened() && !every_file_) return upperOf(path);
  if (upper_.empty() || !exists(upperOf(path))) {
    if (std::string lower = lowerOf(path); !lower.empty()) return lower;
    if (every_file_) {
      writeOut(path, *every_file_, false);
      removed_.erase(path);
      told_.insert(inside(path));
    }
  }
  return upperOf(path);
}

std::string Root::forWriting(const std::string &path) {
  if (refused_.count(path) != 0) {
    errno = EACCES;
    return {};
  }
  layOut(path);
  std::string upper = placeFor(path);
  told_.insert(inside(path));
  std::error_code ignored;
  if (inLower(path) && !exists(upper)) fs::copy(lowerOf(path), upper, ignored);
  return upper;
}

void Root::write(const std::string &path, const std::string &content, bool append) {
  if (staysInMemory(path, append) && refused_.count(path) == 0) {
    std::string &file = in_memory_[inside(path)];
    append ? file += content : file = content;
  } else if (std::string real = forWriting(path); !real.empty()) {
    writeFile(real, content, append ? O_APPEND : O_TRUNC);
  } else {
    return;
  }
  removed_.erase(path);
}

bool Root::remove(const std::string &path) {
  bool there = inLower(path);
  const std::string gone = inside(path);
  there |=
      std::erase_if(in_memory_, [&](const auto &file) { return isWithin(gone, file.first); }) > 0;
  if (!upper_.empty()) {
    std::error_code ignored;
    std::string real = upperOf(path);
    bool on_disk =
        ::unlink(real.c_str()) == 0 || (errno != ENOENT && fs::remove_all(real, ignored) > 0);
    if (on_disk) folders_.clear();  // whether it was one, or was in the way of one
    there |= on_disk;
  }
  removed_.insert(path);
  return there;
}

std::optional<std::string> Root::content(const std::string &path) const {
  if (auto file = in_memory_.find(inside(path)); file != in_memory_.end()) return file->second;
  int fd = upper_.empty() ? -1 : open(upperOf(path).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 && lower_.opened()) fd = open(lowerOf(path).c_str(), O_RDONLY | O_CLOEXEC);
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
