// System V shared memory and semaphores.
#ifndef ORBA_SIM_SYSTEM_V_H
#define ORBA_SIM_SYSTEM_V_H

#include <sys/types.h>

#include <functional>
#include <optional>
#include <set>
#include <string>

#include "sim/own_system_v.h"
#include "sim/part.h"

namespace sim {

// The kernel's own objects, under a key of this device instead of the one that
// was asked for, so that devices that run side by side do not meet. Processes
// that are forked from the device's one share them. They are removed with the
// device, in the process that has made it.
class SystemV : public Part {
 public:
  explicit SystemV(Device &device);
  ~SystemV() override;

  // The kernel's are not asked any more: they cost more than all else that a fuzzer does.
  SystemV &alone() { return own_.emplace(), *this; }
  OwnSystemV *own() { return own_ ? &*own_ : nullptr; }
  key_t key() const { return key_; }
  // The call of this name fails from now on.
  SystemV &refuse(const std::string &call) { return refused_.insert(call), *this; }
  SystemV &refuseNothing() { return refused_.clear(), *this; }
  bool refuses(const std::string &call) const;
  // Runs after each call, with its name.
  SystemV &after(std::function<void(const std::string &)> watcher);
  void done(const std::string &call) const {
    if (watcher_) watcher_(call);
  }
  void removeAll() const;

 private:
  std::optional<OwnSystemV> own_;
  key_t key_;
  pid_t owner_;
  std::set<std::string> refused_;
  std::function<void(const std::string &)> watcher_;
};

}  // namespace sim

#endif
