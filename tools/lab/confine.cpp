#include "tools/lab/confine.h"

#include <linux/close_range.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "tools/lab/lab.h"
#include "tools/lab/own_terminal.h"

namespace orba::tool {

namespace {

// A shell outside would run what is put into its terminal's input, and a key is found
// by its number, wherever its owner's processes are. Calls of another architecture,
// which the numbers below do not fit, end their process.
int forbidTypingAndKeys() {
  std::unique_ptr<void, void (*)(scmp_filter_ctx)> filter(seccomp_init(SCMP_ACT_ALLOW),
                                                          seccomp_release);
  if (filter == nullptr) return -ENOMEM;
  for (scmp_datum_t typing : {TIOCSTI, TIOCLINUX}) {
    // The kernel looks at 32 bits of the request only; a filter sees all 64.
    int error = seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(EPERM), SCMP_SYS(ioctl), 1,
                                 SCMP_A1(SCMP_CMP_MASKED_EQ, 0xffffffffU, typing));
    if (error != 0) return error;
  }
  for (int keys : {SCMP_SYS(keyctl), SCMP_SYS(add_key), SCMP_SYS(request_key)}) {
    int error = seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(EPERM), keys, 0);
    if (error != 0) return error;
  }
  return seccomp_load(filter.get());
}

}  // namespace

void confine() {
  moveToOwnTerminal();
  int error = forbidTypingAndKeys();
  if (error == 0 && close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) != 0) error = -errno;
  if (error != 0) throw NoLab(std::string("cannot keep the lab in: ") + strerror(-error));
}

}  // namespace orba::tool
