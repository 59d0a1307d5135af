#include "tests/nvram/disk.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "tests/nvram/processes.h"

namespace {

namespace fs = std::filesystem;

Disk *watching = nullptr;

std::string folderOf(const std::string &path) {
  return fs::path(path).parent_path();
}

std::string pathOf(int descriptor) {
  return fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
}

std::string pathOf(int folder, const char *name) {
  return pathOf(folder) + '/' + name;
}

}  // namespace

Disk::Disk(std::string folder) : folder_(std::move(folder)) {
  const auto add = [this](const std::string &path, const std::string &data) {
    names_[path] = all_.size();
    all_.push_back({data, data.size()});
  };
  if (fs::exists(folder_)) {
    add(folder_, "");
    for (const auto &file : fs::directory_iterator(folder_)) {
      add(file.path(), StoreFolder::contents(file.path()));
    }
  }
  watching = this;
}

Disk::~Disk() {
  watching = nullptr;
}

Disk::Files Disk::filesOf(const Names &names) const {
  Files files;
  if (names.count(folder_) == 0) return files;  // they are lost with it
  for (const auto &[path, place] : names) {
    if (path != folder_) files[fs::path(path).filename()] = all_[place].data;
  }
  return files;
}

void Disk::apply(const Change &change, Names &names) {
  for (const auto &[path, place] : change) {
    names.erase(path);
    if (place) names[path] = *place;
  }
}

Disk::Names Disk::namesNow() const {
  Names names = names_;
  for (const Change &change : changes_) apply(change, names);
  return names;
}

void Disk::cutThePower() {
  if (stays_on_) return;
  File *torn = nullptr;
  for (File &file : all_) {
    if (file.durable == file.data.size()) continue;
    if (torn != nullptr) throw std::logic_error("two files are being written at once");
    torn = &file;
  }
  for (unsigned kept = 0; kept < 1u << changes_.size(); ++kept) {
    Names names = names_;
    for (std::size_t i = 0; i < changes_.size(); ++i) {
      if ((kept >> i & 1) != 0) apply(changes_[i], names);
    }
    left_behind_[filesOf(names)] |= acknowledged_;
    if (torn == nullptr) continue;
    const std::string whole = torn->data;
    for (std::size_t length = torn->durable; length < whole.size(); ++length) {
      for (const std::size_t zeros : {std::size_t{0}, whole.size() - length}) {
        torn->data = whole.substr(0, length) + std::string(zeros, '\0');
        left_behind_[filesOf(names)] |= acknowledged_;
      }
    }
    torn->data = whole;
  }
}

bool Disk::durable() const {
  return changes_.empty() && std::all_of(names_.begin(), names_.end(), [this](const auto &name) {
           return all_[name.second].durable == all_[name.second].data.size();
         });
}

void Disk::acknowledge() {
  acknowledged_ = true;
  cutThePower();
}

void Disk::change(const Change &change) {
  changes_.push_back(change);
  cutThePower();
}

void Disk::made(const std::string &path) {
  all_.push_back({});
  change({{path, all_.size() - 1}});
}

void Disk::renamed(const std::string &from, const std::string &to) {
  change({{to, namesNow().at(from)}, {from, std::nullopt}});
}

void Disk::removed(const std::string &path) {
  change({{path, std::nullopt}});
}

void Disk::wrote(int descriptor, std::string_view bytes) {
  all_[namesNow().at(pathOf(descriptor))].data += bytes;
  cutThePower();
}

void Disk::synced(int descriptor) {
  const std::string path = pathOf(descriptor);
  if (fs::is_directory(path)) {
    std::erase_if(changes_, [&](const Change &change) {
      const bool here = folderOf(change.begin()->first) == path;
      if (here) apply(change, names_);
      return here;
    });
  } else {
    File &file = all_[namesNow().at(path)];
    file.durable = file.data.size();
  }
  cutThePower();
}

void Disk::looked(struct stat &status) const {
  if (tick_ == 0) return;
  status.st_ino = 1;
  for (timespec *time : {&status.st_mtim, &status.st_ctim}) {
    *time = {time->tv_sec / tick_ * tick_, 0};
  }
}

void Disk::syncedAll() {
  for (const Change &change : std::exchange(changes_, {})) apply(change, names_);
  for (File &file : all_) file.durable = file.data.size();
  cutThePower();
}

void Disk::fail(int call, int error, bool for_good) {
  calls_ = 0;
  failing_ = call;
  error_ = error;
  stays_on_ = true;
  for_good_ = for_good;
}

bool Disk::fails(bool can_be_halved) {
  const int call = calls_++;
  if (call != failing_ && !(for_good_ && call > failing_)) return false;
  errno = error_;
  return error_ != 0 || can_be_halved;
}

// The linker gives the store's calls these names, and the C library's own the
// names __real_ (--wrap). NOLINTBEGIN(bugprone-reserved-identifier)

#define WITH_REAL(result, call, ...) \
  result __real_##call(__VA_ARGS__); \
  result __wrap_##call(__VA_ARGS__)

namespace {

// What `real` returns, unless it is to fail; `done` tells the disk.
template <typename Real, typename Done>
int watched(Real real, Done done) {
  if (watching == nullptr) return real();
  if (watching->fails(false)) return -1;
  const int result = real();
  if (result >= 0) done(*watching);
  return result;
}

template <typename Real>
int watched(Real real) {
  return watched(real, [](Disk &) {});
}

// Whether a read or a write of `size` may be made, if of the half.
bool mayMove(size_t &size) {
  if (watching == nullptr || !watching->fails(true)) return true;
  size = (size + 1) / 2;
  return errno == 0;
}

}  // namespace

// Visible, since the libraries that the program links ask for the same calls.
#pragma GCC visibility push(default)
extern "C" {

WITH_REAL(int, open, const char *path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return watched([&] { return __real_open(path, flags, mode); });
}

WITH_REAL(int, openat, int folder, const char *name, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  const bool fresh = (flags & O_CREAT) != 0 && faccessat(folder, name, F_OK, 0) != 0;
  return watched([&] { return __real_openat(folder, name, flags, mode); },
                 [&](Disk &disk) {
                   if (fresh) disk.made(pathOf(folder, name));
                 });
}

WITH_REAL(int, mkdirat, int folder, const char *name, mode_t mode) {
  return watched([&] { return __real_mkdirat(folder, name, mode); },
                 [&](Disk &disk) { disk.made(pathOf(folder, name)); });
}

WITH_REAL(int, unlinkat, int folder, const char *name, int flags) {
  return watched([&] { return __real_unlinkat(folder, name, flags); },
                 [&](Disk &disk) { disk.removed(pathOf(folder, name)); });
}

WITH_REAL(int, renameat, int folder, const char *from, int to_folder, const char *to) {
  return watched([&] { return __real_renameat(folder, from, to_folder, to); },
                 [&](Disk &disk) { disk.renamed(pathOf(folder, from), pathOf(to_folder, to)); });
}

// Nothing here is to outlive the machine, so a watched sync is only noted.
WITH_REAL(int, fsync, int file) {
  if (watching == nullptr) return __real_fsync(file);
  return watched([] { return 0; }, [&](Disk &disk) { disk.synced(file); });
}

WITH_REAL(int, syncfs, int file) {
  if (watching == nullptr) return __real_syncfs(file);
  return watched([] { return 0; }, [](Disk &disk) { disk.syncedAll(); });
}

WITH_REAL(int, stat, const char *path, struct stat *status) {
  return watched([&] { return __real_stat(path, status); },
                 [&](Disk &disk) { disk.looked(*status); });
}

WITH_REAL(int, fstat, int file, struct stat *status) {
  return watched([&] { return __real_fstat(file, status); },
                 [&](Disk &disk) { disk.looked(*status); });
}

WITH_REAL(int, fstatat, int folder, const char *name, struct stat *status, int flags) {
  return watched([&] { return __real_fstatat(folder, name, status, flags); },
                 [&](Disk &disk) { disk.looked(*status); });
}

WITH_REAL(ssize_t, readlinkat, int folder, const char *name, char *text, size_t size) {
  return watched([&] { return static_cast<int>(__real_readlinkat(folder, name, text, size)); });
}

WITH_REAL(int, fchown, int file, uid_t user, gid_t group) {
  return watched([&] { return __real_fchown(file, user, group); });
}

WITH_REAL(int, fchmod, int file, mode_t mode) {
  return watched([&] { return __real_fchmod(file, mode); });
}

WITH_REAL(int, futimens, int file, const timespec *times) {
  return watched([&] {
    if (watching == nullptr || watching->keepsTimes()) return __real_futimens(file, times);
    errno = EPERM;
    return -1;
  });
}

WITH_REAL(int, clock_gettime, clockid_t clock, timespec *now) {
  const int result = __real_clock_gettime(clock, now);
  if (watching != nullptr) watching->told(*now);
  return result;
}

WITH_REAL(int, flock, int file, int operation) {
  if (watching != nullptr && watching->before_lock) std::exchange(watching->before_lock, {})();
  return watched([&] { return __real_flock(file, operation); });
}

WITH_REAL(ssize_t, read, int file, void *bytes, size_t size) {
  return mayMove(size) ? __real_read(file, bytes, size) : -1;
}

WITH_REAL(ssize_t, write, int file, const void *bytes, size_t size) {
  const ssize_t written = mayMove(size) ? __real_write(file, bytes, size) : -1;
  if (watching != nullptr && written > 0) {
    watching->wrote(file, {static_cast<const char *>(bytes), static_cast<size_t>(written)});
  }
  return written;
}

}  // extern "C"
#pragma GCC visibility pop
// NOLINTEND(bugprone-reserved-identifier)
