// Where each chain and rule of the firewall's picture stands, in pixels.
#ifndef ORBA_TOOLS_FIREWALL_LAYOUT_H
#define ORBA_TOOLS_FIREWALL_LAYOUT_H

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/firewall/chains.h"
#include "tools/firewall/folds.h"

namespace orba::tool {

constexpr int kLine = 16;  // from one line of a rule to the next
constexpr int kRowPadding = 6;
constexpr int kHeader = 26;
constexpr int kNumber = 40;  // the column of the rules' numbers
constexpr int kFirstColumn = 100;
constexpr int kComesIn = 106;   // where packets do, below the heading
constexpr int kLane = 8;        // between two jumps that run beside each other
constexpr int kOpenFold = 380;  // the height of an open fold's list, which lies over what is below

// The widths of monospaced letters, and of a target with its rounded frame.
int lettersWidth(size_t letters);
size_t lettersOf(const std::string &text);
int pillWidth(const std::string &pill);

// A built-in chain on the ways of a packet.
struct Stage {
  enum Way { kThrough, kAside, kFromRouter };
  const char *program, *table, *chain;
  Way way;
  bool routed;  // met when the packet's route is known
  const char *meaning;
  const char *end;  // of what goes aside: where it goes; of what comes from the router: where from
};

// A rule, or a fold of many.
struct Row {
  const DrawnRule *rule = nullptr;  // null for a fold
  Fold fold = {};
  bool jump = false;
  const DrawnChain *leads_to = nullptr;  // of a jump to a chain with rules
  std::vector<std::string> lines;
  std::string pill;       // the target
  int y = 0, height = 0;  // from the top of the picture
};

struct Box {
  const DrawnChain *chain = nullptr;
  size_t depth = 0;  // the column: how many jumps from the built-in chain
  int y = 0, height = 0;
  std::vector<Row> rows;
  std::string policy;

  int headerMiddle() const { return y + kHeader / 2; }
};

// A jump, from the right side of a row to the header of a box one column on.
struct Edge {
  size_t depth;
  int from, to;
  const DrawnChain *chain;  // the box's
};

// A built-in chain and those that are first met from there.
struct StageBoxes {
  const Stage *stage = nullptr;
  int heading = 0;  // of its baseline
  int bottom = 0;
  std::vector<Box> boxes;  // the built-in chain's first
  std::vector<Edge> edges;
};

// The stages below each other as packets meet them; built-in chains that do
// nothing are left out.
class FirewallLayout {
 public:
  explicit FirewallLayout(const FirewallChains &chains);

  const std::vector<StageBoxes> &stages() const { return stages_; }
  int left(size_t depth) const { return columns_.at(depth); }
  int width(size_t depth) const { return widths_.at(depth); }
  int right(size_t depth) const { return left(depth) + width(depth); }
  // Of the whole picture.
  int width() const;
  int height() const { return std::max(bottom_, open_folds_); }
  int end() const { return bottom_; }  // of the ways

 private:
  void placeStages();
  void placeChain(StageBoxes &stage, const DrawnChain &chain, size_t depth, int y);
  Row rowOf(const DrawnChain &chain, const DrawnRule &rule) const;
  Row rowOf(const DrawnChain &chain, const Fold &fold) const;
  void measureColumns();

  const FirewallChains &chains_;
  std::vector<StageBoxes> stages_;
  std::set<const DrawnChain *> placed_;
  std::map<size_t, int> next_y_;       // by column, where the next box may begin
  std::vector<int> widths_, columns_;  // by column: of its boxes, and where they begin
  int bottom_ = 0;
  int open_folds_ = 0;  // how far down they would reach
};

}  // namespace orba::tool

#endif
