// Two lists of lines, laid side by side.
#ifndef ORBA_TOOLS_TEXT_EDITS_H
#define ORBA_TOOLS_TEXT_EDITS_H

#include <cstdint>
#include <string>
#include <vector>

namespace orba::tool {

// One line of either list, or of both.
struct Edit {
  enum Kind { kKept, kAdded, kRemoved, kMoved };
  Kind kind;
  std::string text;
  size_t before = 0, after = 0;  // its places in the lists, from 1; 0 where it is not
};
using Edits = std::vector<Edit>;

// For each line of `before` its place in `after`, from 0, where it is kept: as many as can be.
using Places = std::vector<size_t>;
constexpr size_t kNowhere = SIZE_MAX;
Places keptLines(const std::vector<std::string> &before, const std::vector<std::string> &after);

// The least that makes `after` of `before`, kept lines and all.
Edits editsBetween(const std::vector<std::string> &before, const std::vector<std::string> &after);
// The same; a line that went from one place to another is told once, where it is now.
Edits editsWithMoves(const std::vector<std::string> &before, const std::vector<std::string> &after);
// Whether anything is not kept.
bool changes(const Edits &edits);

}  // namespace orba::tool

#endif
