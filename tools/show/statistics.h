// The traffic counters as a table.
#ifndef ORBA_TOOLS_SHOW_STATISTICS_H
#define ORBA_TOOLS_SHOW_STATISTICS_H

#include <ostream>
#include <string>

namespace orba::tool {

// Prints the answer of getCurrentPacketStatistic: a row for each of its groups.
void printStatistics(std::ostream &out, const std::string &answer);

}  // namespace orba::tool

#endif
