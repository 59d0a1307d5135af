#include "tools/text/edits.h"

#include <algorithm>
#include <cstdint>

namespace orba::tool {

namespace {

using Lines = std::vector<std::string>;

// Between lists that differ in more than this many pairs of lines (four thousand
// lines each) everything is replaced: nobody reads so many edits.
constexpr size_t kMostPairs = size_t{16} << 20;

// What two lists have in common beyond each pair of places.
class CommonLines {
 public:
  // Of `before` from `begin` to `before_end`, and of `after` likewise.
  CommonLines(const Lines &before, const Lines &after, size_t begin, size_t before_end,
              size_t after_end)
      : begin_(begin), width_(after_end - begin + 1) {
    size_t height = before_end - begin + 1;
    if (height * width_ > kMostPairs) return;
    counts_.resize(height * width_);
    for (size_t i = before_end; i-- > begin;) {
      for (size_t j = after_end; j-- > begin;) {
        uint16_t longest = std::max(at(i + 1, j), at(i, j + 1));
        if (before[i] == after[j]) longest = static_cast<uint16_t>(at(i + 1, j + 1) + 1);
        at(i, j) = longest;
      }
    }
  }

  bool counted() const { return !counts_.empty(); }
  uint16_t &at(size_t i, size_t j) { return counts_[(i - begin_) * width_ + j - begin_]; }

 private:
  size_t begin_, width_;
  std::vector<uint16_t> counts_;
};

}  // namespace

Edits editsBetween(const Lines &before, const Lines &after) {
  size_t begin = 0, before_end = before.size(), after_end = after.size();
  while (begin < before_end && begin < after_end && before[begin] == after[begin]) begin++;
  while (before_end > begin && after_end > begin &&
         before[before_end - 1] == after[after_end - 1]) {
    before_end--, after_end--;
  }
  CommonLines common(before, after, begin, before_end, after_end);

  Edits edits;
  size_t i = 0, j = 0;
  auto keep = [&] { edits.push_back({Edit::kKept, before[i], i + 1, j + 1}), i++, j++; };
  auto remove = [&] { edits.push_back({Edit::kRemoved, before[i], i + 1, 0}), i++; };
  auto add = [&] { edits.push_back({Edit::kAdded, after[j], 0, j + 1}), j++; };
  while (i < begin) keep();
  while (i < before_end || j < after_end) {
    bool both = i < before_end && j < after_end && common.counted();
    if (both && before[i] == after[j]) {
      keep();
    } else if (both ? common.at(i + 1, j) >= common.at(i, j + 1) : i < before_end) {
      remove();
    } else {
      add();
    }
  }
  while (i < before.size()) keep();
  return edits;
}

Edits editsWithMoves(const Lines &before, const Lines &after) {
  Edits edits = editsBetween(before, after);
  for (Edit &added : edits) {
    if (added.kind != Edit::kAdded) continue;
    auto removed = std::find_if(edits.begin(), edits.end(), [&](const Edit &edit) {
      return edit.kind == Edit::kRemoved && edit.text == added.text;
    });
    if (removed == edits.end()) continue;
    added.kind = Edit::kMoved;
    added.before = removed->before;
    removed->kind = Edit::kMoved;  // with no place after: told where it is now
  }
  edits.erase(
      std::remove_if(edits.begin(), edits.end(),
                     [](const Edit &edit) { return edit.kind == Edit::kMoved && edit.after == 0; }),
      edits.end());
  return edits;
}

bool changes(const Edits &edits) {
  return std::any_of(edits.begin(), edits.end(),
                     [](const Edit &edit) { return edit.kind != Edit::kKept; });
}

}  // namespace orba::tool
