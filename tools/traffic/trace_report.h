// A packet's way for people, as the chains of `orba plan --tables` with what it met there, and
// for programs.
#ifndef ORBA_TOOLS_TRAFFIC_TRACE_REPORT_H
#define ORBA_TOOLS_TRAFFIC_TRACE_REPORT_H

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <vector>

#include "tools/traffic/trace.h"

namespace orba::tool {

// With `why`, each rule that did not match and why. The last line is the verdict.
void printTrace(std::ostream &out, const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                Blame &blame, bool why);
nlohmann::ordered_json traceAsJson(const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                                   Blame &blame);

// Why a rule does not match: "the protocol is udp, not tcp". Empty where it does.
std::string whyNot(const packets::Rule &rule, const packets::Packet &packet,
                   const DeskRouter &desk);

}  // namespace orba::tool

#endif
