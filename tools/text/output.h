// What the tool hands out, which arrives or is an error.
#ifndef ORBA_TOOLS_TEXT_OUTPUT_H
#define ORBA_TOOLS_TEXT_OUTPUT_H

#include <stdexcept>
#include <string>

namespace orba::tool {

struct CannotWrite : std::runtime_error {
  CannotWrite(const std::string &name, int why);

  int error;  // errno's
};

// From now on what std::cout cannot write is thrown, as CannotWrite.
void watchStandardOutput();

// Gives a file these contents: it holds all of them afterwards, or what it held before. It keeps
// its mode. What is no regular file, such as a pipe, gets them as they are. Throws CannotWrite.
void writeWhole(const std::string &path, const std::string &content);

}  // namespace orba::tool

#endif
