// The list of exported names.
#ifndef ORBA_TOOLS_REFERENCE_SYMBOLS_H
#define ORBA_TOOLS_REFERENCE_SYMBOLS_H

#include <string>
#include <vector>

namespace orba::reference {

struct Symbol {
  std::string subsystem;
  std::string name;
  bool data;
};

// Throws std::runtime_error when there is no such file.
std::vector<Symbol> readSymbols(const std::string &path);

}  // namespace orba::reference

#endif
