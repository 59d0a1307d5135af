#include "sim/lower_folder.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace sim {

namespace {

// What there is at the end of a path, one name after the other: where the kernel,
// or the emulator, does not know how to stay within a folder. No links then.
int walk(int folder, const std::string &path) {
  int here = fcntl(folder, F_DUPFD_CLOEXEC, 0);
  for (size_t at = 0; here >= 0 && (at = path.find_first_not_of('/', at)) != std::string::npos;) {
    size_t end = std::min(path.find('/', at), path.size());
    int next = openat(here, path.substr(at, end - at).c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    close(here);
    here = next;
    at = end;
  }
  return here;
}

int openWithin(int folder, const std::string &path) {
  open_how how = {};
  how.flags = O_PATH | O_CLOEXEC;
  how.resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
  long found = syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how);
  return found < 0 && errno == ENOSYS ? walk(folder, path) : static_cast<int>(found);
}

}  // namespace

LowerFolder::~LowerFolder() {
  if (folder_ >= 0) close(folder_);
}

void LowerFolder::open(const std::string &folder) {
  if (folder_ >= 0) close(folder_);
  folder_ = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
}

std::string LowerFolder::find(const std::string &path) const {
  if (folder_ < 0) return {};
  int found = openWithin(folder_, path);
  if (found < 0) return {};
  char real[PATH_MAX];
  struct stat status;
  ssize_t length = readlink(("/proc/self/fd/" + std::to_string(found)).c_str(), real, sizeof real);
  bool usable = fstat(found, &status) == 0 && (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
  close(found);
  return usable && length > 0 ? std::string(real, static_cast<size_t>(length)) : "";
}

}  // namespace sim
