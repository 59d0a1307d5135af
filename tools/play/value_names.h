// The names of the values in a command: "--to 192.168.1.50" is "--to <DMZAddress>".
#ifndef ORBA_TOOLS_PLAY_VALUE_NAMES_H
#define ORBA_TOOLS_PLAY_VALUE_NAMES_H

#include <string>
#include <utility>
#include <vector>

#include "tools/catalog/entry_point.h"

namespace orba::tool {

class ValueNames {
 public:
  void add(const std::string &value, const std::string &name);
  // The line with every known value that is a word of its own replaced.
  std::string in(std::string line) const;

 private:
  std::vector<std::pair<std::string, std::string>> values_;
};

// The values that only one of the example settings has, and what the desk gives
// the WANs and the LAN. A field of a list has its own: "<RoutingRules[gateway]>".
const ValueNames &namesOfExamples();
ValueNames namesOfWords(const EntryPoint &entry, const std::vector<std::string> &words);

// The line without names, numbers and interfaces, to tell a new kind of line by.
std::string kindOf(const std::string &line);

}  // namespace orba::tool

#endif
