#include "sim/system_v.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <vector>

#include "sim/answer.h"

namespace sim {

namespace {

// Process ids have at most 22 bits; eight more tell the devices of one process
// apart.
key_t newKey() {
  static unsigned count = 0;
  return static_cast<key_t>(0x40000000u | static_cast<unsigned>(getpid()) << 8 | (count++ & 0xFF));
}

key_t keyFor(key_t wanted) {
  Device *device = Device::current();
  return device != nullptr ? device->part<SystemV>().key() : wanted;
}

// Runs the real call unless the device refuses it.
template <typename Call>
auto answerOrRefuse(const char *name, Call call) {
  return answer(name, call, [=](Device &device) {
    SystemV &part = device.part<SystemV>();
    if (part.refuses(name)) return Faults::failure(name).as<decltype(call())>();
    auto result = call();
    part.done(name);
    return result;
  });
}

// In a process that counts its calls, and so is the only one, who waits does so for ever.
template <typename Call>
int operate(sembuf *operations, size_t count, bool forever, Call call) {
  Device *device = Device::current();
  if (device == nullptr || !device->faults().limited()) return call(operations);
  std::vector<sembuf> at_once(operations, operations + count);
  for (sembuf &operation : at_once) {
    if ((operation.sem_flg & IPC_NOWAIT) != 0) forever = false;
    operation.sem_flg |= IPC_NOWAIT;
  }
  int result = call(at_once.data());
  if (result != 0 && errno == EAGAIN && forever) throw Endless("waits for a semaphore");
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

using sim::answerOrRefuse;
using sim::keyFor;
using sim::operate;

extern "C" {

int sim_shmget(key_t key, size_t size, int flags) {
  return answerOrRefuse("shmget", [=] { return shmget(keyFor(key), size, flags); });
}

void *sim_shmat(int id, const void *address, int flags) {
  return answerOrRefuse("shmat", [=] { return shmat(id, address, flags); });
}

int sim_shmdt(const void *address) {
  return answerOrRefuse("shmdt", [=] { return shmdt(address); });
}

int sim_shmctl(int id, int command, shmid_ds *status) {
  return answerOrRefuse("shmctl", [=] { return shmctl(id, command, status); });
}

int sim_semget(key_t key, int count, int flags) {
  return answerOrRefuse("semget", [=] { return semget(keyFor(key), count, flags); });
}

int sim_semop(int id, sembuf *operations, size_t count) {
  return answerOrRefuse("semop", [=] {
    return operate(operations, count, true, [=](sembuf *all) { return semop(id, all, count); });
  });
}

int sim_semtimedop(int id, sembuf *operations, size_t count, const timespec *timeout) {
  return answerOrRefuse("semtimedop", [=] {
    return operate(operations, count, false,
                   [=](sembuf *all) { return semtimedop(id, all, count, timeout); });
  });
}

int sim_semctl(int id, int number, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);  // as wide as the union it stands for
  va_end(arguments);
  return answerOrRefuse("semctl", [=] { return semctl(id, number, command, argument); });
}

}  // extern "C"
