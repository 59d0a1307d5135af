// What came of a call on the simulated device, for people and for programs.
#ifndef ORBA_TOOLS_REPORT_H
#define ORBA_TOOLS_REPORT_H

#include <nlohmann/json.hpp>
#include <ostream>

#include "sim/device.h"
#include "terminal.h"
#include "tools/orba/entry.h"
#include "tools/orba/origin.h"

namespace orba::tool {

struct Call {
  const Entry &entry;
  std::vector<std::string> words;
  Answer answer;
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

// The text of a JSON value; bytes that are no UTF-8 are replaced. With `ascii`, every
// other character is escaped.
std::string dumped(const nlohmann::ordered_json &value, bool ascii = false);
// A JSON value as a line for standard output: in ASCII when that is a terminal.
void printJson(std::ostream &out, const nlohmann::ordered_json &value);

// "reads: cat /proc/uptime": anything that was done, but for its command alone.
std::string inWords(const sim::Event &event);

// The lines of a text, the last one with or without its newline.
std::vector<std::string> linesIn(const std::string &text);

using nvram::forReader;
using nvram::visible;

}  // namespace orba::tool

#endif
