// Writing SVG, with every text from outside made harmless.
#ifndef ORBA_TOOLS_TEXT_SVG_H
#define ORBA_TOOLS_TEXT_SVG_H

#include <string>
#include <vector>

#include "tools/text/lines.h"

namespace orba::tool {

// The text as a stretch of XML text or of an attribute's value.
std::string xmlText(const std::string &text);

// The text in lines of at most `width` characters, broken at blanks where there
// are some; of more than `most` lines the rest is "…".
std::vector<std::string> wrapped(const std::string &text, size_t width, size_t most);

}  // namespace orba::tool

#endif
