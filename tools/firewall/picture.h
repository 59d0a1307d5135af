// The packet filter that a run makes, as a picture.
#ifndef ORBA_TOOLS_FIREWALL_PICTURE_H
#define ORBA_TOOLS_FIREWALL_PICTURE_H

#include <string>

#include "tools/firewall/made_firewall.h"
#include "tools/play/difference.h"

namespace orba::tool {

// An SVG text: the chains as packets meet them, a row for each rule, and one that opens for a
// long stretch of them; no script is needed for that. Hovering over a rule tells what it does
// and where it comes from. With a difference, of which `made` is the later side, added and moved
// rules are marked and removed ones shown. Nothing that a setting holds is more than text in it.
std::string firewallPicture(const MadeFirewall &made, const Difference *difference = nullptr);
// The same of one run.
std::string firewallPicture(const Recording &run, const Origins &origins,
                            const Difference *difference = nullptr);

}  // namespace orba::tool

#endif
