// Runs the library's commands for real and keeps what came of each.
#ifndef ORBA_TOOLS_LAB_REAL_SHELL_H
#define ORBA_TOOLS_LAB_REAL_SHELL_H

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "sim/runner.h"

namespace orba::tool {

// One command, as a shell ran it. A line of several has one of these for each.
struct RanCommand {
  std::string command;      // without the redirection that throws its output away
  int status = 0;           // its exit code, or 128 and the number of a signal
  std::string said;         // the first line that it printed
  bool background = false;  // started and not waited for
};

class RealShell : public sim::Runner {
 public:
  // Called with each line that is given to a shell to run, before it runs.
  explicit RealShell(std::function<void(const std::string &)> progress)
      : progress_(std::move(progress)) {}

  const std::vector<RanCommand> &ran() const { return ran_; }
  // The lines that the library gave to a shell, to run or to read from.
  const std::vector<std::string> &lines() const { return lines_; }

  // How many of them were to run, as a plan counts them.
  size_t count() const { return count_; }

  int run(const char *line) override;
  FILE *read(const char *command) override;
  std::optional<int> closed(FILE *stream) override;

 private:
  int runCommand(const std::string &command);

  std::function<void(const std::string &)> progress_;
  std::vector<RanCommand> ran_;
  std::vector<std::string> lines_;
  size_t count_ = 0;
  std::set<FILE *> streams_;
};

}  // namespace orba::tool

#endif
