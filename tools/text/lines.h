// Texts that may hold anything, by lines, and as people may see them.
#ifndef ORBA_TOOLS_TEXT_LINES_H
#define ORBA_TOOLS_TEXT_LINES_H

#include <string>
#include <vector>

#include "terminal.h"

namespace orba::tool {

using nvram::charactersOf;
using nvram::forReader;
using nvram::visible;

// The lines of a text, the last one with or without its newline.
std::vector<std::string> linesIn(const std::string &text);

}  // namespace orba::tool

#endif
