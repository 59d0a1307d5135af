// Who starts the library's processes on the real system.
#ifndef ORBA_SIM_RUNNER_H
#define ORBA_SIM_RUNNER_H

#include <cstdio>
#include <optional>

namespace sim {

// While a Runner lives and no Device is current, it starts what the library
// would give to a shell; all other calls reach the real system.
class Runner {
 public:
  Runner();
  Runner(const Runner &) = delete;
  Runner &operator=(const Runner &) = delete;
  virtual ~Runner();
  static Runner *current();

  // As system() does.
  virtual int run(const char *line) = 0;
  // As popen() does for reading.
  virtual FILE *read(const char *command) = 0;
  // Closes a stream of its own as pclose() does; nothing for any other.
  virtual std::optional<int> closed(FILE *stream) = 0;
};

}  // namespace sim

#endif
