// The user's filter rules by IP address, port, protocol and MAC address.
#include "firewall/ip_port_filter.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstdio>

#include "core/command.h"
#include "core/setting.h"
#include "firewall/ip_port_rule.h"
#include "orba_util.h"

namespace orba {

namespace {

// What is wrong with a field's text; null when nothing is.
const char *anything(const char *) {
  return nullptr;
}

const char *address(const char *text) {
  if (isIpNetmaskValid(text)) return nullptr;
  return "is neither \"any\" nor an IPv4 address with a prefix of at most 32";
}

const char *port(const char *text) {
  return toNumber(text) < 65536 ? nullptr : "is not below 65536";
}

const char *protocol(const char *text) {
  switch (toNumber(text)) {
    case kFilterTcp:
    case kFilterUdp:
    case kFilterIcmp:
    case kFilterAny:
      return nullptr;
    default:
      return "is not a protocol code: 1 TCP, 2 UDP, 4 ICMP, 5 any";
  }
}

const char *macOrNothing(const char *text) {
  return *text == '\0' || isMacValid(text) ? nullptr : "is not a MAC address";
}

FilterSide matchOf(const IpPortFilter::Side &side) {
  return {side.mac.text(),  side.mac_end.text(),        side.address.text(),
          side.mask.text(), toNumber(side.port.text()), toNumber(side.port_end.text())};
}

// The rule, and in front of it the same match for the log.
void addRule(const FilterSettings &settings, const IpPortFilter &filter, int record, int action) {
  FilterMatch match = {matchOf(filter.source), matchOf(filter.destination),
                       toNumber(filter.protocol.text())};
  FilterRule rule;
  makeFilterRule(rule, settings, match, action);
  if (!rule.match.fits()) {
    debug("IPPortFilterRules: record %d makes too long a rule, left out\n", record);
    return;
  }
  doSystem("%s-j LOG --log-level DEBUG --log-prefix [FirewallLog]Filter:", rule.match.text());
  doSystem("%s%s", rule.match.text(), rule.target);
}

void addRules(const char *list) {
  FilterSettings settings;
  // Whatever is not to be accepted is dropped.
  int action = setting("firewallAction").is("ACCEPT") ? kFilterAccept : kFilterDrop;
  for (Record record : RuleList(list)) {
    IpPortFilter filter;
    if (faulty(readIpPortFilter(record, filter))) continue;
    addRule(settings, filter, record.index(), action);
  }
}

constexpr char kAcceptAnswers[] =
    "iptables -t filter -A macipport_input_filter -m state --state RELATED,ESTABLISHED -j ACCEPT\n"
    "iptables -t filter -A macipport_filter -m state --state RELATED,ESTABLISHED -j ACCEPT\n";

// What becomes of traffic that no record matched, in every operation mode alike.
constexpr char kEndOfPolicy0[] =
    "iptables -t filter -A macipport_filter ! -i br+ -j ACCEPT\n"
    "iptables -t filter -A macipport_input_filter ! -i br+ -j ACCEPT\n";
constexpr char kEndOfPolicy1[] =
    "iptables -t filter -A macipport_filter -i lo -j ACCEPT\n"
    "iptables -t filter -A macipport_input_filter -i lo -j ACCEPT\n";

bool isDecimal(const char *text) {
  return *text != '\0' && text[strspn(text, "0123456789")] == '\0';
}

bool isIpAddress(const char *text) {
  in_addr parsed;
  if (inet_aton(text, &parsed) != 0) return true;
  printf("isIpNetmaskValid(): %s is not a valid IP address.\n", text);
  return false;
}

}  // namespace

RecordFault readIpPortFilter(const Record &record, IpPortFilter &filter) {
  // The two fields between belong to the web page.
  const struct {
    int position;
    TextBuffer &text;
    const char *(*complaint)(const char *text);
  } fields[] = {
      {0, filter.source.address, address},
      {1, filter.source.mask, anything},
      {2, filter.source.port, port},
      {3, filter.source.port_end, port},
      {4, filter.destination.address, address},
      {5, filter.destination.mask, anything},
      {6, filter.destination.port, port},
      {7, filter.destination.port_end, port},
      {8, filter.protocol, protocol},
      {11, filter.source.mac, macOrNothing},
      {12, filter.source.mac_end, macOrNothing},
      {13, filter.destination.mac, macOrNothing},
      {14, filter.destination.mac_end, macOrNothing},
  };
  if (record.empty()) return {-1, "is empty"};
  if (record.cut()) filter.cut = {-1, "is longer than 255 characters and loses its end"};
  for (const auto &field : fields) {
    Slice slice;
    if (!record.field(field.position, slice)) return {field.position, "is missing"};
    field.text.clear().append(slice.begin, slice.length);
    if (!field.text.fits() && !faulty(filter.cut)) {
      filter.cut = {field.position, "is too long and loses its end"};
    }
    const char *complaint = field.complaint(field.text.text());
    if (complaint != nullptr) return {field.position, complaint};
  }
  return kNoFault;
}

}  // namespace orba

int iptablesIPPortFilterRun(void) {
  orba::Setting rules = orba::setting("IPPortFilterRules");
  if (rules.missing()) {
    printf("Warning: can't find \"IPPortFilterRules\" in flash.\n");
    return 0;
  }
  int policy = orba::setting("DefaultFirewallPolicy").number();
  if (policy == 1 && orba::setting("SPIFWEnabled").on()) orba::runAll(orba::kAcceptAnswers);
  orba::addRules(rules.text());
  if (policy == 0) orba::runAll(orba::kEndOfPolicy0);
  if (policy == 1) orba::runAll(orba::kEndOfPolicy1);
  return 0;
}

int iptablesIPPortFilterFlush(void) {
  doSystem("iptables -F macipport_filter 1>/dev/null 2>&1");
  doSystem("iptables -F macipport_input_filter 1>/dev/null 2>&1");
  return 0;
}

int isMacValid(const char *text) {
  if (text == nullptr || strlen(text) != 17) return 0;
  for (int i = 0; i < 17; i++) {
    bool colon = i % 3 == 2;
    if (colon ? text[i] != ':' : !isxdigit(static_cast<unsigned char>(text[i]))) return 0;
  }
  return 1;
}

int isIpNetmaskValid(const char *text) {
  if (text == nullptr || *text == '\0') return 0;
  orba::Text<33> address;
  address.append(text);
  if (address.is("any") || address.is("any/0")) return 1;
  if (address.text()[strspn(address.text(), "0123456789./")] != '\0') return 0;
  const char *slash = strchr(address.text(), '/');
  if (slash == nullptr) return orba::isIpAddress(address.text());
  const char *prefix = slash + 1;
  if (!orba::isDecimal(prefix) || orba::toNumber(prefix) > 32) return 0;
  address.cutTo(static_cast<size_t>(slash - address.text()));
  return orba::isIpAddress(address.text());
}
