// The room tools/firewall: whatever is asked about the firewall that a run has made:
// what its rules say, what its chains look like, and next what a packet meets.
//
// The chains of a packet filter as they are drawn: with what was there before.
#ifndef ORBA_TOOLS_FIREWALL_CHAINS_H
#define ORBA_TOOLS_FIREWALL_CHAINS_H

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "tools/firewall/rule_words.h"
#include "tools/play/difference.h"
#include "tools/play/origin.h"
#include "tools/play/recording.h"

namespace orba::tool {

struct DrawnRule {
  Edit::Kind kind = Edit::kKept;
  size_t number = 0;  // in its chain, from 1; of a removed one, where it was
  size_t was = 0;     // of a moved one, where it was
  std::string text;
  RuleParts parts;
  std::optional<CommandAt> command;  // that made it; nothing for a removed one
};

struct DrawnChain {
  std::string program, table, name;
  bool is_new = false, is_gone = false;
  std::string policy, policy_before;
  std::vector<DrawnRule> rules;

  // "iptables filter INPUT"
  std::string path() const { return program + " " + table + " " + name; }
};

class FirewallChains {
 public:
  FirewallChains(const Recording &run, const Difference *difference);

  // Null for none.
  const DrawnChain *find(const std::string &program, const std::string &table,
                         const std::string &name) const;
  // The chain that a rule of another leads to, null for none.
  const DrawnChain *target(const DrawnChain &from, const DrawnRule &rule) const;

 private:
  std::map<std::tuple<std::string, std::string, std::string>, DrawnChain> chains_;
};

}  // namespace orba::tool

#endif
