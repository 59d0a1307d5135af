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
// A value that begins with "-" is marked (see kOption), and its command is not run:
// no program is to take it for an option.
//
// A word too long to quote fills its whole buffer, which is as long as the
// runner's: a command that holds it cannot fit either and is not run.
class ShellWord {
 public:
  explicit ShellWord(const char *value) : ShellWord(Slice{value, strlen(value)}) {}
  explicit ShellWord(Slice value);

  const char *text() const { return word_.text(); }

  // Whether `value` needs no quotes. For the one place where a value stands
  // inside quotes that are the command's own.
  static bool isPlain(const char *value);

  // What a value that begins with "-" begins with in a command, behind the blank:
  // for the shell nothing but the "-". No quoted value has this in it.
  static constexpr char kOption[] = " ''-";

 protected:
  ShellWord() = default;
  void quote(Slice value);

 private:
  Text<1025> word_;
};

// A value behind the beginning of a word, as in "table pf_%s": whatever it begins
// with, the word is no option.
class ShellWordPart : public ShellWord {
 public:
  explicit ShellWordPart(const char *value) { quote({value, strlen(value)}); }
};

}  // namespace orba
#pragma GCC visibility pop

#endif
