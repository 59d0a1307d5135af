// What becomes of one packet, and of the answer to it.
#ifndef ORBA_TOOLS_TRAFFIC_TRACE_H
#define ORBA_TOOLS_TRAFFIC_TRACE_H

#include <string>
#include <vector>

#include "packets/walk.h"
#include "tools/traffic/blame.h"
#include "tools/traffic/desk_router.h"
#include "tools/traffic/question.h"

namespace orba::tool {

// One way that a packet may go: what it meets of questions that nobody can answer is taken to be
// so or not.
struct FollowedWay {
  std::vector<packets::FieldId> asked;  // the questions, in the order in which it met them
  packets::Packet packet;               // as it sets out, with their answers
  packets::Walk walk;
  // Of the answer to a first packet that got somewhere; none for any other, and none where the
  // router never sees it: a host that has the sender in its own network answers it by itself.
  std::vector<FollowedWay> answers = {};
  bool answered_past = false;
  // Of what the sender then says over such a connection, where rules look at that.
  std::vector<FollowedWay> data = {};

  bool matched(packets::FieldId question) const { return packet[question] == 1; }
};

// Whether a question is about what a packet carries.
bool isAboutText(const std::string &question);
// Whether the answer to a question is open for a packet: one about a page's text is not for a
// packet that carries none, which has nothing that could match.
bool isOpen(packets::FieldId question, const packets::Packet &packet, const DeskRouter &desk);

// All ways of a packet, the one first where no question's rule matches.
std::vector<FollowedWay> waysOf(const packets::Packet &packet, const DeskRouter &desk);

// The commands that made what decided on the ways, translated or led on: all whose origins are
// told of them.
std::vector<size_t> commandsOf(const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                               const Blame &blame);
// The rule that leads a packet to the table of a route, null for a table that needs none.
const packets::RoutingRule *ruleOf(const packets::Route &route, uint64_t mark,
                                   const DeskRouter &desk);
// Whether a rule decides or translates what it matches, or only leads on.
bool acts(const packets::Rule &rule);

// A command that had no effect, and that a rule or a route is missing for where the packet went.
struct MissingCommand {
  packets::Refusal refusal;
  std::string setting;  // "record 3 of IPPortFilterRules (...)", empty for none
};
std::vector<MissingCommand> missingFor(const std::vector<FollowedWay> &ways, const DeskRouter &desk,
                                       Blame &blame);

}  // namespace orba::tool

#endif
