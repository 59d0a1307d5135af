// What a POSIX shell makes of a command line, byte by byte.
#ifndef ORBA_SIM_SHELL_LINE_H
#define ORBA_SIM_SHELL_LINE_H

#include <optional>
#include <string>
#include <string_view>

namespace sim {

// The line with its quotes taken off, in a form that still tells what they held:
// a byte that a shell takes as data only because it is quoted has its
// highest bit set (an empty pair of quotes is 0x80, a byte that has it anyway is
// 0xff). All other bytes, blanks, operators and expansions among them, stand as
// they are, but for those that have no place in a command of ours at all (control
// characters, tabs, bytes above 0x7f), which become 0x01. Nothing when the line is
// one that this reader does not understand: with an open quote, or with a backslash
// anywhere but within single quotes or in front of one.
// `placeholders` are taken for ordinary characters.
std::optional<std::string> shellForm(std::string_view line, std::string_view placeholders = "");

// The line with 'x' for every byte of quoted data: what a shell makes of it is
// the same but for the texts that programs are given.
std::string withoutData(std::string_view line);

}  // namespace sim

#endif
