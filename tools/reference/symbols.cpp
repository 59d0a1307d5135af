#include "tools/reference/symbols.h"

#include <fstream>
#include <stdexcept>

namespace orba::reference {

std::vector<Symbol> readSymbols(const std::string &path) {
  std::vector<Symbol> symbols;
  std::ifstream lines(path);
  if (!lines) throw std::runtime_error(path + ": cannot be read");
  std::string subsystem;
  for (std::string line; std::getline(lines, line);) {
    // A subsystem is one word; the comments about the file are longer.
    if (line.compare(0, 2, "# ") == 0 && line.find(' ', 2) == std::string::npos) {
      subsystem = line.substr(2);
    } else if (!line.empty() && line[0] != '#') {
      bool data = line[0] == '=';
      symbols.push_back({subsystem, data ? line.substr(1) : line, data});
    }
  }
  return symbols;
}

}  // namespace orba::reference
