// The packet filter that a run makes, as a list of its chains.
#ifndef ORBA_TOOLS_FIREWALL_LIST_H
#define ORBA_TOOLS_FIREWALL_LIST_H

#include <nlohmann/json_fwd.hpp>

#include "tools/firewall/made_firewall.h"
#include "tools/play/difference.h"

namespace orba::tool {

// The stages of the picture in its order, with the chains that a packet first meets there, each
// behind the one that leads to it; of every rule what the picture tells of it.
nlohmann::ordered_json firewallAsJson(const MadeFirewall &made,
                                      const Difference *difference = nullptr);

}  // namespace orba::tool

#endif
