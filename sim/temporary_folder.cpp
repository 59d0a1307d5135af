#include "sim/temporary_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <stdexcept>

namespace sim {

namespace fs = std::filesystem;

namespace {

std::string whereToPutIt() {
  const char *memory = "/dev/shm";
  return access(memory, W_OK) == 0 ? memory : fs::temp_directory_path().string();
}

// Whoever uses a folder holds its lock, however that ends. Negative when there is
// no such folder, or it is in use.
int lockFolder(const std::string &path) {
  int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0 || flock(folder, LOCK_EX | LOCK_NB) == 0) return folder;
  close(folder);
  return -1;
}

// Leaves errno as it was: the library's answers may depend on what an earlier call put there.
void removeUnused(const std::string &where, const std::string &name) {
  const int before = errno;
  std::error_code ignored;
  for (const fs::directory_entry &entry : fs::directory_iterator(where, ignored)) {
    if (!entry.path().filename().string().starts_with(name)) continue;
    struct stat status;
    if (lstat(entry.path().c_str(), &status) != 0 || status.st_uid != geteuid()) continue;
    if (int folder = lockFolder(entry.path()); folder >= 0) {
      fs::remove_all(entry.path(), ignored);
      close(folder);
    }
  }
  errno = before;
}

}  // namespace

TemporaryFolder::TemporaryFolder(const std::string &name) : owner_(getpid()) {
  const std::string where = whereToPutIt();
  static std::set<std::string> cleaned;
  if (cleaned.insert(name).second) removeUnused(where, name);
  // Again when another process has taken it for one that is not used.
  do {
    path_ = where + "/" + name + "XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make " + path_);
    lock_ = lockFolder(path_);
  } while (lock_ < 0 || access(path_.c_str(), F_OK) != 0);
}

TemporaryFolder::~TemporaryFolder() {
  close(lock_);
  if (getpid() != owner_) return;
  std::error_code ignored;
  if (rmdir(path_.c_str()) != 0) fs::remove_all(path_, ignored);
}

}  // namespace sim
