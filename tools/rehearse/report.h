// A rehearsal's report for people: as text, and as a page that needs no server.
#ifndef ORBA_TOOLS_REHEARSE_REPORT_H
#define ORBA_TOOLS_REHEARSE_REPORT_H

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace orba::tool {

// Both are made of what "report.json" holds. Nothing of a configuration becomes markup, or a
// terminal's command.
std::string reportText(const nlohmann::ordered_json &report);
std::string reportPage(const nlohmann::ordered_json &report);

}  // namespace orba::tool

#endif
