// All that questions about all packets of one router need.
#ifndef ORBA_TOOLS_TRAFFIC_INQUIRY_H
#define ORBA_TOOLS_TRAFFIC_INQUIRY_H

#include <vector>

#include "packets/diagram.h"
#include "tools/traffic/blame.h"
#include "tools/traffic/desk_router.h"
#include "tools/traffic/side_ways.h"

namespace orba::tool {

struct Inquiry {
  Inquiry(const std::vector<nvram::Setting> &config, const Prepare &prepare)
      : desk(deskRouter(config, prepare)), ways(desk, diagrams), blame(desk, prepare) {}
  Inquiry(const Inquiry &) = delete;
  Inquiry &operator=(const Inquiry &) = delete;

  const DeskRouter desk;
  packets::Diagrams diagrams;
  SideWays ways;
  Blame blame;
};

}  // namespace orba::tool

#endif
