// JSON for programs.
#ifndef ORBA_TOOLS_TEXT_JSON_H
#define ORBA_TOOLS_TEXT_JSON_H

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>

namespace orba::tool {

// The text of a JSON value; bytes that are no UTF-8 are replaced. With `ascii`, every
// other character is escaped.
std::string dumped(const nlohmann::ordered_json &value, bool ascii = false);
// A JSON value as a line for standard output: in ASCII when that is a terminal.
void printJson(std::ostream &out, const nlohmann::ordered_json &value);

}  // namespace orba::tool

#endif
