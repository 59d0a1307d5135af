// Which setting is to blame for a rule, or for its absence.
#ifndef ORBA_TOOLS_TRAFFIC_BLAME_H
#define ORBA_TOOLS_TRAFFIC_BLAME_H

#include <future>
#include <map>
#include <string>
#include <vector>

#include "packets/router.h"
#include "tools/play/origin.h"
#include "tools/traffic/desk_router.h"

namespace orba::tool {

class Blame {
 public:
  Blame(const DeskRouter &desk, Prepare prepare);

  // Begins with the answers about the run of an entry point of the start, beside what is done
  // meanwhile.
  void askAhead(const std::string &entry);
  // What a command came from, the closest first; nothing for one that is always the same. The
  // first answer about a run of an entry point costs many more such runs; those about its other
  // commands are known then.
  void ask(const std::vector<packets::RuleAt> &rules);
  void askOf(const std::vector<size_t> &commands);
  const std::vector<Origin> &originsOf(size_t command);
  // The same of what decided: a rule, or the policy of a chain.
  const std::vector<Origin> &originsOf(const packets::RuleAt &at);
  // The command that made it; none of the commands for what was there before.
  size_t commandOf(const packets::RuleAt &at) const;
  // The closest of them: "record 1 of IPPortFilterRules (192.168.1.20 to any, TCP 25)",
  // "DefaultFirewallPolicy=0"; empty for none.
  std::string nameOf(size_t command);
  // The same; "a rule that is always there" for none.
  std::string nameOf(const packets::RuleAt &at);
  // Any of the origins of a command.
  std::string nameOf(const Origin &origin, size_t command) const;

 private:
  const DeskRouter &desk_;
  Prepare prepare_;
  std::map<size_t, CommandOrigins> origins_;      // by command
  std::map<size_t, std::future<Origins>> ahead_;  // by run
};

}  // namespace orba::tool

#endif
