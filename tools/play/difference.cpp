#include "tools/play/difference.h"

#include <algorithm>
#include <set>

#include "tools/play/event_words.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

using sim::Event;
using sim::PacketFilter;
using Lines = std::vector<std::string>;

Lines ruleTexts(const PacketFilter::Chain *chain) {
  Lines texts;
  if (chain == nullptr) return texts;
  for (const PacketFilter::Rule &rule : chain->rules) texts.push_back(rule.text);
  return texts;
}

void compareChains(Difference &difference, const Recording &before, const Recording &after) {
  for (const auto &[program, tables] : after.filter.programs()) {
    for (const auto &[table, chains] : tables) {
      const PacketFilter::Table &old_chains = before.filter.programs().at(program).at(table);
      std::set<std::string> names;
      for (const auto &[name, chain] : old_chains) names.insert(name);
      for (const auto &[name, chain] : chains) names.insert(name);
      for (const std::string &name : names) {
        auto old_chain = old_chains.find(name), chain = chains.find(name);
        const PacketFilter::Chain *was =
            old_chain == old_chains.end() ? nullptr : &old_chain->second;
        const PacketFilter::Chain *is = chain == chains.end() ? nullptr : &chain->second;
        ChainDifference found = {program,
                                 table,
                                 name,
                                 was != nullptr,
                                 is != nullptr,
                                 was != nullptr ? was->policy : "",
                                 is != nullptr ? is->policy : "",
                                 editsWithMoves(ruleTexts(was), ruleTexts(is))};
        if (!found.same()) difference.chains.push_back(std::move(found));
      }
    }
  }
}

void compareFiles(Difference &difference, const Recording &before, const Recording &after) {
  std::set<std::string> paths;
  for (const auto &[path, content] : before.files) paths.insert(path);
  for (const auto &[path, content] : after.files) paths.insert(path);
  for (const std::string &path : paths) {
    auto linesOf = [&](const Recording &run) {
      auto file = run.files.find(path);
      return file == run.files.end() ? Lines() : linesIn(file->second);
    };
    Edits lines = editsBetween(linesOf(before), linesOf(after));
    if (changes(lines)) difference.files.push_back({path, std::move(lines)});
  }
}

Lines otherDeeds(const Recording &run) {
  Lines deeds;
  for (const Event &event : run.events) {
    switch (event.kind) {
      case Event::kCommand:
      case Event::kSet:
      case Event::kBufset:
      case Event::kCommit:
      case Event::kFile:
        break;
      default:
        deeds.push_back(inWords(event));
    }
  }
  if (!run.result.returned.empty()) deeds.push_back("returns " + run.result.returned);
  for (const std::string &output : run.result.outputs) deeds.push_back("answer: " + output);
  return deeds;
}

}  // namespace

bool ChainDifference::same() const {
  return was == is && policy_before == policy_after && !changes(rules);
}

bool Difference::none() const {
  return !changes(commands) && chains.empty() && files.empty() && !changes(writes) &&
         !changes(others);
}

Difference differenceOf(const Recording &before, const Recording &after) {
  Difference difference;
  difference.commands = editsBetween(before.commands, after.commands);
  compareChains(difference, before, after);
  compareFiles(difference, before, after);
  difference.writes = editsBetween(before.writes, after.writes);
  difference.others = editsBetween(otherDeeds(before), otherDeeds(after));
  return difference;
}

}  // namespace orba::tool
