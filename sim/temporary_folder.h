// A folder that goes away with its maker.
#ifndef ORBA_SIM_TEMPORARY_FOLDER_H
#define ORBA_SIM_TEMPORARY_FOLDER_H

#include <sys/types.h>

#include <string>

namespace sim {

// In memory, where there is some to be had as a folder. What a process that was killed
// has left behind goes with the next folder of the same name that one makes.
class TemporaryFolder {
 public:
  // `name` is what its name begins with. Throws std::runtime_error.
  explicit TemporaryFolder(const std::string &name);
  TemporaryFolder(const TemporaryFolder &) = delete;
  TemporaryFolder &operator=(const TemporaryFolder &) = delete;
  ~TemporaryFolder();

  const std::string &path() const { return path_; }

 private:
  std::string path_;
  int lock_ = -1;
  pid_t owner_;
};

}  // namespace sim

#endif
