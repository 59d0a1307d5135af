// As much of a shell as the device's lines need to leave their traces in files.
#ifndef ORBA_SIM_LINE_SPLITTER_H
#define ORBA_SIM_LINE_SPLITTER_H

#include <optional>
#include <string>
#include <vector>

namespace sim {

// One command of a line: what runs, and where its standard output goes.
struct ShellCommand {
  struct Redirection {
    std::string path;
    bool append;
  };
  std::string text;                       // without its redirections
  std::vector<Redirection> redirections;  // of standard output, in order
  std::string whole;                      // as it stands, redirections and all
  bool background = false;                // ended by '&'
};

// A line taken apart at its unquoted ';' and '&'.
std::vector<ShellCommand> splitLine(const std::string &line);

// The words of a command with their quotes taken off; nothing when it holds
// something that only a real shell could work out.
std::optional<std::vector<std::string>> wordsOf(const std::string &command);
// A word as it would have to be given to a shell, with quotes only where it needs them.
std::string quoted(const std::string &word);

}  // namespace sim

#endif
