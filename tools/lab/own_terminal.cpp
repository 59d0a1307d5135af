#include "tools/lab/own_terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <string>

#include "tools/lab/lab.h"

namespace orba::tool {

namespace {

constexpr int kStandard[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
constexpr int kNone = -1;

[[noreturn]] void fail(const char *what) {
  throw NoLab(std::string("cannot keep the lab in: ") + what + ": " + strerror(errno));
}

// The terminal that this program was started from.
class UsersTerminal {
 public:
  UsersTerminal() {
    for (int fd : {STDOUT_FILENO, STDERR_FILENO, STDIN_FILENO}) {
      if (shows_ == kNone && isatty(fd) != 0) shows_ = fd;
    }
    if (isatty(STDIN_FILENO) != 0) reads_ = STDIN_FILENO;
    if (shows_ != kNone) tcgetattr(shows_, &modes_);
  }

  bool there() const { return shows_ != kNone; }
  int reads() const { return reads_; }
  const termios &modes() const { return modes_; }

  // One in the background that reads, or sets modes, is stopped.
  bool inForeground() const { return reads_ != kNone && tcgetpgrp(reads_) == getpgrp(); }

  winsize size() const {
    winsize size = {};
    ioctl(shows_, TIOCGWINSZ, &size);
    return size;
  }

  // Every key is then the lab's terminal's to make something of. Once is not enough: a
  // shell that had stopped this process has set the modes that it wants.
  void passKeys() {
    termios raw = modes_;
    cfmakeraw(&raw);
    passes_keys_ = tcsetattr(reads_, TCSANOW, &raw) == 0;
  }

  // What can be typed now, and nothing for good once the terminal has gone.
  std::string read() {
    char bytes[4096];
    ssize_t length = ::read(reads_, bytes, sizeof bytes);
    if (length > 0) return {bytes, static_cast<size_t>(length)};
    if (length == 0 || errno != EINTR) reads_ = kNone;
    return {};
  }

  void show(const char *bytes, ssize_t length) {
    for (ssize_t shown = 0; length > 0; length -= shown, bytes += shown) {
      shown = write(shows_, bytes, static_cast<size_t>(length));
      if (shown < 0 && errno != EINTR) return;
      if (shown < 0) shown = 0;
    }
  }

  void giveBack() {
    if (passes_keys_ && inForeground()) tcsetattr(reads_, TCSADRAIN, &modes_);
  }

 private:
  int shows_ = kNone;
  int reads_ = kNone;
  termios modes_ = {};
  bool passes_keys_ = false;
};

// The two ends of the lab's terminal: the maker's, and its programs'.
struct Terminal {
  int outer = kNone;
  int inner = kNone;
};

Terminal terminalLike(const UsersTerminal &users) {
  Terminal terminal;
  termios modes = users.modes();
  // Where nothing is typed, the user's terminal goes on ending lines itself.
  if (users.reads() == kNone) modes.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  winsize size = users.size();
  if (openpty(&terminal.outer, &terminal.inner, nullptr, &modes, &size) != 0) fail("terminal");
  fcntl(terminal.outer, F_SETFL, O_NONBLOCK);
  return terminal;
}

class Relay {
 public:
  Relay(pid_t child, int signals, const Terminal &terminal, UsersTerminal &users)
      : child_(child), signals_(signals), terminal_(terminal), users_(users) {}

  // Returns the child's exit code.
  int run() {
    int child = static_cast<int>(syscall(SYS_pidfd_open, child_, 0));
    if (child < 0) fail("process");
    pollfd ended = {child, POLLIN, 0};
    while ((ended.revents & POLLIN) == 0) carry(ended);
    // What it has left to be shown; others that write there have no more of it.
    for (int piece = 0; piece < kPiecesHeld && show(); piece++) {
    }
    users_.giveBack();
    int status = 0;
    waitpid(child_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  // More than the kernel holds for a terminal.
  static constexpr int kPiecesHeld = 64;
  // Nobody says that a process has come to the foreground.
  static constexpr int kNextLookMs = 200;

  void carry(pollfd &ended) {
    bool foreground = users_.inForeground();
    if (foreground) users_.passKeys();
    bool reads = foreground && typed_.empty();
    short wanted = typed_.empty() ? POLLIN : POLLIN | POLLOUT;
    pollfd sources[] = {ended,
                        {signals_, POLLIN, 0},
                        {terminal_.outer, wanted, 0},
                        {reads ? users_.reads() : kNone, POLLIN, 0}};
    auto &[end, signals, lab, user] = sources;
    int wait = users_.reads() != kNone && !foreground ? kNextLookMs : -1;
    if (poll(sources, std::size(sources), wait) <= 0) return;
    if (signals.revents != 0) passSignal();
    if ((lab.revents & POLLIN) != 0) show();
    if ((lab.revents & POLLOUT) != 0) type();
    if (user.revents != 0 && users_.inForeground()) typed_ = users_.read();
    ended = end;
  }

  void passSignal() {
    signalfd_siginfo signal;
    if (read(signals_, &signal, sizeof signal) != sizeof signal) return;
    if (signal.ssi_signo == SIGWINCH) {
      winsize size = users_.size();
      ioctl(terminal_.outer, TIOCSWINSZ, &size);
    } else {
      kill(-child_, static_cast<int>(signal.ssi_signo));
    }
  }

  // Whether there was something.
  bool show() {
    char bytes[4096];
    ssize_t length = read(terminal_.outer, bytes, sizeof bytes);
    users_.show(bytes, length);
    return length > 0;
  }

  void type() {
    ssize_t length = write(terminal_.outer, typed_.data(), typed_.size());
    if (length > 0) typed_.erase(0, static_cast<size_t>(length));
  }

  pid_t child_;
  int signals_;
  Terminal terminal_;
  UsersTerminal &users_;
  std::string typed_;  // and not yet taken
};

void settleIn(const Terminal &terminal) {
  setsid();
  if (terminal.inner == kNone) return;
  if (ioctl(terminal.inner, TIOCSCTTY, 0) != 0) fail("terminal");
  for (int fd : kStandard) {
    if (isatty(fd) != 0) dup2(terminal.inner, fd);
  }
  close(terminal.inner);
  close(terminal.outer);
}

}  // namespace

void moveToOwnTerminal() {
  UsersTerminal users;
  Terminal terminal;
  if (users.there()) terminal = terminalLike(users);

  sigset_t passed_on, before;
  sigemptyset(&passed_on);
  for (int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGCONT, SIGWINCH})
    sigaddset(&passed_on, signal);
  sigprocmask(SIG_BLOCK, &passed_on, &before);
  pid_t child = fork();
  if (child < 0) fail("process");
  if (child == 0) {
    sigprocmask(SIG_SETMASK, &before, nullptr);
    settleIn(terminal);
    return;
  }
  _exit(Relay(child, signalfd(kNone, &passed_on, SFD_CLOEXEC), terminal, users).run());
}

}  // namespace orba::tool
