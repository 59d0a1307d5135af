#include "tools/traffic/blame.h"

#include <set>

#include "tools/traffic/record_words.h"

namespace orba::tool {

Blame::Blame(const DeskRouter &desk, Prepare prepare) : desk_(desk), prepare_(std::move(prepare)) {}

void Blame::ask(const std::vector<packets::RuleAt> &rules) {
  std::vector<size_t> commands;
  for (const packets::RuleAt &rule : rules) commands.push_back(commandOf(rule));
  askOf(commands);
}

void Blame::askOf(const std::vector<size_t> &commands) {
  std::map<size_t, std::set<size_t>> by_run;
  for (size_t command : commands) {
    const bool known = command >= desk_.commands.size() || origins_.contains(command);
    if (!known) by_run[desk_.commands[command].run].insert(command);
  }
  for (const auto &[run, asked] : by_run) {
    std::vector<CommandAt> places;
    for (size_t command : asked) places.push_back(desk_.commands[command].at);
    std::vector<CommandOrigins> found = tool::originsOf(desk_.runs[run], prepare_, places);
    size_t next = 0;
    for (size_t command : asked) origins_[command] = std::move(found[next++]);
  }
}

const std::vector<Origin> &Blame::originsOf(size_t command) {
  static const std::vector<Origin> kNone;
  if (command >= desk_.commands.size()) return kNone;
  auto [known, fresh] = origins_.try_emplace(command);
  if (fresh) {
    const auto &[run, at] = desk_.commands[command];
    known->second = tool::originsOf(desk_.runs[run], prepare_, {at})[0];
  }
  return known->second;
}

size_t Blame::commandOf(const packets::RuleAt &at) const {
  const packets::Chain *chain = desk_.router.chain(at.place);
  const bool policy = at.rule == packets::RuleAt::kPolicy;
  return policy ? chain->policy_command : chain->rules[at.rule].command;
}

const std::vector<Origin> &Blame::originsOf(const packets::RuleAt &at) {
  return originsOf(commandOf(at));
}

std::string Blame::nameOf(const Origin &origin, size_t command) const {
  const std::string value = valueOf(origin, desk_.runs[desk_.commands[command].run]);
  if (origin.record == 0) return origin.key + "=" + value;
  return "record " + std::to_string(origin.record) + " of " + origin.key + " (" +
         recordInWords(origin.key, origin.space, value) + ")";
}

std::string Blame::nameOf(size_t command) {
  const std::vector<Origin> &origins = originsOf(command);
  return origins.empty() ? "" : nameOf(origins[0], command);
}

std::string Blame::nameOf(const packets::RuleAt &at) {
  const std::string name = nameOf(commandOf(at));
  return name.empty() ? "a rule that is always there" : name;
}

}  // namespace orba::tool
