// The failures that the library's commands are meant to have.
#ifndef ORBA_TOOLS_LAB_EXPECTED_FAILURES_H
#define ORBA_TOOLS_LAB_EXPECTED_FAILURES_H

#include <string>

namespace orba::tool {

// Why this failure is none, nullptr when it is one. `said` is the first line
// that the command printed.
const char *harmlessBecause(const std::string &command, const std::string &said);

}  // namespace orba::tool

#endif
