#include "tools/firewall/rule_told.h"

#include <algorithm>

#include "tools/firewall/rule_words.h"

namespace orba::tool {

namespace {

// Of a value, in bytes, and of the settings behind one rule. A list of thousands of records may
// stand behind each of its rules.
constexpr size_t kLongestValue = 200;
constexpr size_t kMostSources = 8;

std::string changeText(const DrawnRule &rule) {
  switch (rule.kind) {
    case Edit::kAdded:
      return "New.";
    case Edit::kRemoved:
      return "No longer there.";
    case Edit::kMoved:
      return "Was rule " + std::to_string(rule.was) + ".";
    case Edit::kKept:
      break;
  }
  return "";
}

}  // namespace

RuleTold::RuleTold(const DrawnRule &rule, const MadeFirewall &made)
    : text(rule.text), words(ruleInWords(rule.text)), change(changeText(rule)) {
  if (!rule.command) return;
  command = made.nameOf(*rule.command);
  const CommandOrigins *origins = made.originsOf(*rule.command);
  if (origins == nullptr) return;
  known = true;
  more = origins->size() - std::min(origins->size(), kMostSources);
  for (const Origin &origin : *origins) {
    if (sources.size() == kMostSources) break;
    const std::string &value = made.valueOf(origin);
    const bool cut = value.size() > kLongestValue;
    sources.push_back({origin, value.substr(0, kLongestValue) + (cut ? "…" : "")});
  }
}

std::vector<std::string> RuleTold::lines() const {
  std::vector<std::string> all = {text, "", words};
  if (!change.empty()) all.push_back(change);
  if (command.empty()) return all;
  if (known) all.emplace_back();
  for (const auto &[origin, value] : sources) {
    const char *role = origin.role == Origin::kBecause ? "because of " : "from ";
    all.push_back(role + nameOf(origin) + ": " + value);
  }
  if (more > 0) all.push_back("and " + std::to_string(more) + " more settings");
  if (known && sources.empty()) all.emplace_back("whatever the settings");
  all.push_back("(" + command + ")");
  return all;
}

}  // namespace orba::tool
