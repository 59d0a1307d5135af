// What is told of a rule beside its text.
#ifndef ORBA_TOOLS_FIREWALL_RULE_TOLD_H
#define ORBA_TOOLS_FIREWALL_RULE_TOLD_H

#include <string>
#include <vector>

#include "tools/firewall/chains.h"
#include "tools/firewall/made_firewall.h"

namespace orba::tool {

struct RuleTold {
  RuleTold(const DrawnRule &rule, const MadeFirewall &made);

  std::string text;    // as it was given
  std::string words;   // ruleInWords()
  std::string change;  // "New.", "Was rule 3."; empty for none
  // Where it comes from, the closest first, and as many as a person reads.
  struct Source {
    Origin origin;
    std::string value;  // of it, cut short
  };
  bool known = false;  // whether anybody asked where it comes from
  std::vector<Source> sources;
  size_t more = 0;      // besides those
  std::string command;  // "command 12"; empty for a rule that is gone

  // All of it, empty lines between: "from PortForwardRules, record 1: ...", "because of ...".
  std::vector<std::string> lines() const;
};

}  // namespace orba::tool

#endif
