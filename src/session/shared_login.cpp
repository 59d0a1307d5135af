#include "session/shared_login.h"

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

// Whether it was made so that others are kept out, or by a user who may do so
// later or take it away.
bool isForeign(const ipc_perm &object) {
  return (object.mode & 0666) != 0666 || (object.cuid != 0 && object.cuid != geteuid());
}

// To be called with the result of a removal; false when the kernel has refused it.
bool tellRemoved(int result) {
  if (result == 0) debug("foreign login record replaced\n");
  return result == 0;
}

// Serialises those who give the semaphore its first value. It ends with the
// process that holds it, however that ends.
class MakersLock {
 public:
  MakersLock() : folder_(open("/var", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    lockShortly(folder_.get());
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

int makeSegment() {
  return shmget(kKey, sizeof(orba_login_record), kCreateForAll);
}

// A segment that is too short cannot be one of ours, and is replaced at any time.
// Who has it attached keeps it, so nothing that runs is disturbed; others find the
// new one under the key.
int obtainSegment(Moment moment) {
  int found = makeSegment();
  bool too_short = found == -1 && errno == EINVAL;
  if (too_short) {
    found = shmget(kKey, 0, 0);
  } else {
    shmid_ds status;
    if (moment != kAtStart || shmctl(found, IPC_STAT, &status) != 0) return found;
    if (status.shm_segsz == sizeof(orba_login_record) && !isForeign(status.shm_perm)) return found;
  }
  if (tellRemoved(shmctl(found, IPC_RMID, nullptr))) return makeSegment();
  return too_short ? -1 : found;
}

int obtainSemaphoreAtStart() {
  int found = semget(kKey, 1, kCreateForAll);
  semid_ds status;
  SemaphoreArgument argument;
  argument.status = &status;
  bool foreign = semctl(found, 0, IPC_STAT, argument) == 0 && isForeign(status.sem_perm);
  if (!foreign || !tellRemoved(semctl(found, 0, IPC_RMID))) return found;
  return semget(kKey, 1, kCreateForAll);
}

// Keeps the compiler from moving a store across: a killed process leaves behind
// exactly the stores in front of the point where it stood.
inline void keepOrder() {
  __atomic_signal_fence(__ATOMIC_SEQ_CST);
}

}  // namespace

SharedLogin *attachSharedLogin(Moment moment) {
  segment_id = obtainSegment(moment);
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

// Setting the value drops what the kernel would undo for every process. Under
// one that holds the lock this would make its release count twice, once now and
// once against all others at its end, who would then wait for ever. So the lock
// is taken first, if it can be had: it may be stuck, which setting it mends.
bool resetLoginSemaphore() {
  MakersLock lock;
  semaphore_id = obtainSemaphoreAtStart();
  if (semaphore_id == -1) return false;
  bool taken = freshness(semaphore_id) != 1 && lockLogin(semaphore_id);
  SemaphoreArgument argument;
  argument.value = 1;
  if (semctl(semaphore_id, 0, SETVAL, argument) == 0) return true;
  if (taken) unlockLogin(semaphore_id);
  return false;
}

// SEM_UNDO makes the kernel release what a killed process holds. A process that
// lives and does not let go must not stop the others.
bool lockLogin(int semaphore) {
  sembuf operation{0, -1, SEM_UNDO};
  const timespec tenth{0, 100000000};
  for (int tries = 0; tries < 10; tries++) {
    if (semtimedop(semaphore, &operation, 1, &tenth) == 0) return true;
    if (errno != EAGAIN && errno != EINTR) return false;
  }
  return false;
}

void unlockLogin(int semaphore) {
  sembuf operation{0, 1, SEM_UNDO};
  while (semop(semaphore, &operation, 1) != 0 && errno == EINTR) continue;
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
