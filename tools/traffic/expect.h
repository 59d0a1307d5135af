// What a configuration is to hold, one sentence a line, and whether it does.
//
//   wan cannot reach router tcp/80
//   lan 192.168.1.20 cannot reach wan tcp/25
//   lan with mac 00:0C:43:28:60:2A cannot reach wan
//   wan can reach 192.168.1.10 tcp/443            # after translation
//   lan can reach wan 198.51.100.0/24 tcp/80-90 udp/53 icmp
//
//   SIDE [ADDRESS] [with mac MAC] can|cannot reach router|SIDE|ADDRESS [PROTOCOL[/PORT[-PORT]]]...
//
// A SIDE may have an ADDRESS behind it, a host or a network such as 192.168.1.0/24, on both ends.
// Without a protocol every one is spoken of. '#' begins a comment.
#ifndef ORBA_TOOLS_TRAFFIC_EXPECT_H
#define ORBA_TOOLS_TRAFFIC_EXPECT_H

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "packets/interval_set.h"
#include "packets/packet.h"
#include "packets/rule.h"
#include "tools/text/progress.h"
#include "tools/traffic/blame.h"
#include "tools/traffic/side_ways.h"

namespace orba::tool {

struct Expectation {
  std::string file;
  int line = 0;
  std::string text;  // as it stands there, but for the comment

  std::string from;                           // a side
  packets::Conditions senders;                // which of its hosts
  bool can = false;                           //
  std::string to;                             // a side or kRouter; empty: wherever `hosts` are
  std::optional<packets::IntervalSet> hosts;  // nothing: all there
  std::vector<packets::Conditions> what;      // any of these; none: everything
};

// Throws BadConfig with file, line and what is wrong, one line for each fault.
std::vector<Expectation> readExpectations(const std::string &path, const DeskRouter &desk);

struct Judgement {
  bool holds = true;
  std::optional<packets::Packet> witness;  // that breaks it; nothing: it speaks of nobody
  std::string why;   // what becomes of that: "dropped by record 1 of IPPortFilterRules (...)"
  std::string note;  // of one that holds: that the answer would not come back; or empty
};

// Packets are those that begin something (SideWays::beginnings).
// "cannot" holds when none of them gets there, whatever the unanswered questions' answers are and
// whatever a program does with those that it is given. "can" holds when from each host each
// protocol and port of the destination is reached by a packet, whatever the answers are: where
// addresses are translated the router is asked, and the host behind it is reached. What only a
// neighbour on a WAN's wire can send counts for "cannot", and not for "can"; so does what comes
// in by the Ethernet below a WAN that is a PPP link. What speaks of hosts
// that a side has not does not hold.
bool holds(const Expectation &expectation, SideWays &ways);
// The same, with the reasons.
Judgement judge(const Expectation &expectation, SideWays &ways, Blame &blame);

// Which rules matter to expectations: those that decide or translate are taken out one by one.
struct Coverage {
  std::vector<packets::RuleAt> unmissed;  // without which all that hold go on holding
  size_t unmet = 0;  // of no packet that begins something, of which alone expectations speak
};
// Progress is told of rules.
Coverage coverageOf(const std::vector<Expectation> &expectations, SideWays &ways,
                    const Progress &progress = {});

// What came of some expectations.
struct Expected {
  std::vector<Judgement> judgements;  // in their order
  std::optional<Coverage> coverage;   // when it was asked for
};

void printExpected(std::ostream &out, const std::vector<Expectation> &expectations,
                   const Expected &expected, const DeskRouter &desk, Blame &blame);
nlohmann::ordered_json expectedAsJson(const std::vector<Expectation> &expectations,
                                      const Expected &expected, const DeskRouter &desk,
                                      Blame &blame);

}  // namespace orba::tool

#endif
