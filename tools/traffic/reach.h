// What of a configuration no packet meets, and what packets meet that nobody asked for.
#ifndef ORBA_TOOLS_TRAFFIC_REACH_H
#define ORBA_TOOLS_TRAFFIC_REACH_H

#include <vector>

#include "tools/catalog/finding.h"
#include "tools/traffic/blame.h"
#include "tools/traffic/side_ways.h"

namespace orba::tool {

// Records and defences whose rules act on no packet, from whatever side and in whatever state,
// with what stands before them; forwarded ports that an earlier record has in part; records whose
// rules the tools refuse; and the ports of the router that the Internet reaches though no setting
// opens them.
std::vector<Finding> checkTraffic(SideWays &ways, Blame &blame);

}  // namespace orba::tool

#endif
