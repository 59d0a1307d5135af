#include "session/shared_login.h"

#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>
#include <ctime>

#include "core/file.h"

namespace orba {

namespace {

constexpr key_t kKey = 1234;
constexpr int kCreateForAll = IPC_CREAT | 0666;

// Both -1 until first obtained. Every call asks the kernel for the ids afresh,
// so that segments and semaphores that somebody removed are made again.
int segment_id = -1;
int semaphore_id = -1;

// The caller of semctl has to define it.
union SemaphoreArgument {
  int value;
  semid_ds *status;
};

// Serialises those who give the semaphore its first value. It ends with the
// process that holds it, however that ends.
class MakersLock {
 public:
  MakersLock() : folder_(open("/var", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!folder_) return;
    while (flock(folder_.get(), LOCK_EX) != 0 && errno == EINTR) continue;
  }

 private:
  Descriptor folder_;
};

// A new semaphore is 0, which means taken, until its maker has freed it. One
// that no operation has ever touched was taken by nobody. 1 for such a fresh one, 0
// for any other, -1 when the kernel does not tell.
int freshness(int semaphore) {
  semid_ds status;
  SemaphoreArgument argument;
  argument.status = &status;
  int value = semctl(semaphore, 0, GETVAL);
  if (value != 0) return value < 0 ? -1 : 0;
  return semctl(semaphore, 0, IPC_STAT, argument) != 0 ? -1 : status.sem_otime == 0;
}

// Whoever meets a fresh semaphore frees it: its maker may have been killed
// before it could. Without the lock two of them might do so one after the other
// while a third has just taken it. Not undone at the end of the process. False when
// it may still be fresh: who waited for it then would wait for ever.
bool freeFresh(int semaphore) {
  MakersLock lock;
  int fresh = freshness(semaphore);
  if (fresh <= 0) return fresh == 0;
  sembuf from_zero_to_one[] = {{0, 0, IPC_NOWAIT}, {0, 1, 0}};
  return semop(semaphore, from_zero_to_one, 2) == 0 || errno == EAGAIN;
}

// SEM_UNDO makes the kernel release what a killed process holds.
bool changeSemaphore(int semaphore, short by) {
  sembuf operation{0, by, SEM_UNDO};
  int result;
  do {
    result = semop(semaphore, &operation, 1);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// Setting the value drops what the kernel would undo for every process. Under
// one that holds the lock this would make its release count twice, once now and
// once against all others at its end, who would then wait for ever. So the lock
// is taken first, by a second at most: it may be stuck, which setting it mends.
bool takeBriefly(int semaphore) {
  sembuf operation{0, -1, SEM_UNDO};
  const timespec tenth{0, 100000000};
  for (int tries = 0; tries < 10; tries++) {
    if (semtimedop(semaphore, &operation, 1, &tenth) == 0) return true;
  }
  return false;
}

// Keeps the compiler from moving a store across: a killed process leaves behind
// exactly the stores in front of the point where it stood.
inline void keepOrder() {
  __atomic_signal_fence(__ATOMIC_SEQ_CST);
}

}  // namespace

SharedLogin *attachSharedLogin() {
  segment_id = shmget(kKey, sizeof(orba_login_record), kCreateForAll);
  if (segment_id == -1) return nullptr;
  void *address = shmat(segment_id, nullptr, 0);
  bool failed = reinterpret_cast<intptr_t>(address) == -1;
  return failed ? nullptr : static_cast<SharedLogin *>(address);
}

int loginSemaphore() {
  int found = semget(kKey, 1, kCreateForAll);
  if (found != -1 && found != semaphore_id && freshness(found) != 0 && !freeFresh(found))
    found = -1;
  return semaphore_id = found;
}

bool resetLoginSemaphore() {
  MakersLock lock;
  semaphore_id = semget(kKey, 1, kCreateForAll);
  if (semaphore_id == -1) return false;
  bool taken = freshness(semaphore_id) != 1 && takeBriefly(semaphore_id);
  SemaphoreArgument argument;
  argument.value = 1;
  if (semctl(semaphore_id, 0, SETVAL, argument) == 0) return true;
  if (taken) unlockLogin(semaphore_id);
  return false;
}

bool lockLogin(int semaphore) {
  return changeSemaphore(semaphore, -1);
}

void unlockLogin(int semaphore) {
  changeSemaphore(semaphore, 1);
}

void replaceRecord(SharedLogin &shared, const orba_login_record &record) {
  shared.before = shared.record;
  keepOrder();
  shared.publishing = 1;
  keepOrder();
  shared.record = record;
  keepOrder();
  shared.publishing = 0;
}

void undoBrokenReplace(SharedLogin &shared) {
  if (shared.publishing != 1) return;
  shared.record = shared.before;
  keepOrder();
  shared.publishing = 0;
}

}  // namespace orba
