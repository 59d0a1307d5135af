#include "sim/own_system_v.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

namespace sim {

namespace {

constexpr int kLargestValue = 32767;

int fail(int error) {
  errno = error;
  return -1;
}

}  // namespace

int OwnSystemV::obtain(Object &object, bool well_sized, bool may_be_made, int flags) {
  if (object.id == 0) {
    if ((flags & IPC_CREAT) == 0) return fail(ENOENT);
    if (!may_be_made) return fail(EINVAL);
    object.id = ++last_id_;
    object.permissions.mode = static_cast<decltype(object.permissions.mode)>(flags & 0777);
    object.permissions.uid = object.permissions.cuid = geteuid();
    return object.id;
  }
  if ((flags & IPC_CREAT) != 0 && (flags & IPC_EXCL) != 0) return fail(EEXIST);
  return well_sized ? object.id : fail(EINVAL);
}

int OwnSystemV::segment(size_t size, int flags) {
  bool is_new = segment_.id == 0;
  int id = obtain(segment_, size <= size_, size > 0, flags);
  if (is_new && id > 0) {
    const size_t page = static_cast<size_t>(getpagesize());  // what is attached are whole ones
    memory_.reset(new char[(size + page - 1) / page * page]());
    size_ = size;
  }
  return id;
}

void *OwnSystemV::attach(int id) {
  if (id <= 0 || id != segment_.id)
    return reinterpret_cast<void *>(static_cast<intptr_t>(fail(EINVAL)));
  attached_.push_back(memory_);
  return memory_.get();
}

int OwnSystemV::detach(const void *address) {
  auto found = std::find_if(attached_.begin(), attached_.end(),
                            [=](const auto &memory) { return memory.get() == address; });
  if (found == attached_.end()) return fail(EINVAL);
  attached_.erase(found);
  return 0;
}

int OwnSystemV::controlSegment(int id, int command, shmid_ds *status) {
  if (id <= 0 || id != segment_.id) return fail(EINVAL);
  if (command == IPC_RMID) {
    segment_ = {};
    memory_.reset();  // whoever is attached keeps it
    return 0;
  }
  if (command != IPC_STAT) return fail(EINVAL);
  *status = {};
  status->shm_perm = segment_.permissions;
  status->shm_segsz = size_;
  status->shm_nattch = attached_.size();
  return 0;
}

int OwnSystemV::semaphore(int count, int flags) {
  bool is_new = semaphore_.id == 0;
  int id = obtain(semaphore_, count <= 1, count == 1, flags);
  if (is_new) value_ = 0, last_operation_ = 0;
  return id;
}

// All of them, or none.
int OwnSystemV::operate(int id, const sembuf *operations, size_t count) {
  if (id <= 0 || id != semaphore_.id) return fail(EINVAL);
  int value = value_;
  for (size_t i = 0; i < count; i++) {
    int change = operations[i].sem_op;
    if (operations[i].sem_num != 0) return fail(EFBIG);
    if (change == 0 ? value != 0 : value + change < 0) return fail(EAGAIN);
    if ((value += change) > kLargestValue) return fail(ERANGE);
  }
  value_ = value;
  last_operation_ = time(nullptr);
  return 0;
}

int OwnSystemV::controlSemaphore(int id, int number, int command, void *argument) {
  if (id <= 0 || id != semaphore_.id || number != 0) return fail(EINVAL);
  union {
    void *all;
    int value;
    semid_ds *status;
  } given = {argument};
  switch (command) {
    case GETVAL:
      return value_;
    case SETVAL:
      if (given.value < 0 || given.value > kLargestValue) return fail(ERANGE);
      value_ = given.value;
      return 0;
    case IPC_STAT:
      *given.status = {};
      given.status->sem_perm = semaphore_.permissions;
      given.status->sem_otime = last_operation_;
      given.status->sem_nsems = 1;
      return 0;
    case IPC_RMID:
      semaphore_ = {};
      return 0;
    default:
      return fail(EINVAL);
  }
}

}  // namespace sim
