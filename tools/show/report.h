// The room tools/show: answers, put for people and for programs: plans, changes,
// explanations, findings, tables. What is found out elsewhere is worded here.
//
// What came of a call on the simulated device, for people and for programs.
#ifndef ORBA_TOOLS_SHOW_REPORT_H
#define ORBA_TOOLS_SHOW_REPORT_H

#include <nlohmann/json_fwd.hpp>
#include <ostream>

#include "sim/device.h"
#include "tools/catalog/entry_point.h"
#include "tools/play/origin.h"

namespace orba::tool {

struct Call {
  const EntryPoint &entry;
  std::vector<std::string> words;
  CallResult result;
};

// The commands in order, numbered; between them, marked, what else was done.
// With origins, below each command what it came from.
void printPlan(std::ostream &out, const Call &call, const sim::Device &device,
               const Origins *origins = nullptr);
// The exact lines given to the shell, one a line.
void printRaw(std::ostream &out, const sim::Device &device);
nlohmann::ordered_json planAsJson(const Call &call, const sim::Device &device,
                                  const Origins *origins = nullptr);

// The chains that the commands make of an empty packet filter, and the commands
// that change routes.
void printTables(std::ostream &out, const sim::Device &device);
nlohmann::ordered_json tablesAsJson(const sim::Device &device);

}  // namespace orba::tool

#endif
