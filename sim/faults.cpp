#include "sim/faults.h"

#include <map>

namespace sim {

namespace {

struct Row {
  long answer;
  std::vector<int> errors;
  bool halves = false;   // may also do a part of its work
  bool lets_go = false;  // gives back what it was given even when it fails
};

// Calls that are not listed cannot fail.
const std::map<std::string, Row> kRows = {
    {"system", {-1, {ENOMEM}}},
    {"popen", {0, {EMFILE}}},
    {"pclose", {-1, {ECHILD}, false, true}},
    {"kill", {-1, {ESRCH}}},
    {"open", {-1, {EMFILE, EINTR}}},
    {"close", {-1, {EIO}, false, true}},
    {"read", {-1, {EIO, EINTR}, true}},
    {"write", {-1, {ENOSPC, EINTR}, true}},
    {"fopen", {0, {EMFILE}}},
    {"fdopen", {0, {ENOMEM}}},
    {"fclose", {-1, {ENOSPC}, false, true}},
    {"fflush", {-1, {ENOSPC}}},
    {"fgets", {0, {EIO}}},
    {"fread", {0, {EIO}, true}},
    {"fscanf", {-1, {EIO}}},
    {"fprintf", {-1, {ENOSPC}}},
    {"fwrite", {0, {ENOSPC}, true}},
    {"unlink", {-1, {EROFS}}},
    {"rename", {-1, {EROFS}}},
    {"opendir", {0, {ENOMEM}}},
    {"readdir", {0, {EIO}}},
    {"closedir", {-1, {EIO}, false, true}},
    {"access", {-1, {EIO}}},
    {"stat", {-1, {EIO}}},
    {"lstat", {-1, {EIO}}},
    {"fstat", {-1, {EIO}}},
    {"mkdir", {-1, {EROFS}}},
    {"mkdtemp", {-1, {EROFS}}},
    {"rmdir", {-1, {EROFS}}},
    {"chmod", {-1, {EROFS}}},
    {"fchmod", {-1, {EPERM}}},
    {"truncate", {-1, {EROFS}}},
    {"ftruncate", {-1, {EIO}}},
    {"fsync", {-1, {EIO}}},
    {"flock", {-1, {ENOLCK, EINTR}}},
    {"mmap", {-1, {ENOMEM}}},
    {"socket", {-1, {EMFILE}}},
    {"ioctl", {-1, {EIO, EAGAIN, E2BIG, EINTR}}},
    {"sysinfo", {-1, {EFAULT}}},
    {"setitimer", {-1, {EINVAL}}},
    {"signal", {-1, {EINVAL}}},
    {"sleep", {1, {EINTR}}},  // the seconds that were left
    {"usleep", {-1, {EINTR}}},
    {"nanosleep", {-1, {EINTR}}},
    {"localtime", {0, {EOVERFLOW}}},
    {"localtime_r", {0, {EOVERFLOW}}},
    {"ctime_r", {0, {EOVERFLOW}}},
    {"malloc", {0, {ENOMEM}}},
    {"calloc", {0, {ENOMEM}}},
    {"strdup", {0, {ENOMEM}}},
    {"nvram_get", {0, {EIO}}},
    {"nvram_bufget", {0, {EIO}}},
    {"nvram_set", {-1, {EIO}}},
    {"nvram_bufset", {-1, {ENOMEM}}},
    {"nvram_commit", {-1, {EIO}}},
    {"shmget", {-1, {ENOSPC}}},
    {"shmat", {-1, {EMFILE}}},
    {"shmdt", {-1, {EINVAL}}},
    {"shmctl", {-1, {EPERM}}},
    {"semget", {-1, {ENOSPC}}},
    {"semop", {-1, {EIDRM, EINTR}}},
    {"semtimedop", {-1, {EIDRM, EINTR}}},
    {"semctl", {-1, {EACCES}}},
};

const Row *rowOf(const std::string &call) {
  auto found = kRows.find(call);
  return found != kRows.end() ? &found->second : nullptr;
}

}  // namespace

size_t Faults::ways(const std::string &call) {
  const Row *row = rowOf(call);
  return row == nullptr ? 0 : row->errors.size() + (row->halves ? 1 : 0);
}

bool Faults::interrupts(const std::string &call, size_t way) {
  const Row *row = rowOf(call);
  return row != nullptr && way < row->errors.size() && row->errors[way] == EINTR;
}

Failure Faults::failure(const std::string &call, size_t way) {
  const Row &row = kRows.at(call);
  return {row.answer, row.errors.at(way)};
}

void Faults::fail(size_t number, Span span, size_t way) {
  first_ = calls_.size() + number;
  span_ = span;
  way_ = way;
}

Faults::Course Faults::next(const char *call) {
  if (limited() && calls_.size() >= limit_) throw Endless("too many calls");
  calls_.push_back(call);
  size_t number = calls_.size();
  if (watcher_) watcher_(number);
  half_ = false;
  if (first_ == 0 || number < first_) return kWork;
  if (number == first_) same_ = call;
  bool meant =
      number == first_ || span_ == kEverything || (span_ == kEverySuchCall && same_ == call);
  const Row *row = rowOf(call);
  if (!meant || row == nullptr) return kWork;
  if (number != first_ && interrupts(call, 0)) return kWork;
  failed_.insert(call);
  half_ = span_ != kEverything && way_ == row->errors.size();
  return half_ ? kWork : row->lets_go ? kWorkAndFail : kFail;
}

}  // namespace sim
