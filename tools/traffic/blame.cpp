#include "tools/traffic/blame.h"

#include "tools/traffic/record_words.h"

namespace orba::tool {

Blame::Blame(const DeskRouter &desk, Prepare prepare) : desk_(desk), prepare_(std::move(prepare)) {}

void Blame::ask(const std::vector<packets::RuleAt> &rules) {
  std::vector<size_t> commands;
  for (const packets::RuleAt &rule : rules) commands.push_back(commandOf(rule));
  askOf(commands);
}

void Blame::askAhead(const std::string &entry) {
  for (size_t run = 0; run < desk_.runs.size(); run++) {
    if (desk_.runs[run].entry != entry) continue;
    ahead_[run] = std::async([this, run] { return tool::originsOf(desk_.runs[run], prepare_); });
  }
}

// Those of a whole run cost little more than one.
void Blame::askOf(const std::vector<size_t> &commands) {
  for (size_t asked : commands) {
    if (asked >= desk_.commands.size() || origins_.contains(asked)) continue;
    const size_t run = desk_.commands[asked].run;
    auto ahead = ahead_.extract(run);
    const Origins found = ahead ? ahead.mapped().get() : tool::originsOf(desk_.runs[run], prepare_);
    for (size_t i = 0; i < desk_.commands.size(); i++) {
      const auto &[its_run, at] = desk_.commands[i];
      if (its_run == run) origins_[i] = found[at.line][at.part];
    }
  }
}

const std::vector<Origin> &Blame::originsOf(size_t command) {
  static const std::vector<Origin> kNone;
  if (command >= desk_.commands.size()) return kNone;
  askOf({command});
  return origins_[command];
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
