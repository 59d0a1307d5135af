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

// Runs the real call, or that of the process's own objects, unless the device refuses it.
template <typename Call, typename Own>
auto answerOrRefuse(const char *name, Call call, Own own) {
  return answer(name, call, [=](Device &device) {
    SystemV &part = device.part<SystemV>();
    if (part.refuses(name)) return Faults::failure(name).as<decltype(call())>();
    auto result = part.own() != nullptr ? own(*part.own()) : call();
    part.done(name);
    return result;
  });
}

// In a process that is the only one, who waits does so for ever.
template <typename Call>
int operateAlone(const sembuf *operations, size_t count, bool forever, Call call) {
  std::vector<sembuf> at_once(operations, operations + count);
  for (sembuf &operation : at_once) {
    if ((operation.sem_flg & IPC_NOWAIT) != 0) forever = false;
    operation.sem_flg |= IPC_NOWAIT;
  }
  int result = call(at_once.data());
  if (result != 0 && errno == EAGAIN && forever) throw Endless("waits for a semaphore");
  return result;
}

template <typename Call>
int answerOperation(const char *name, int id, sembuf *operations, size_t count, bool forever,
                    Call call) {
  return answerOrRefuse(
      name,
      [=] {
        // Whoever counts its calls is the only one.
        Device *device = Device::current();
        bool only = device != nullptr && device->faults().limited();
        return only ? operateAlone(operations, count, forever, call) : call(operations);
      },
      [=](OwnSystemV &own) {
        return operateAlone(operations, count, forever,
                            [&](const sembuf *all) { return own.operate(id, all, count); });
      });
}

}  // namespace

SystemV::SystemV(Device &device) : Part(device), key_(newKey()), owner_(getpid()) {
  // A process of the same id may have died here before.
  removeAll();
}

SystemV::~SystemV() {
  if (getpid() == owner_ && !own_) removeAll();
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

using sim::answerOperation;
using sim::answerOrRefuse;
using sim::keyFor;
using sim::OwnSystemV;

extern "C" {

int sim_shmget(key_t key, size_t size, int flags) {
  return answerOrRefuse(
      "shmget", [=] { return shmget(keyFor(key), size, flags); },
      [=](OwnSystemV &own) { return own.segment(size, flags); });
}

void *sim_shmat(int id, const void *address, int flags) {
  return answerOrRefuse(
      "shmat", [=] { return shmat(id, address, flags); },
      [=](OwnSystemV &own) { return own.attach(id); });
}

int sim_shmdt(const void *address) {
  return answerOrRefuse(
      "shmdt", [=] { return shmdt(address); },
      [=](OwnSystemV &own) { return own.detach(address); });
}

int sim_shmctl(int id, int command, shmid_ds *status) {
  return answerOrRefuse(
      "shmctl", [=] { return shmctl(id, command, status); },
      [=](OwnSystemV &own) { return own.controlSegment(id, command, status); });
}

int sim_semget(key_t key, int count, int flags) {
  return answerOrRefuse(
      "semget", [=] { return semget(keyFor(key), count, flags); },
      [=](OwnSystemV &own) { return own.semaphore(count, flags); });
}

int sim_semop(int id, sembuf *operations, size_t count) {
  return answerOperation("semop", id, operations, count, true,
                         [=](sembuf *all) { return semop(id, all, count); });
}

int sim_semtimedop(int id, sembuf *operations, size_t count, const timespec *timeout) {
  return answerOperation("semtimedop", id, operations, count, false,
                         [=](sembuf *all) { return semtimedop(id, all, count, timeout); });
}

int sim_semctl(int id, int number, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);  // as wide as the union it stands for
  va_end(arguments);
  return answerOrRefuse(
      "semctl", [=] { return semctl(id, number, command, argument); },
      [=](OwnSystemV &own) { return own.controlSemaphore(id, number, command, argument); });
}

}  // extern "C"
