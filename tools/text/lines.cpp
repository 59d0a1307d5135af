#include "tools/text/lines.h"

#include <sstream>

namespace orba::tool {

std::vector<std::string> linesIn(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> splitAt(const std::string &text, char separator) {
  std::vector<std::string> parts;
  for (size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
    end = text.find(separator, begin);
    parts.push_back(text.substr(begin, end - begin));
  }
  return parts;
}

std::string joined(const std::vector<std::string> &parts, char separator) {
  std::string text;
  for (size_t i = 0; i < parts.size(); i++) {
    if (i > 0) text += separator;
    text += parts[i];
  }
  return text;
}

}  // namespace orba::tool
