#include "tools/firewall/chains.h"

namespace orba::tool {

namespace {

using sim::PacketFilter;

void addRule(DrawnChain &chain, const Edit &edit, const PacketFilter::Chain *now) {
  DrawnRule rule;
  rule.kind = edit.kind;
  rule.number = edit.after != 0 ? edit.after : edit.before;
  rule.was = edit.kind == Edit::kMoved ? edit.before : 0;
  rule.text = edit.text;
  rule.parts = partsOf(edit.text);
  if (now != nullptr && edit.after != 0) {
    const PacketFilter::Rule &made = now->rules.at(edit.after - 1);
    rule.command = {made.line, made.part};
  }
  chain.rules.push_back(std::move(rule));
}

}  // namespace

FirewallChains::FirewallChains(const Recording &run, const Difference *difference) {
  for (const auto &[program, tables] : run.filter.programs()) {
    for (const auto &[table, chains] : tables) {
      for (const auto &[name, chain] : chains) {
        DrawnChain drawn = {program, table, name, false, false, chain.policy, chain.policy, {}};
        size_t number = 0;
        for (const PacketFilter::Rule &rule : chain.rules) {
          number++;
          addRule(drawn, {Edit::kKept, rule.text, number, number}, &chain);
        }
        chains_[{program, table, name}] = std::move(drawn);
      }
    }
  }
  if (difference == nullptr) return;
  for (const ChainDifference &changed : difference->chains) {
    DrawnChain drawn = {changed.program, changed.table,        changed.chain,         !changed.was,
                        !changed.is,     changed.policy_after, changed.policy_before, {}};
    const PacketFilter::Table &table = run.filter.programs().at(changed.program).at(changed.table);
    auto chain = table.find(changed.chain);
    for (const Edit &edit : changed.rules) {
      addRule(drawn, edit, chain != table.end() ? &chain->second : nullptr);
    }
    chains_[{changed.program, changed.table, changed.chain}] = std::move(drawn);
  }
}

const DrawnChain *FirewallChains::find(const std::string &program, const std::string &table,
                                       const std::string &name) const {
  auto found = chains_.find({program, table, name});
  return found != chains_.end() ? &found->second : nullptr;
}

const DrawnChain *FirewallChains::target(const DrawnChain &from, const DrawnRule &rule) const {
  return rule.parts.target.empty() ? nullptr : find(from.program, from.table, rule.parts.target);
}

}  // namespace orba::tool
