// Writing SVG, with every text from outside made harmless.
#ifndef ORBA_TOOLS_SVG_H
#define ORBA_TOOLS_SVG_H

#include <string>
#include <vector>

namespace orba::tool {

// What is seen of a text, by characters in UTF-8. What is not to be seen or makes
// other text be seen otherwise (control characters, directions of writing, bytes
// that are no UTF-8) is spelled out: "\x1b", "\U0000202e".
std::vector<std::string> charactersOf(const std::string &text);

// The text as a stretch of XML text or of an attribute's value.
std::string xmlText(const std::string &text);

// The text in lines of at most `width` characters, broken at blanks where there
// are some; of more than `most` lines the rest is "…".
std::vector<std::string> wrapped(const std::string &text, size_t width, size_t most);

}  // namespace orba::tool

#endif
