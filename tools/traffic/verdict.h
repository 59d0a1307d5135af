// Where a packet ends and why, in one sentence.
#ifndef ORBA_TOOLS_TRAFFIC_VERDICT_H
#define ORBA_TOOLS_TRAFFIC_VERDICT_H

#include <string>
#include <vector>

#include "tools/traffic/trace.h"

namespace orba::tool {

// "record 1 of IPPortFilterRules (192.168.1.20 to any, TCP 25)"; "rule 8 of INPUT, because of
// DefaultFirewallPolicy=1"; "rule 7 of INPUT, which is always there"; "the policy of FORWARD".
std::string causeText(const packets::RuleAt &at, const DeskRouter &desk, Blame &blame);

// What a question is about: "how many such packets came lately (--limit 1/s)".
std::string questionText(packets::FieldId question, const DeskRouter &desk);

// "dropped by record 1 of IPPortFilterRules (192.168.1.20 to any, TCP 25)"
std::string verdictSentence(const FollowedWay &way, const DeskRouter &desk, Blame &blame);
// The same of all ways together. Where they end differently: on what it depends, and how.
std::string verdictSentence(const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                            Blame &blame);

// The sentence with its subject: "its answer is dropped by ...", "its answer depends on ...".
std::string withVerb(const std::string &sentence, const std::string &subject);

}  // namespace orba::tool

#endif
