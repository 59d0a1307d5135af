// Which stations may pass the bridge, by MAC address.
#include "firewall/mac_filter.h"

#include "core/setting.h"
#include "core/shell_word.h"
#include "firewall/chains.h"
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
    {"DROP", "ebtables -t nat -P %s RETURN", "ebtables -t nat -A %s -s %s -j DROP"},
    {"ACCEPT", "ebtables -t nat -P %s DROP", "ebtables -t nat -A %s -s %s -j ACCEPT"},
};

void filterMacs(const MacFilterAction &action, const char *rules) {
  doSystem(action.policy, chain::kMacFilter);
  for (Record mac : filteredMacs(rules)) {
    if (faulty(endOfMacs(mac))) break;
    doSystem(action.rule, chain::kMacFilter, ShellWord(mac.slice()).text());
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
