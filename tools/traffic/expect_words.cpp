// The lines of `orba expect`.
#include <nlohmann/json.hpp>
#include <ostream>

#include "tools/text/lines.h"
#include "tools/traffic/expect.h"
#include "tools/traffic/packet_words.h"
#include "tools/traffic/question.h"

namespace orba::tool {

namespace {

using Json = nlohmann::ordered_json;

const std::string &textOf(const packets::RuleAt &rule, const DeskRouter &desk) {
  return desk.router.chain(rule.place)->rules[rule.rule].text;
}

}  // namespace

void printExpected(std::ostream &out, const std::vector<Expectation> &expectations,
                   const Expected &expected, const DeskRouter &desk, Blame &blame) {
  const uint64_t ordinary_mac = macOfNoRule(desk.router);
  size_t failed = 0;
  for (size_t i = 0; i < expectations.size(); i++) {
    const Expectation &each = expectations[i];
    const Judgement &judgement = expected.judgements[i];
    if (judgement.holds && judgement.note.empty()) continue;
    out << visible(each.file) << ":" << each.line << ": \"" << visible(each.text) << "\" ";
    if (judgement.holds) {
      out << "holds, but " << visible(judgement.note) << "\n";
      continue;
    }
    failed++;
    out << "fails\n    ";
    if (judgement.witness) out << sentText(*judgement.witness, ordinary_mac) << ": ";
    out << visible(judgement.why) << "\n";
  }
  out << expectations.size() << (expectations.size() == 1 ? " expectation, " : " expectations, ")
      << (failed == 0 ? "all hold" : std::to_string(failed) + (failed == 1 ? " fails" : " fail"))
      << "\n";
  if (!expected.coverage) return;
  blame.ask(expected.coverage->unmissed);
  out << "\nrules that no expectation would miss: " << expected.coverage->unmissed.size() << "\n";
  const packets::Place *place = nullptr;
  for (const packets::RuleAt &rule : expected.coverage->unmissed) {
    if (place == nullptr || *place != rule.place) out << placeText(rule.place) << "\n";
    place = &rule.place;
    out << "  " << rule.rule + 1 << "  " << visible(textOf(rule, desk)) << "  by "
        << visible(blame.nameOf(rule)) << "\n";
  }
  out << "rules that no packet meets which begins something: " << expected.coverage->unmet << "\n";
}

Json expectedAsJson(const std::vector<Expectation> &expectations, const Expected &expected,
                    const DeskRouter &desk, Blame &blame) {
  Json all = Json::array();
  for (size_t i = 0; i < expectations.size(); i++) {
    const Expectation &each = expectations[i];
    const Judgement &judgement = expected.judgements[i];
    Json made = {{"file", each.file},        {"line", each.line},    {"expectation", each.text},
                 {"holds", judgement.holds}, {"why", judgement.why}, {"note", judgement.note}};
    if (judgement.witness) {
      made["witness"] = packetAsJson(*judgement.witness, desk.router.network());
    }
    all.push_back(std::move(made));
  }
  Json made = {{"expectations", std::move(all)}};
  if (!expected.coverage) return made;
  blame.ask(expected.coverage->unmissed);
  Json rules = Json::array();
  for (const packets::RuleAt &rule : expected.coverage->unmissed) {
    rules.push_back({{"chain", placeText(rule.place)},
                     {"rule", rule.rule + 1},
                     {"text", textOf(rule, desk)},
                     {"by", blame.nameOf(rule)}});
  }
  made["unmissed"] = std::move(rules);
  made["unmet"] = expected.coverage->unmet;
  return made;
}

}  // namespace orba::tool
