// The room tools/show: answers, put for people and for programs: plans, changes,
// explanations, findings, tables. What is found out elsewhere is worded here.
//
// What came of a call on the simulated device, for people and for programs.
#ifndef ORBA_TOOLS_SHOW_REPORT_H
#define ORBA_TOOLS_SHOW_REPORT_H

#include <nlohmann/json_fwd.hpp>
#include <ostream>

#include "tools/play/origin.h"
#include "tools/play/recording.h"

namespace orba::tool {

// ", returns 0" behind what was counted, and the answers below it.
void printAnswer(std::ostream &out, const Call &call);
// What was called and what it answered, to be followed by what it did.
nlohmann::ordered_json answerAsJson(const Call &call);

// The commands in order, numbered; between them, marked, what else was done.
// With origins, below each command what it came from.
void printPlan(std::ostream &out, const Recording &run, const Origins *origins = nullptr);
// The exact lines given to the shell, one a line.
void printRaw(std::ostream &out, const Recording &run);
nlohmann::ordered_json planAsJson(const Recording &run, const Origins *origins = nullptr);

// The chains that the commands make of an empty packet filter, and the commands
// that change routes. With `words`, what they say of each rule.
using RuleWords = sim::PacketFilter::Words;
void printTables(std::ostream &out, const Recording &run, RuleWords words = nullptr);
nlohmann::ordered_json tablesAsJson(const Recording &run, RuleWords words = nullptr);

}  // namespace orba::tool

#endif
