#include "tools/lab/real_shell.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "sim/device.h"
#include "sim/line_splitter.h"

namespace orba::tool {

namespace {

// Where a command's output goes that would be thrown away: a descriptor of the shell's.
constexpr int kKept = 9;
constexpr char kKeep[] = " 1>&9 2>&1";

// A file in memory, so that a program left running in the background, which
// would hold a pipe open, keeps nobody waiting.
class Capture {
 public:
  Capture() : fd_(memfd_create("output", MFD_CLOEXEC)) {}
  Capture(const Capture &) = delete;
  Capture &operator=(const Capture &) = delete;
  ~Capture() { close(fd_); }

  int fd() const { return fd_; }
  // A stream that reads it from its beginning.
  FILE *stream() const {
    FILE *stream = fdopen(dup(fd_), "r");
    if (stream != nullptr) rewind(stream);
    return stream;
  }
  std::string firstLine() const {
    FILE *in = stream();
    if (in == nullptr) return "";
    std::string line;
    for (int c; (c = getc(in)) != EOF && (c != '\n' || line.empty());) {
      if (c != '\n') line += static_cast<char>(c);
    }
    fclose(in);
    return line;
  }

 private:
  int fd_;
};

int exitCode(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// The wait status of a shell that ran the command. Spawned as system() does it:
// a fork would copy what this program knows for every command anew.
int inShell(const std::string &command, int output, int errors, short flags = 0) {
  fflush(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, kKept);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  std::string text = command;
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, flags);
  char shell[] = "sh", option[] = "-c";
  char *words[] = {shell, option, text.data(), nullptr};
  pid_t child = 0;
  int status = 127 << 8;
  if (posix_spawn(&child, "/bin/sh", &actions, &attributes, words, environ) == 0) {
    waitpid(child, &status, 0);
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return status;
}

std::string withoutDiscards(std::string command) {
  while (true) {
    std::string shorter = sim::withoutRunnerRedirection(command);
    while (!shorter.empty() && shorter.back() == ' ') shorter.pop_back();
    if (shorter == command) return command;
    command = shorter;
  }
}

// The commands of a line, one by one where it is a plain sequence of them: so
// each has an exit code of its own.
std::vector<sim::ShellCommand> plainCommandsOf(const std::string &line) {
  std::vector<sim::ShellCommand> commands = sim::splitLine(line);
  bool plain = line.find("&&") == std::string::npos;
  for (const sim::ShellCommand &command : commands) {
    plain = plain && sim::wordsOf(command.text).has_value();
  }
  if (plain) return commands;
  sim::ShellCommand whole;
  whole.whole = line;
  return {whole};
}

}  // namespace

int RealShell::run(const char *line) {
  progress_(line);
  count_++;
  lines_.emplace_back(line);
  int status = 0;
  for (const sim::ShellCommand &command : plainCommandsOf(line)) {
    if (command.background) {
      ran_.push_back({withoutDiscards(command.whole), 0, "", true});
      // It outlives this call, and the terminal that is gone with it.
      status = inShell(command.whole + " &", STDOUT_FILENO, STDERR_FILENO, POSIX_SPAWN_SETSID);
    } else {
      status = runCommand(command.whole);
    }
  }
  return status;
}

int RealShell::runCommand(const std::string &command) {
  std::string text = withoutDiscards(command);
  // Behind a redirection of the command's own, as the discarding one stood.
  std::string line = text == command ? command : text + kKeep;
  Capture output;
  int status = inShell(line, output.fd(), output.fd());
  ran_.push_back({text, exitCode(status), output.firstLine()});
  return status;
}

FILE *RealShell::read(const char *command) {
  lines_.emplace_back(command);
  Capture output, errors;
  int status = inShell(command, output.fd(), errors.fd());
  std::string said = errors.firstLine();
  ran_.push_back({command, exitCode(status), said.empty() ? output.firstLine() : said});
  FILE *stream = output.stream();
  if (stream != nullptr) streams_.insert(stream);
  return stream;
}

std::optional<int> RealShell::closed(FILE *stream) {
  if (streams_.erase(stream) == 0) return {};
  return fclose(stream);
}

}  // namespace orba::tool
