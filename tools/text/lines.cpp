#include "tools/text/lines.h"

#include <sstream>

namespace orba::tool {

std::vector<std::string> linesIn(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace orba::tool
