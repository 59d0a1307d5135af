#include "tools/firewall/folds.h"

#include <algorithm>
#include <map>

namespace orba::tool {

namespace {

constexpr size_t kLongest = 48;  // that is shown whole
constexpr size_t kBeginning = 12, kEnd = 4;

// "1,984"
std::string counted(size_t number) {
  std::string text = std::to_string(number);
  for (size_t at = text.size(); at > 3; at -= 3) text.insert(at - 3, ",");
  return text;
}

}  // namespace

std::vector<Fold> foldsOf(const FirewallChains &chains, const DrawnChain &chain) {
  auto kindOf = [&](const DrawnRule &rule) {
    const DrawnChain *target = chains.target(chain, rule);
    return std::pair(rule.kind, target != nullptr && !target->rules.empty() ? target : nullptr);
  };
  std::vector<Fold> folds;
  size_t first = 0;
  for (size_t i = 1; i <= chain.rules.size(); i++) {
    const bool goes_on =
        i < chain.rules.size() && kindOf(chain.rules[i]) == kindOf(chain.rules[first]);
    if (goes_on) continue;
    if (i - first > kLongest) folds.push_back({first + kBeginning, i - kEnd});
    first = i;
  }
  return folds;
}

std::string textOf(const Fold &fold, const DrawnChain &chain) {
  std::map<std::string, size_t> targets;
  for (size_t i = fold.first; i < fold.end; i++) targets[chain.rules[i].parts.target]++;
  std::vector<std::pair<std::string, size_t>> most(targets.begin(), targets.end());
  std::stable_sort(most.begin(), most.end(),
                   [](const auto &a, const auto &b) { return a.second > b.second; });
  std::string text = counted(fold.end - fold.first) + " more rules, " +
                     std::to_string(chain.rules[fold.first].number) + " to " +
                     std::to_string(chain.rules[fold.end - 1].number) + ":";
  const char *between = " ";
  for (const auto &[target, count] : most) {
    text += between + counted(count) + " " + (target.empty() ? "that count" : target);
    between = ", ";
  }
  return text;
}

}  // namespace orba::tool
