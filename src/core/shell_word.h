// A value on its way into a command line.
#ifndef ORBA_CORE_SHELL_WORD_H
#define ORBA_CORE_SHELL_WORD_H

#include "core/rule_list.h"
#include "core/text.h"

#pragma GCC visibility push(hidden)
namespace orba {

// Text made only of letters, digits and _@%+=:,./- stands in the command as it
// is, the empty text too; anything else is single-quoted, so that the program
// gets it as one word and no value can hold a second command.
//
//   doSystem("route add -net %s", ShellWord(destination.text()).text());
//
// A word too long to quote fills its whole buffer, which is as long as the
// runner's: a command that holds it cannot fit either and is not run.
class ShellWord {
 public:
  explicit ShellWord(const char *value) : ShellWord(Slice{value, strlen(value)}) {}
  explicit ShellWord(Slice value);

  const char *text() const { return word_.text(); }

  // Whether `value` stands in a command as it is. For the one place where a
  // value stands inside quotes that are the command's own.
  static bool isPlain(const char *value);

 private:
  Text<1025> word_;
};

}  // namespace orba
#pragma GCC visibility pop

#endif
