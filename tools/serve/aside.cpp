#include "tools/serve/aside.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>

namespace orba::tool {

namespace {

using Clock = std::chrono::steady_clock;

// Of what was made nothing is undone: the process that it was made for goes on.
[[noreturn]] void workAndSend(const std::function<std::string()> &work, int descriptor) {
  std::string text;
  try {
    text = work();
  } catch (const std::exception &) {
    _exit(1);
  }
  for (size_t sent = 0; sent < text.size();) {
    const ssize_t now = write(descriptor, text.data() + sent, text.size() - sent);
    if (now < 0 && errno != EINTR) _exit(1);
    if (now > 0) sent += static_cast<size_t>(now);
  }
  _exit(0);
}

// All that comes until the other end is closed; nothing when that takes too long.
std::optional<std::string> received(int descriptor, Clock::time_point until) {
  std::string text;
  char part[65536];
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now());
    pollfd wanted = {descriptor, POLLIN, 0};
    if (left.count() <= 0 || poll(&wanted, 1, static_cast<int>(left.count())) == 0) return {};
    const ssize_t now = read(descriptor, part, sizeof part);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) return text;
    text.append(part, static_cast<size_t>(now));
  }
}

}  // namespace

std::optional<std::string> Aside::answer(std::unique_lock<std::mutex> held,
                                         const std::function<std::string()> &work) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  pid_t child;
  stop();
  {
    std::scoped_lock lock(mutex_);
    child = child_ = fork();
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(ends[0]);
      workAndSend(work, ends[1]);
    }
  }
  held.unlock();
  close(ends[1]);
  std::optional<std::string> text;
  if (child > 0) text = received(ends[0], Clock::now() + patience_);
  close(ends[0]);
  if (child < 0) return {};
  std::scoped_lock lock(mutex_);  // until then the number is this child's and no other's
  if (child_ == child) child_ = 0;
  if (!text) kill(child, SIGKILL);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  return text && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? text : std::nullopt;
}

void Aside::stop() {
  std::scoped_lock lock(mutex_);
  if (child_ > 0) kill(child_, SIGKILL);
}

}  // namespace orba::tool
