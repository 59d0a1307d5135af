// Which setting is to blame for a rule, or for its absence.
#ifndef ORBA_TOOLS_TRAFFIC_BLAME_H
#define ORBA_TOOLS_TRAFFIC_BLAME_H

#include <optional>
#include <string>
#include <vector>

#include "packets/router.h"
#include "tools/play/origin.h"
#include "tools/traffic/desk_router.h"

namespace orba::tool {

class Blame {
 public:
  Blame(const DeskRouter &desk, Prepare prepare);

  // What a command came from, the closest first; nothing for one that is always the same. Each
  // answer costs runs of the entry point, and is kept.
  const std::vector<Origin> &originsOf(size_t command);
  // The same of what decided: a rule, or the policy of a chain.
  const std::vector<Origin> &originsOf(const packets::RuleAt &at);
  // "record 1 of IPPortFilterRules (192.168.1.20,,0,0,any/0,,25,0,1,1,no mail,,,,)",
  // "DefaultFirewallPolicy=0", "a rule that is always there".
  std::string nameOf(const packets::RuleAt &at);

 private:
  const DeskRouter &desk_;
  Prepare prepare_;
  std::vector<std::optional<Origins>> origins_;  // by run
};

}  // namespace orba::tool

#endif
