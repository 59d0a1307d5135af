#include "tools/firewall/list.h"

#include <nlohmann/json.hpp>

#include "tools/firewall/layout.h"
#include "tools/firewall/rule_told.h"

namespace orba::tool {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char *kChangeNames[] = {"kept", "added", "removed", "moved"};

Json sourceAsJson(const RuleTold::Source &source) {
  const Origin &origin = source.origin;
  return {{"role", roleName(origin.role)},
          {"space", origin.space},
          {"key", origin.key},
          {"record", origin.record},
          {"value", source.value}};
}

Json ruleAsJson(const DrawnChain &chain, const DrawnRule &rule, const FirewallChains &chains,
                const MadeFirewall &made) {
  const RuleTold told(rule, made);
  const DrawnChain *target = chains.target(chain, rule);
  Json json = {{"number", rule.number},
               {"text", told.text},
               {"words", told.words},
               {"target", rule.parts.target},
               {"leads_to", target != nullptr},
               {"change", kChangeNames[rule.kind]},
               {"note", told.change}};
  if (rule.command) {
    const MadeFirewall::MadeBy by = made.madeBy(*rule.command);
    json["made_by"] = {{"entry", by.entry}, {"number", by.number}, {"part", by.part}};
  }
  json["sources"] = Json::array();
  for (const RuleTold::Source &source : told.sources) {
    json["sources"].push_back(sourceAsJson(source));
  }
  json["more"] = told.more;
  return json;
}

}  // namespace

Json firewallAsJson(const MadeFirewall &made, const Difference *difference) {
  const FirewallChains chains(made.run(), difference);
  const FirewallLayout layout(chains);
  Json stages = Json::array();
  for (const StageBoxes &stage : layout.stages()) {
    Json boxes = Json::array();
    for (const Box &box : stage.boxes) {
      const DrawnChain &chain = *box.chain;
      Json rules = Json::array();
      for (const DrawnRule &rule : chain.rules) {
        rules.push_back(ruleAsJson(chain, rule, chains, made));
      }
      boxes.push_back(
          {{"name", chain.name},
           {"depth", box.depth},
           {"change", chain.is_new    ? "added"
                      : chain.is_gone ? "removed"
                                      : "kept"},
           {"policy", box.policy},
           {"policy_before", difference != nullptr ? chain.policy_before : chain.policy},
           {"rules", rules}});
    }
    stages.push_back({{"program", stage.stage->program},
                      {"table", stage.stage->table},
                      {"meaning", stage.stage->meaning},
                      {"end", stage.stage->end},
                      {"chains", boxes}});
  }
  return {{"stages", stages}};
}

}  // namespace orba::tool
