/* Texts from outside, for a terminal that is not to obey them. */
#ifndef NVRAM_TERMINAL_H
#define NVRAM_TERMINAL_H

#include <string>
#include <vector>

namespace nvram {

/* What is seen of a text, by characters in UTF-8. What is not to be seen or makes
 * other text be seen otherwise (control characters, directions of writing, bytes
 * that are no UTF-8) is spelled out: "\x1b", "\U0000202e". */
std::vector<std::string> charactersOf(const std::string &text);

/* A text that may hold anything, as one line that is safe to show on a terminal. */
std::string visible(const std::string &text);
/* Lines for standard output, or another descriptor: as they are for a program that
 * reads them, safe on a terminal. */
std::string forReader(const std::string &lines, int descriptor = 1);

}  // namespace nvram

#endif
