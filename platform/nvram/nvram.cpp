#include "nvram.h"

#include <pthread.h>
#include <signal.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>

#include "store.h"

namespace {

std::mutex store_mutex;

// One thread's use of the store. Signals wait until it is over: a handler that
// called the store from within would wait for its own thread for ever.
class Turn {
 public:
  Turn() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
    store_mutex.lock();
  }
  ~Turn() {
    store_mutex.unlock();
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  Turn(const Turn &) = delete;
  Turn &operator=(const Turn &) = delete;

 private:
  sigset_t before_;
};

// A child that is born while another thread uses the store would find it
// locked for ever, so a fork takes its turn as well.
thread_local std::optional<Turn> forking;

void beforeFork() {
  forking.emplace();
}
void afterFork() {
  forking.reset();
}

// When the library is loaded: a fork may be the first thing that another
// thread does while the store is in use for the first time.
[[maybe_unused]] const int kForkIsWatched = pthread_atfork(beforeFork, afterFork, afterFork);

// Never destroyed: the texts it gave out are promised until the process ends.
nvram::Store &store() {
  static nvram::Store &only = *new nvram::Store(nvram::storeFolder());
  return only;
}

template <typename Result, typename Work>
Result inTurn(Result failed, Work work) noexcept {
  const Turn turn;
  try {
    return work(store());
  } catch (const std::system_error &error) {
    errno = error.code().value();
  } catch (const std::bad_alloc &) {
    errno = ENOMEM;
  }
  return failed;
}

// Another process's commit is waited for between two turns, while signals do
// what the caller wants of them. Reading a timer, unlike a sleep, goes on after
// a handler that was installed with SA_RESTART.
bool waitAWhile() {
  const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  if (timer < 0) return false;
  const itimerspec once{{}, {0, 2'000'000}};
  std::uint64_t expired;
  const bool over = timerfd_settime(timer, 0, &once, nullptr) == 0 &&
                    read(timer, &expired, sizeof expired) == sizeof expired;
  const int error = errno;
  close(timer);
  errno = error;
  return over;
}

template <typename Work>
int whenUnlocked(Work work) {
  for (;;) {
    const int result = inTurn(-1, work);
    if (result == 0 || errno != EWOULDBLOCK || !waitAWhile()) return result;
  }
}

template <typename Result>
Result invalid(Result failed) {
  errno = EINVAL;
  return failed;
}

using Getter = const char *(nvram::Store::*)(int, std::string_view);
using Setter = void (nvram::Store::*)(int, std::string_view, std::string_view);

char *getWith(Getter getter, int space, const char *key) {
  char *const none = nullptr;
  if (key == nullptr) return invalid(none);
  return inTurn(none, [&](nvram::Store &store) {
    const char *value = (store.*getter)(space, key);
    if (value == nullptr) errno = ENOENT;
    return const_cast<char *>(value);
  });
}

int setWith(Setter setter, int space, const char *key, const char *value) {
  if (key == nullptr || value == nullptr) return invalid(-1);
  return whenUnlocked([&](nvram::Store &store) {
    (store.*setter)(space, key, value);
    return 0;
  });
}

}  // namespace

char *nvram_get(int space, const char *key) {
  return getWith(&nvram::Store::get, space, key);
}

char *nvram_bufget(int space, const char *key) {
  return getWith(&nvram::Store::getBuffered, space, key);
}

int nvram_set(int space, const char *key, const char *value) {
  return setWith(&nvram::Store::set, space, key, value);
}

int nvram_bufset(int space, const char *key, const char *value) {
  return setWith(&nvram::Store::setBuffered, space, key, value);
}

int nvram_commit(int space) {
  return whenUnlocked([&](nvram::Store &store) {
    store.commit(space);
    return 0;
  });
}

int getNthValueSafe(int index, const char *value, char separator, char *out, int size) {
  if (out == nullptr || size < 1) return -1;
  // strchr would find the terminator, were it the separator.
  const auto next_separator = [&](const char *from) {
    return separator == '\0' ? nullptr : strchr(from, separator);
  };
  const char *piece = value != nullptr && *value != '\0' && index >= 0 ? value : nullptr;
  for (; piece != nullptr && index > 0; --index) {
    piece = next_separator(piece);
    if (piece != nullptr) ++piece;
  }
  if (piece == nullptr) {
    out[0] = '\0';
    return -1;
  }
  const char *end = next_separator(piece);
  size_t length = end != nullptr ? static_cast<size_t>(end - piece) : strlen(piece);
  if (length >= static_cast<size_t>(size)) length = static_cast<size_t>(size) - 1;
  memmove(out, piece, length);
  out[length] = '\0';
  return 0;
}
