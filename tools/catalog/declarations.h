// What the public header says of each name, without the header at hand.
#ifndef ORBA_TOOLS_CATALOG_DECLARATIONS_H
#define ORBA_TOOLS_CATALOG_DECLARATIONS_H

#include <map>
#include <string>

namespace orba::tool {

struct Declaration {
  std::string text;     // on one line, with its semicolon
  std::string comment;  // the one above it or above its group
};

// include/orba_util.h as it was when this was built.
extern const char *const kPublicHeader;

// What it declares, by name.
const std::map<std::string, Declaration> &publicDeclarations();

}  // namespace orba::tool

#endif
