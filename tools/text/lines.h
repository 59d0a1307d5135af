// The room tools/text: what is done to any text, whatever it is about: taken apart,
// compared, made safe to show, written as JSON or SVG. Nothing here knows of routers.
//
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
// What stands between the separators, empty parts too.
std::vector<std::string> splitAt(const std::string &text, char separator);
// The parts with the separator between them.
std::string joined(const std::vector<std::string> &parts, char separator);

}  // namespace orba::tool

#endif
