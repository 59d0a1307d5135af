// A rule of the packet filter, taken apart and put into words.
#ifndef ORBA_TOOLS_FIREWALL_RULE_WORDS_H
#define ORBA_TOOLS_FIREWALL_RULE_WORDS_H

#include <string>

namespace orba::tool {

// The text of a sim::PacketFilter::Rule in its parts, quoted as it was.
struct RuleParts {
  std::string match;   // "-i eth2.2 -p tcp --dport 443"
  std::string target;  // "DNAT", empty for none
  std::string detail;  // what the target is told: "192.168.1.10"
};

RuleParts partsOf(const std::string &rule);

// "TCP from 192.168.1.20 to port 25 is dropped." For what it does not know, the
// words of the rule itself.
std::string ruleInWords(const std::string &rule);

}  // namespace orba::tool

#endif
