// The records of settings that make rules and routes, in words.
#ifndef ORBA_TOOLS_TRAFFIC_RECORD_WORDS_H
#define ORBA_TOOLS_TRAFFIC_RECORD_WORDS_H

#include <string>

namespace orba::tool {

// "192.168.1.20 to any, TCP 25" for a record of IPPortFilterRules, by the names that its fields
// have in the table of settings. A record of one field is its own words.
std::string recordInWords(const std::string &key, int space, const std::string &record);

}  // namespace orba::tool

#endif
