// The declarations of the public header, and the list of exported names.
#ifndef ORBA_TOOLS_REFERENCE_HEADER_H
#define ORBA_TOOLS_REFERENCE_HEADER_H

#include <map>
#include <string>
#include <vector>

namespace orba::reference {

struct Declaration {
  std::string text;     // on one line, with its semicolon
  std::string comment;  // the one above it or above its group
};

std::map<std::string, Declaration> readHeader(const std::string &path);

struct Symbol {
  std::string subsystem;
  std::string name;
  bool data;
};

std::vector<Symbol> readSymbols(const std::string &path);

// Throws std::runtime_error when there is none.
std::string readFile(const std::string &path);

}  // namespace orba::reference

#endif
