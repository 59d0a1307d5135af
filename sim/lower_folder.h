// A folder of files that the device has, which is only read.
#ifndef ORBA_SIM_LOWER_FOLDER_H
#define ORBA_SIM_LOWER_FOLDER_H

#include <string>

namespace sim {

// It may be a stranger's, and the reader root. So no link leads out of it: where
// one names a path, that path is the device's. And what is neither a file nor a
// folder is not there: a FIFO would keep its reader waiting.
class LowerFolder {
 public:
  LowerFolder() = default;
  LowerFolder(const LowerFolder &) = delete;
  LowerFolder &operator=(const LowerFolder &) = delete;
  ~LowerFolder();

  void open(const std::string &folder);
  bool opened() const { return folder_ >= 0; }
  // A path of this machine, without links, for a path of the device; empty when
  // there is nothing.
  std::string find(const std::string &path) const;

 private:
  int folder_ = -1;
};

}  // namespace sim

#endif
