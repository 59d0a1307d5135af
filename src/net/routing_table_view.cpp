// The routing page's table: the kernel's routes, and the configured ones that
// the kernel does not have.
#include <cstdlib>

#include "net/route_file.h"
#include "net/routing_rule.h"
#include "orba_util.h"

namespace orba {

namespace {

// Twelve columns a row: interface, destination, gateway, netmask, flags,
// references, uses, metric, index of the rule, side, 0 when active, comment.
using View = Text<4096>;

void appendLive(View &view, const Route &route, int index, const char *side, const char *comment) {
  DottedAddress destination(route.destination);
  DottedAddress gateway(route.gateway);
  DottedAddress netmask(route.mask);
  view.format("%s,%s,%s,%s,%d,%d,%d,%d,%d,%s,0,%s", route.ifname, destination.text(),
              gateway.text(), netmask.text(), static_cast<int>(route.flags), route.references,
              route.uses, route.metric, index, side, comment);
}

void appendConfigured(View &view, const RoutingRule &rule, int index) {
  view.format("%s,%s,%s,%s,0,0,0,0,%d,%s,1,%s", rule.ifname.text(), rule.destination.text(),
              rule.gateway.text(), rule.netmask.text(), index, rule.side.text(),
              rule.comment.text());
}

// The view stands between quotes in a script, which may write it into a page. The
// page parts it at ';' and ',', so no entity has its ';' here: browsers read these
// all the same.
void appendQuoted(char byte, TextBuffer &quoted) {
  if (byte == '"') {
    quoted.append("&quot");
  } else if (byte == '<') {
    quoted.append("&lt");
  } else if (byte == '\\' || (byte >= 0 && byte < ' ')) {
    quoted.format("\\x%02x", byte);
  } else {
    quoted.append(&byte, 1);
  }
}

void copyQuoted(char *dst, const View &view) {
  View quoted;
  quoted.append("\"");
  for (const char *at = view.text(); *at != '\0'; at++) appendQuoted(*at, quoted);
  quoted.append("\"");
  copyText(dst, quoted.size(), quoted.text());
}

// Which of the rules were seen in the kernel.
class SeenRules {
 public:
  explicit SeenRules(int count)
      : count_(count),
        seen_(count > 0 ? static_cast<bool *>(calloc(static_cast<size_t>(count), sizeof(bool)))
                        : nullptr) {}
  SeenRules(const SeenRules &) = delete;
  SeenRules &operator=(const SeenRules &) = delete;
  ~SeenRules() { free(seen_); }

  bool hasMemory() const { return count_ == 0 || seen_ != nullptr; }
  bool has(int index) const { return seen_ != nullptr && index < count_ && seen_[index]; }
  void note(int index) {
    if (seen_ != nullptr && index < count_) {
      seen_[index] = true;
    } else {  // the setting has grown meanwhile
      printf("fatal error in %s\n", "getRoutingTable");
    }
  }

 private:
  int count_;
  bool *seen_;
};

void appendRoute(View &view, const Route &route, SeenRules &seen) {
  DottedAddress destination(route.destination);
  DottedAddress netmask(route.mask);
  Record record({nullptr, 0}, -1);
  if (!findRoutingRule(destination.text(), netmask.text(), route.ifname, record)) {
    appendLive(view, route, -1, getLanWanNamebyIf(route.ifname), " ");
    return;
  }
  seen.note(record.index());
  RoutingRule rule(record);
  appendLive(view, route, record.index(), rule.side.text(),
             rule.comment.missing() ? " " : rule.comment.text());
}

}  // namespace

}  // namespace orba

int getRoutingTable(char *dst) {
  orba::Setting rules = orba::setting("RoutingRules");
  orba::SeenRules seen(rules.missing() ? 0 : getNums(rules.text(), ';'));
  orba::RouteFile routes(511);
  if (!seen.hasMemory() || !routes) return -1;

  orba::View view;
  orba::Route route;
  while (routes.next(route)) {
    if (!route.up()) continue;
    if (!view.empty()) view.append(";");
    orba::appendRoute(view, route, seen);
  }
  if (routes.malformed()) {
    printf("format error\n");
    *dst = '\0';
    return 1;
  }
  for (orba::Record record : orba::RuleList(rules.text())) {
    orba::RoutingRule rule(record);
    if (seen.has(record.index()) || !rule.complete()) continue;
    // Always, also when no live route stands before it: the page expects it.
    view.append(";");
    orba::appendConfigured(view, rule, record.index());
  }
  orba::copyQuoted(dst, view);
  return 1;
}
