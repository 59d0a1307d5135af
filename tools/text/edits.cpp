#include "tools/text/edits.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <unordered_map>

namespace orba::tool {

namespace {

using Lines = std::vector<std::string>;

// Between lists that share more than this many pairs of lines (four thousand
// lines each) everything is replaced: nobody reads so many edits.
constexpr size_t kMostPairs = size_t{16} << 20;

// The lines of one list that the other has too: what they say, as a number, and their places.
struct SharedLines {
  std::vector<size_t> says, places;
};

SharedLines sharedLines(const Lines &lines, size_t begin, size_t end,
                        const std::unordered_map<std::string_view, size_t> &sayings) {
  SharedLines shared;
  for (size_t i = begin; i < end; i++) {
    auto saying = sayings.find(lines[i]);
    if (saying == sayings.end()) continue;
    shared.says.push_back(saying->second);
    shared.places.push_back(i);
  }
  return shared;
}

// How many lines both lists have behind each pair of places.
class CommonLines {
 public:
  // Of `before` from `begin` to `before_end`, and of `after` likewise.
  CommonLines(const std::vector<size_t> &before, const std::vector<size_t> &after, size_t begin,
              size_t before_end, size_t after_end)
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

// What two lists begin and end with alike.
struct Ends {
  size_t begin = 0, before_end, after_end;

  template <typename List>
  Ends(const List &before, const List &after) : before_end(before.size()), after_end(after.size()) {
    while (begin < before_end && begin < after_end && before[begin] == after[begin]) begin++;
    while (before_end > begin && after_end > begin &&
           before[before_end - 1] == after[after_end - 1]) {
      before_end--, after_end--;
    }
  }
};

}  // namespace

Places keptLines(const Lines &before, const Lines &after) {
  Ends ends(before, after);
  // Of what is between, lines that the other list lacks are kept by nobody.
  std::unordered_map<std::string_view, size_t> sayings;
  for (size_t i = ends.begin; i < ends.before_end; i++) sayings.emplace(before[i], i);
  SharedLines right = sharedLines(after, ends.begin, ends.after_end, sayings);
  std::unordered_map<std::string_view, size_t> said;
  for (size_t i = 0; i < right.says.size(); i++)
    said.emplace(after[right.places[i]], right.says[i]);
  SharedLines left = sharedLines(before, ends.begin, ends.before_end, said);
  Ends shared(left.says, right.says);
  CommonLines common(left.says, right.says, shared.begin, shared.before_end, shared.after_end);

  Places kept(before.size(), kNowhere);
  for (size_t i = 0; i < ends.begin; i++) kept[i] = i;
  for (size_t i = ends.before_end; i < before.size(); i++)
    kept[i] = i + after.size() - before.size();
  auto keep = [&](size_t i, size_t j) { kept[left.places[i]] = right.places[j]; };
  for (size_t i = 0; i < shared.begin; i++) keep(i, i);
  for (size_t i = shared.before_end, j = shared.after_end; i < left.says.size();) keep(i++, j++);
  size_t i = shared.begin, j = shared.begin;
  while (common.counted() && i < shared.before_end && j < shared.after_end) {
    if (left.says[i] == right.says[j]) {
      keep(i++, j++);
    } else {
      common.at(i + 1, j) >= common.at(i, j + 1) ? i++ : j++;
    }
  }
  return kept;
}

Edits editsBetween(const Lines &before, const Lines &after) {
  Places kept = keptLines(before, after);
  Edits edits;
  size_t j = 0;
  auto addTo = [&](size_t end) {
    for (; j < end; j++) edits.push_back({Edit::kAdded, after[j], 0, j + 1});
  };
  for (size_t i = 0; i < before.size(); i++) {
    if (kept[i] == kNowhere) {
      edits.push_back({Edit::kRemoved, before[i], i + 1, 0});
      continue;
    }
    addTo(kept[i]);
    edits.push_back({Edit::kKept, before[i], i + 1, ++j});
  }
  addTo(after.size());
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
