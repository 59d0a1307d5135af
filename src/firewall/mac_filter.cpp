// Which stations may pass the bridge, by MAC address.
#include "firewall/mac_filter.h"

#include "core/setting.h"
#include "core/shell_word.h"
#include "orba_util.h"

namespace orba {

namespace {

// A block list lets the rest pass, an allow list drops the rest.
struct MacFilterAction {
  const char *name;
  const char *policy;
  const char *rule;
};

constexpr MacFilterAction kActions[] = {
    {"DROP", "ebtables -t nat -P MAC_Filter RETURN", "ebtables -t nat -A MAC_Filter -s %s -j DROP"},
    {"ACCEPT", "ebtables -t nat -P MAC_Filter DROP",
     "ebtables -t nat -A MAC_Filter -s %s -j ACCEPT"},
};

void filterMacs(const MacFilterAction &action, const char *rules) {
  doSystem("%s", action.policy);
  for (Record mac : filteredMacs(rules)) {
    if (faulty(endOfMacs(mac))) break;
    doSystem(action.rule, ShellWord(mac.slice()).text());
  }
}

}  // namespace

}  // namespace orba

int MACFilterRun(void) {
  using namespace orba;
  Setting rules = setting("MACFilterRules");
  if (rules.missing()) return 0;
  Setting wanted = setting("MacFilterAction");
  for (const MacFilterAction &action : kActions) {
    if (wanted.is(action.name)) filterMacs(action, rules.text());
  }
  return 0;
}
