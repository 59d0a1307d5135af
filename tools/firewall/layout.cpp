#include "tools/firewall/layout.h"

#include <algorithm>

#include "tools/text/lines.h"
#include "tools/text/svg.h"

namespace orba::tool {

namespace {

constexpr double kLetter = 7.22;    // of the picture's font
constexpr size_t kWidestRule = 62;  // letters of a rule and its target together
constexpr size_t kMostLines = 6;

constexpr const char *kPrograms = "the router's own programs";

constexpr Stage kStages[] = {
    {"ebtables", "broute", "BROUTING", Stage::kThrough, false,
     "a frame that came in by the LAN bridge", ""},
    {"ebtables", "nat", "PREROUTING", Stage::kThrough, false,
     "a frame that came in by the LAN bridge", ""},
    {"ebtables", "filter", "FORWARD", Stage::kAside, false,
     "a frame for another port of the bridge", "out by another port of the bridge"},
    {"ebtables", "filter", "INPUT", Stage::kThrough, false,
     "a frame that leaves the bridge for the router", ""},
    {"iptables", "nat", "PREROUTING", Stage::kThrough, false,
     "the first packet of a connection, before its route is looked up", ""},
    {"iptables", "filter", "INPUT", Stage::kAside, true, "a packet for the router itself",
     kPrograms},
    {"iptables", "filter", "FORWARD", Stage::kThrough, true, "a packet for another host", ""},
    {"iptables", "nat", "OUTPUT", Stage::kFromRouter, true,
     "the first packet of a connection of the router's own", kPrograms},
    {"iptables", "filter", "OUTPUT", Stage::kFromRouter, true, "a packet of the router's own",
     kPrograms},
    {"iptables", "nat", "POSTROUTING", Stage::kThrough, true,
     "the first packet of a connection, before it leaves", ""},
    {"ebtables", "nat", "OUTPUT", Stage::kFromRouter, true,
     "a frame of the router's own for the bridge", kPrograms},
    {"ebtables", "filter", "OUTPUT", Stage::kFromRouter, true,
     "a frame of the router's own for the bridge", kPrograms},
    {"ebtables", "nat", "POSTROUTING", Stage::kThrough, true,
     "a frame that leaves by the LAN bridge", ""},
};

}  // namespace

int lettersWidth(size_t letters) {
  return static_cast<int>(static_cast<double>(letters) * kLetter + 0.5);
}

size_t lettersOf(const std::string &text) {
  return charactersOf(text).size();
}

int pillWidth(const std::string &pill) {
  return lettersWidth(lettersOf(pill)) + 14;
}

FirewallLayout::FirewallLayout(const FirewallChains &chains) : chains_(chains) {
  placeStages();
  measureColumns();
}

int FirewallLayout::width() const {
  constexpr int kHeadingWidth = kFirstColumn + 1240;
  return widths_.empty() ? kHeadingWidth : std::max(kHeadingWidth, right(widths_.size() - 1) + 30);
}

Row FirewallLayout::rowOf(const DrawnChain &chain, const DrawnRule &rule) const {
  Row row;
  row.rule = &rule;
  const DrawnChain *target = chains_.target(chain, rule);
  if (target != nullptr) {
    row.jump = true;
    bool empty = target->rules.empty();
    row.pill = "→ " + target->name + (empty ? " (empty)" : placed_.count(target) != 0 ? " ↑" : "");
    if (!empty) row.leads_to = target;
  } else {
    row.pill = rule.parts.target.empty() ? "count" : rule.parts.target;
    if (!rule.parts.detail.empty()) row.pill += " " + rule.parts.detail;
  }
  std::string shown = rule.parts.match.empty() ? "everything" : rule.parts.match;
  if (rule.kind == Edit::kMoved) shown += " (was " + std::to_string(rule.was) + ")";
  row.pill = wrapped(row.pill, kWidestRule / 2, 1).front();
  size_t room = kWidestRule - lettersOf(row.pill);
  row.lines = wrapped(shown, room, kMostLines);
  row.height = static_cast<int>(row.lines.size()) * kLine + kRowPadding;
  return row;
}

Row FirewallLayout::rowOf(const DrawnChain &chain, const Fold &fold) const {
  Row row;
  row.fold = fold;
  row.lines = {textOf(fold, chain)};
  row.height = kLine + kRowPadding;
  return row;
}

// A chain's box, and to its right those of the chains that it jumps to, each not
// above the jump.
void FirewallLayout::placeChain(StageBoxes &stage, const DrawnChain &chain, size_t depth, int y) {
  placed_.insert(&chain);
  Box box;
  box.chain = &chain;
  box.depth = depth;
  box.y = std::max(y, next_y_[depth]);
  int at = box.y + kHeader;
  std::vector<std::pair<const DrawnChain *, int>> jumps;
  const std::vector<Fold> folds = foldsOf(chains_, chain);
  auto fold = folds.begin();
  for (size_t i = 0; i < chain.rules.size(); i++) {
    const bool folded = fold != folds.end() && fold->first == i;
    Row row = folded ? rowOf(chain, *fold) : rowOf(chain, chain.rules[i]);
    if (folded) i = fold++->end - 1;
    row.y = at;
    at += row.height;
    if (folded) open_folds_ = std::max(open_folds_, row.y + kOpenFold);
    if (row.leads_to != nullptr && placed_.insert(row.leads_to).second) {
      jumps.emplace_back(row.leads_to, row.y + row.height / 2);
    }
    box.rows.push_back(std::move(row));
  }
  if (!chain.policy.empty() || !chain.policy_before.empty()) {
    box.policy = chain.policy.empty() ? "none" : chain.policy;
    at += kLine + kRowPadding;
  } else {
    at += 4;
  }
  box.height = at - box.y;
  next_y_[depth] = at + 18;
  stage.bottom = std::max(stage.bottom, at);
  stage.boxes.push_back(std::move(box));
  for (const auto &[target, row_middle] : jumps) {
    size_t index = stage.boxes.size();
    placeChain(stage, *target, depth + 1, row_middle - kHeader / 2);
    stage.edges.push_back({depth, row_middle, stage.boxes.at(index).headerMiddle(), target});
  }
}

void FirewallLayout::placeStages() {
  int y = kComesIn + 32;
  bool routed = false;
  for (const Stage &stage : kStages) {
    const DrawnChain *chain = chains_.find(stage.program, stage.table, stage.chain);
    bool plain = chain != nullptr && chain->rules.empty() && chain->policy == "ACCEPT" &&
                 chain->policy_before == "ACCEPT";
    if (chain == nullptr || plain) continue;
    if (stage.routed && !routed) y += 64;  // room for the decision
    routed = stage.routed;
    StageBoxes placed;
    placed.stage = &stage;
    placed.heading = y + (stage.way == Stage::kFromRouter ? 46 : 0);
    next_y_.clear();
    placeChain(placed, *chain, 0, placed.heading + 10);
    y = placed.bottom + (stage.way == Stage::kAside ? 86 : 60);
    bottom_ = placed.bottom;
    stages_.push_back(std::move(placed));
  }
  bottom_ += 70;
}

void FirewallLayout::measureColumns() {
  std::map<size_t, size_t> lanes;  // by the column that the edges leave
  for (const StageBoxes &stage : stages_) {
    for (const Box &box : stage.boxes) {
      if (widths_.size() <= box.depth) widths_.resize(box.depth + 1, 220);
      int &width = widths_[box.depth];
      width = std::max(width, lettersWidth(lettersOf(box.chain->name)) + 140);
      for (const Row &row : box.rows) {
        size_t longest = 0;
        for (const std::string &line : row.lines) longest = std::max(longest, lettersOf(line));
        width = std::max(width, kNumber + lettersWidth(longest) + 16 + pillWidth(row.pill) + 8);
      }
    }
    std::map<size_t, size_t> here;
    for (const Edge &edge : stage.edges)
      lanes[edge.depth] = std::max(lanes[edge.depth], ++here[edge.depth]);
  }
  int x = kFirstColumn;
  for (size_t depth = 0; depth < widths_.size(); depth++) {
    columns_.push_back(x);
    x = right(depth) + 34 + kLane * static_cast<int>(lanes[depth]);
  }
}

}  // namespace orba::tool
