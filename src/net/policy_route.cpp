// Policy routes: frames of chosen LAN sources are marked, and the mark leads to
// a routing table of its own with a default route through the chosen side.
#include <cstdlib>

#include "core/command.h"
#include "core/file.h"
#include "core/shell_word.h"
#include "net/interface_name.h"
#include "net/policy_rule.h"
#include "net/policy_table_names.h"
#include "orba_util.h"

namespace orba {

namespace {

using Command = Text<kCommandSize>;

// The traffic that a rule is about. Empty texts, port 0 and protocol -1 stand
// for any.
struct Traffic {
  const char *address;
  const char *netmask;
  const char *mac;
  int port;
  int protocol;

  bool any() const { return *address == '\0' && port == 0 && protocol == -1; }
};

// With nothing to match but the chain, every frame in it is marked.
void writeMarkCommand(char verb, const Traffic &from, uint32_t mark, Command &command) {
  ShellWord address(from.address);
  ShellWordPart netmask(from.netmask);
  ShellWord mac(from.mac);
  command.format("ebtables -%c Policy_Route ", verb);
  if (*from.mac != '\0') command.format(" --src %s", mac.text());
  if (!from.any()) command.append(" -p ipv4 ");
  if (*from.address != '\0') {
    command.format(" --ip-src %s", address.text());
    if (*from.netmask != '\0') command.format("/%s", netmask.text());
  }
  // A port means nothing without a protocol.
  if (from.protocol != -1) {
    command.format(" --ip-proto %d", from.protocol);
    if (from.port != 0) command.format(" --ip-sport %d", from.port);
  }
  command.format(" -j mark --mark-or  0x%x --mark-target CONTINUE", mark);
}

const char *routeVerb(int action) {
  if (action == 0) return "del";
  return action == 1 ? "add" : "replace";
}

// Goes through a pipe, unlike the others; what it prints is read and dropped.
void changeDefaultRoute(int action, const char *gateway, const char *ifname,
                        const ShellWordPart &table) {
  ShellWord router(gateway);
  ShellWord device(ifname);
  Command command;
  command.format("ip route %s default  via %s dev %s table pf_%s", routeVerb(action), router.text(),
                 device.text(), table.text());
  if (!mayRun(command)) return;
  Pipe pipe(command.text());
  char ignored[128];
  if (pipe) pipe.readLine(ignored);
}

// The number of the WAN that a rule's side names, 0 for the LAN.
int wanOfSide(const char *side) {
  constexpr const char *kSides[kWans] = {"WAN", "WAN2", "WAN3", "WAN4"};
  for (int wan = 1; wan <= kWans; wan++) {
    if (same(side, kSides[wan - 1])) return wan;
  }
  return 0;
}

// The commands alone, without the table's name.
void run(const Traffic &from, const char *ifname, const char *name, int n, int action) {
  uint32_t mark = markOfPolicy(n);
  Command mark_command;
  writeMarkCommand(action != 0 ? 'A' : 'D', from, mark, mark_command);

  // Stays empty for an interface that is no WAN; `ip` then rejects the route.
  char gateway[32];
  *gateway = '\0';
  getGatewayByInterface(ifname, gateway);

  ShellWordPart table(name);
  doSystem("%s", mark_command.text());
  doSystem("ip rule %s fwmark 0x%x/0xe0000000 prio %d table pf_%s", action != 0 ? "add" : "del",
           mark, tableOfPolicy(n), table.text());
  changeDefaultRoute(action, gateway, ifname, table);
}

// Writes the names of all rules' tables at once, and not twice for each rule.
bool nameAllTables(const char *list) {
  int count = getNums(list, ';');
  auto *names = static_cast<Slice *>(calloc(static_cast<size_t>(count), sizeof(Slice)));
  if (names == nullptr) return false;
  for (Record record : RuleList(list, PolicyRule::kRecordSize)) {
    PolicyRule rule(record);
    Slice &name = names[record.index()];
    if (record.field(PolicyRule::kName, name)) name.length = tableNameLength(rule.name.text());
  }
  bool written = renewTableNames(tableOfPolicy(1), names, count);
  free(names);
  return written;
}

// How the tables of the rules that are installed together come by their names.
struct Naming {
  const char *list;  // null for a rule by itself
  bool all_named = false;
};

bool nameTable(int n, const char *name, Naming &naming) {
  doSystem("mkdir -p /etc/iproute2");
  if (naming.list != nullptr) naming.all_named = nameAllTables(naming.list);
  naming.list = nullptr;
  if (naming.all_named || addTableName(tableOfPolicy(n), name)) return true;
  debug("Failed to open %s to append policy routing info: ", kTableNames);
  return false;
}

// Removes what an earlier run may have installed, through the interface that
// was noted then, and installs the rule through the one its side has now.
void reinstall(const PolicyRule &rule, int n, Naming &naming) {
  Traffic from = {rule.address.text(), rule.netmask.text(), rule.mac.text(), rule.port.number(),
                  rule.protocol.number()};
  run(from, rule.ifname.text(), rule.name.text(), n, 0);
  if (!naming.all_named) doPolicyRoutingRemove(tableOfPolicy(n), rule.name.text());
  InterfaceName ifname;
  int wan = wanOfSide(rule.side.text());
  if (wan != 0) {
    wanInterface(wan, ifname);
  } else {
    ifname.append(getLanIfName());
  }
  if (nameTable(n, rule.name.text(), naming)) run(from, ifname.text(), rule.name.text(), n, 1);
}

}  // namespace

}  // namespace orba

int executePolicyRoute(void) {
  orba::Setting rules = orba::setting("PolicyRoutingRules");
  if (rules.empty()) return 0;
  orba::Naming naming = {rules.text()};
  for (orba::Record record : orba::RuleList(rules.text(), orba::PolicyRule::kRecordSize)) {
    orba::PolicyRule rule(record);
    if (!orba::faulty(rule.fault())) orba::reinstall(rule, record.index() + 1, naming);
  }
  return -1;
}

void doPolicyRoutingAction(const char *srcIp, const char *srcMask, const char *srcPort,
                           const char *srcMac, const char *proto, const char * /*side*/,
                           const char *ifname, const char *name, int n, int action) {
  orba::Naming by_itself = {nullptr};
  if (action != 0 && !orba::nameTable(n, name, by_itself)) return;
  orba::Traffic from = {srcIp, srcMask, srcMac, orba::toNumber(srcPort), orba::toNumber(proto)};
  orba::run(from, ifname, name, n, action);
  if (action == 0) doPolicyRoutingRemove(orba::tableOfPolicy(n), name);
}

void doPolicyRoutingRemove(int tableNumber, const char *name) {
  if (!orba::removeTableName(tableNumber, name)) {
    debug("Failed to open %s to update static IP lease info", orba::kTableNames);
  }
}
