// A segment and a semaphore in this process's own memory.
#ifndef ORBA_SIM_OWN_SYSTEM_V_H
#define ORBA_SIM_OWN_SYSTEM_V_H

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <memory>
#include <vector>

namespace sim {

// They answer as the kernel's do, errno included, to a process that is the only one to use them.
// There is one of each: a device has one key. Nothing waits; what would is refused with EAGAIN.
class OwnSystemV {
 public:
  int segment(size_t size, int flags);
  void *attach(int id);
  int detach(const void *address);
  int controlSegment(int id, int command, shmid_ds *status);

  int semaphore(int count, int flags);
  int operate(int id, const sembuf *operations, size_t count);
  // `argument` is what the union that semctl() takes holds.
  int controlSemaphore(int id, int number, int command, void *argument);

 private:
  struct Object {
    int id = 0;  // 0: there is none
    ipc_perm permissions = {};
  };
  int obtain(Object &object, bool well_sized, bool may_be_made, int flags);

  int last_id_ = 0;
  Object segment_, semaphore_;
  size_t size_ = 0;
  std::shared_ptr<char[]> memory_;
  std::vector<std::shared_ptr<char[]>> attached_;
  int value_ = 0;
  time_t last_operation_ = 0;
};

}  // namespace sim

#endif
