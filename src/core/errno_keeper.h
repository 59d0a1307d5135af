// errno across a signal handler.
#ifndef ORBA_CORE_ERRNO_KEEPER_H
#define ORBA_CORE_ERRNO_KEEPER_H

#include <cerrno>

namespace orba {

// The code that a handler interrupts may be about to look at errno.
class ErrnoKeeper {
 public:
  ErrnoKeeper() = default;
  ErrnoKeeper(const ErrnoKeeper &) = delete;
  ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;
  ~ErrnoKeeper() { errno = kept_; }

 private:
  int kept_ = errno;
};

}  // namespace orba

#endif
