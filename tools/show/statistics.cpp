#include "tools/show/statistics.h"

#include <iomanip>
#include <sstream>

#include "tools/text/lines.h"

namespace orba::tool {

namespace {

constexpr const char *kSources[] = {
    "WAN 1", "WAN 2", "WAN 3", "WAN 4", "port 3", "port 2", "port 1", "port 0",
    "ra0",   "ra1",   "ra2",   "ra3",   "wifi0",  "wifi1",  "wifi2",  "wifi3",
};

constexpr const char *kColumns[] = {
    "packets out", "packets in", "bytes out",  "bytes in",
    "dropped out", "dropped in", "errors out", "errors in",
};

}  // namespace

void printStatistics(std::ostream &out, const std::string &answer) {
  out << std::left << std::setw(7) << "" << std::right;
  for (const char *column : kColumns) out << std::setw(14) << column;
  out << "\n";
  std::istringstream groups(answer);
  size_t number = 0;
  for (std::string group; std::getline(groups, group, '@'); number++) {
    const char *source = number < std::size(kSources) ? kSources[number] : "?";
    out << std::left << std::setw(7) << source << std::right;
    std::istringstream counters(group);
    for (std::string counter; std::getline(counters, counter, ',');)
      out << std::setw(14) << visible(counter);
    out << "\n";
  }
}

}  // namespace orba::tool
