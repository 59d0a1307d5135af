#include "tools/firewall/made_firewall.h"

#include <algorithm>

#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// The commands behind all rules of a filter, in order.
std::vector<CommandAt> commandsBehind(const sim::PacketFilter &filter) {
  std::vector<CommandAt> commands;
  for (const auto &[program, tables] : filter.programs()) {
    for (const auto &[table, chains] : tables) {
      for (const auto &[name, chain] : chains) {
        for (const auto &rule : chain.rules) commands.push_back({rule.line, rule.part});
      }
    }
  }
  auto order = [](const CommandAt &at) { return std::pair(at.line, at.part); };
  std::sort(commands.begin(), commands.end(),
            [&](const CommandAt &a, const CommandAt &b) { return order(a) < order(b); });
  return commands;
}

}  // namespace

MadeFirewall::MadeFirewall(const Recording &run, const Origins &origins)
    : run_(run), origins_(origins), entries_({{run.entry, 0}}) {
  splitLists();
}

MadeFirewall::MadeFirewall(const std::vector<Recording> &runs, const Prepare &prepare) {
  run_.config = runs.at(0).config;
  splitLists();
  for (const Recording &each : runs) {
    entries_.push_back({each.entry, run_.commands.size()});
    run_.commands.insert(run_.commands.end(), each.commands.begin(), each.commands.end());
  }
  run_.filter.run(run_.commands);
  origins_.resize(run_.commands.size());
  const std::vector<CommandAt> commands = commandsBehind(run_.filter);
  for (size_t i = 0; i < runs.size(); i++) {
    const size_t first = entries_[i].first, end = first + runs[i].commands.size();
    std::vector<CommandAt> asked;
    for (const CommandAt &at : commands) {
      if (at.line >= first && at.line < end) asked.push_back({at.line - first, at.part});
    }
    if (asked.empty()) continue;
    const Origins found = tool::originsOf(runs[i], prepare);
    for (const CommandAt &at : asked) {
      std::vector<CommandOrigins> &parts = origins_[first + at.line];
      parts.resize(std::max(parts.size(), at.part + 1));
      parts[at.part] = found[at.line][at.part];
    }
  }
}

// Once: each record is asked for, and a list has thousands.
void MadeFirewall::splitLists() {
  for (const nvram::Setting &each : run_.config) {
    records_[{each.space, each.key}] = splitAt(each.value, ';');
  }
}

const std::string &MadeFirewall::valueOf(const Origin &origin) const {
  static const std::string kNone;
  if (origin.record != 0) {
    return records_.at({origin.space, origin.key}).at(static_cast<size_t>(origin.record) - 1);
  }
  const std::string *value = run_.value(origin.space, origin.key);
  return value != nullptr ? *value : kNone;
}

MadeFirewall::MadeBy MadeFirewall::madeBy(const CommandAt &at) const {
  auto behind = std::find_if(entries_.begin(), entries_.end(),
                             [&](const Entry &each) { return each.first > at.line; });
  const Entry &entry = *std::prev(behind);
  return {entry.name, at.line - entry.first + 1, at.part};
}

std::string MadeFirewall::nameOf(const CommandAt &at) const {
  const MadeBy made = madeBy(at);
  const std::string name = "command " + std::to_string(made.number);
  return entries_.size() == 1 ? name : name + " of " + made.entry;
}

const CommandOrigins *MadeFirewall::originsOf(const CommandAt &at) const {
  const bool known = at.line < origins_.size() && at.part < origins_[at.line].size();
  return known ? &origins_[at.line][at.part] : nullptr;
}

}  // namespace orba::tool
