#include "tools/traffic/blame.h"

namespace orba::tool {

Blame::Blame(const DeskRouter &desk, Prepare prepare)
    : desk_(desk), prepare_(std::move(prepare)), origins_(desk.runs.size()) {}

const std::vector<Origin> &Blame::originsOf(size_t command) {
  static const std::vector<Origin> kNone;
  if (command >= desk_.commands.size()) return kNone;
  const DeskRouter::Command &at = desk_.commands[command];
  std::optional<Origins> &origins = origins_[at.run];
  if (!origins) origins = tool::originsOf(desk_.runs[at.run], prepare_);
  return (*origins)[at.command];
}

const std::vector<Origin> &Blame::originsOf(const packets::RuleAt &at) {
  const packets::Chain *chain = desk_.router.chain(at.place);
  const bool policy = at.rule == packets::RuleAt::kPolicy;
  return originsOf(policy ? chain->policy_command : chain->rules[at.rule].command);
}

std::string Blame::nameOf(const packets::RuleAt &at) {
  const std::vector<Origin> &origins = originsOf(at);
  if (origins.empty()) return "a rule that is always there";
  const Origin &closest = origins[0];
  const packets::Chain *chain = desk_.router.chain(at.place);
  const bool policy = at.rule == packets::RuleAt::kPolicy;
  const size_t command = policy ? chain->policy_command : chain->rules[at.rule].command;
  const std::string value = valueOf(closest, desk_.runs[desk_.commands[command].run]);
  if (closest.record != 0) {
    return "record " + std::to_string(closest.record) + " of " + closest.key + " (" + value + ")";
  }
  return closest.key + "=" + value;
}

}  // namespace orba::tool
