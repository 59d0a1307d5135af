// One filter rule by IP address, port, protocol and MAC address.
#ifndef ORBA_FIREWALL_IP_PORT_RULE_H
#define ORBA_FIREWALL_IP_PORT_RULE_H

#include "core/command.h"
#include "core/setting.h"
#include "core/text.h"

#pragma GCC visibility push(hidden)
namespace orba {

enum FilterProtocol { kFilterTcp = 1, kFilterUdp = 2, kFilterIcmp = 4, kFilterAny = 5 };

constexpr int kFilterDrop = 0;
constexpr int kFilterAccept = 1;

// One end of the traffic; empty texts and zero ports match everything.
struct FilterSide {
  const char *mac;
  const char *mac_end;
  const char *address;
  const char *mask;
  int port;
  int port_end;
};

struct FilterMatch {
  FilterSide source;
  FilterSide destination;
  int protocol;
};

// What every rule takes from the settings.
struct FilterSettings {
  bool for_router = setting("IPPortFilterType").is("WAN_TO_WAN");
  bool stateful = setting("SPIFWEnabled").on();
};

// The command up to its target, and the target apart from it: the logging twin
// has the same match, and no "-j" inside a value can be taken for the target.
struct FilterRule {
  Text<kCommandSize> match;
  const char *target = "";
};

// The target stays empty for a protocol or an action that no rule can name.
void makeFilterRule(FilterRule &rule, const FilterSettings &settings, const FilterMatch &match,
                    int action);

}  // namespace orba
#pragma GCC visibility pop

#endif
