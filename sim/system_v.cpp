#include "sim/system_v.h"

#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

#include "sim/device.h"

namespace sim {

namespace {

// Process ids have at most 22 bits; eight more tell the devices of one process
// apart.
key_t newKey() {
  static unsigned count = 0;
  return static_cast<key_t>(0x40000000u | static_cast<unsigned>(getpid()) << 8 | (count++ & 0xFF));
}

SystemV *current() {
  return Device::current() != nullptr ? &Device::current()->part<SystemV>() : nullptr;
}

key_t keyFor(key_t wanted) {
  return current() != nullptr ? current()->key() : wanted;
}

// Runs the real call unless the device refuses it.
template <typename Call, typename Result = int>
Result answer(const char *name, Call call, Result failure = -1) {
  SystemV *part = current();
  if (part == nullptr) return call();
  if (part->refuses(name)) {
    errno = ENOSPC;
    return failure;
  }
  Result result = call();
  part->done(name);
  return result;
}

}  // namespace

SystemV::SystemV(Device &device) : Part(device), key_(newKey()), owner_(getpid()) {
  // A process of the same id may have died here before.
  removeAll();
}

SystemV::~SystemV() {
  if (getpid() == owner_) removeAll();
}

void SystemV::removeAll() const {
  int segment = shmget(key_, 0, 0);
  if (segment != -1) shmctl(segment, IPC_RMID, nullptr);
  int semaphore = semget(key_, 0, 0);
  if (semaphore != -1) semctl(semaphore, 0, IPC_RMID);
}

bool SystemV::refuses(const std::string &call) const {
  return refused_.count(call) != 0;
}

SystemV &SystemV::after(std::function<void(const std::string &)> watcher) {
  watcher_ = std::move(watcher);
  return *this;
}

}  // namespace sim

using sim::answer;
using sim::keyFor;

extern "C" {

int sim_shmget(key_t key, size_t size, int flags) {
  return answer("shmget", [=] { return shmget(keyFor(key), size, flags); });
}

void *sim_shmat(int id, const void *address, int flags) {
  // Fails with the same pointer as mmap.
  return answer(
      "shmat", [=] { return shmat(id, address, flags); }, MAP_FAILED);
}

int sim_shmdt(const void *address) {
  return answer("shmdt", [=] { return shmdt(address); });
}

int sim_semget(key_t key, int count, int flags) {
  return answer("semget", [=] { return semget(keyFor(key), count, flags); });
}

int sim_semop(int id, sembuf *operations, size_t count) {
  return answer("semop", [=] { return semop(id, operations, count); });
}

int sim_semtimedop(int id, sembuf *operations, size_t count, const timespec *timeout) {
  return answer("semtimedop", [=] { return semtimedop(id, operations, count, timeout); });
}

int sim_semctl(int id, int number, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);  // as wide as the union it stands for
  va_end(arguments);
  return answer("semctl", [=] { return semctl(id, number, command, argument); });
}

}  // extern "C"
