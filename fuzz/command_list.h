// No value becomes a command: how it is judged.
//
// commands.txt lists every command line of the library with a %s wherever a value
// may stand. A line passes when it is one of these from its first byte to its
// last, and each %s is one run of bytes that the shell takes as data: plain
// letters, digits and _@%+=:,./- or whatever is quoted. Between the listed
// parts nothing else has a place: no operator, expansion, redirection, comment,
// pattern, and no blank, so that a value is never two words; and a word that is a
// value from its beginning does not begin with "-". What is not listed does not
// pass, and a listed line that is never seen can be asked for, so a verdict that
// says nothing is noticed.
#ifndef ORBA_FUZZ_COMMAND_LIST_H
#define ORBA_FUZZ_COMMAND_LIST_H

#include <regex.h>

#include <deque>
#include <map>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

namespace orba::fuzz {

class CommandList {
 public:
  // Throws std::runtime_error for a list that cannot be read.
  explicit CommandList(const std::string &path);
  CommandList(const CommandList &) = delete;
  CommandList &operator=(const CommandList &) = delete;
  ~CommandList();

  // Whether `line`, as it was given to system(), or to popen() when it was
  // `piped`, is one of the listed commands.
  bool passes(const std::string &line, bool piped);

  // The listed commands that no line was.
  std::vector<std::string> unseen() const;
  // The programs that the commands start.
  std::set<std::string> programs() const;

 private:
  struct Command {
    std::string text;
    std::string front;  // what its forms begin with
    regex_t line, pipe;
    bool seen;
  };
  void add(const std::string &text);

  std::deque<Command> commands_;
  // By what stands before the first blank.
  std::map<std::string, std::vector<Command *>, std::less<>> by_program_;
  std::unordered_set<std::string> passed_[2];  // to system(), to popen()
};

// The list that the library's commands are in.
CommandList &libraryCommands();

}  // namespace orba::fuzz

#endif
