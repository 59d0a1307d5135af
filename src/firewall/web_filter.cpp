// Blocked web content, URLs and hosts.
#include "firewall/web_filter.h"

#include "core/setting.h"
#include "core/shell_word.h"
#include "orba_util.h"

namespace orba {

namespace {

// The bits that the kernel's web match knows the content classes by.
struct ContentClass {
  const char *key;
  int bit;
};

constexpr ContentClass kContentClasses[] = {
    {"websFilterJava", 1},
    {"websFilterActivex", 2},
    {"websFilterCookies", 4},
    {"websFilterProxy", 8},
};

// The web's own port and two of proxies, from everyone or from all but one.
constexpr const char *kBlockContent[] = {
    "iptables -A web_filter -p tcp -m tcp --dport 80   -m webstr --content %d -j REJECT --reject-with tcp-reset",
    "iptables -A web_filter -p tcp -m tcp --dport 3128 -m webstr --content %d -j REJECT --reject-with tcp-reset",
    "iptables -A web_filter -p tcp -m tcp --dport 8080 -m webstr --content %d -j REJECT --reject-with tcp-reset",
};
constexpr const char *kBlockContentExceptFrom[] = {
    "iptables -A web_filter -s ! %s -p tcp -m tcp --dport 80   -m webstr --content %d -j REJECT --reject-with tcp-reset",
    "iptables -A web_filter -s ! %s -p tcp -m tcp --dport 3128 -m webstr --content %d -j REJECT --reject-with tcp-reset",
    "iptables -A web_filter -s ! %s -p tcp -m tcp --dport 8080 -m webstr --content %d -j REJECT --reject-with tcp-reset",
};

struct WebFilter {
  Setting urls = setting("websURLFilters");
  Setting hosts = setting("websHostFilters");
  Setting hosts_enabled = setting("websHostFiltersEnable");
  Setting trusted = setting("websFilterTrustIP");
  int content = 0;
  bool complete =
      !urls.missing() && !hosts.missing() && !hosts_enabled.missing() && !trusted.missing();

  WebFilter() {
    for (const ContentClass &content_class : kContentClasses) {
      Setting blocked = setting(content_class.key);
      if (blocked.is("1")) content |= content_class.bit;
      if (blocked.missing()) complete = false;
    }
  }

  bool trustsNobody() const { return trusted.is("0.0.0.0"); }
};

void blockContent(const WebFilter &filter, const char *trusted) {
  if (filter.trustsNobody()) {
    for (const char *rule : kBlockContent) doSystem(rule, filter.content);
  } else {
    for (const char *rule : kBlockContentExceptFrom) doSystem(rule, trusted, filter.content);
  }
}

Slice withoutScheme(Slice url) {
  constexpr char kScheme[] = "http://";
  constexpr size_t kLength = sizeof kScheme - 1;
  if (url.length < kLength || strncasecmp(url.begin, kScheme, kLength) != 0) return url;
  return {url.begin + kLength, url.length - kLength};
}

// URLs are blocked for the trusted address too.
void blockUrls(const char *urls) {
  for (Record record : RuleList(urls)) {
    if (faulty(webFilterFault(record))) continue;
    doSystem(
        "iptables -A web_filter -p tcp -m tcp -m webstr --url  %s -j REJECT --reject-with tcp-reset",
        ShellWord(withoutScheme(record.slice())).text());
  }
}

void blockHosts(const WebFilter &filter, const char *trusted) {
  for (Record record : RuleList(filter.hosts.text())) {
    if (faulty(webFilterFault(record))) continue;
    ShellWord host(record.slice());
    if (filter.trustsNobody()) {
      doSystem(
          "iptables -A web_filter -p tcp -m tcp -m webstr --host %s -j REJECT --reject-with tcp-reset",
          host.text());
    } else {
      doSystem(
          "iptables -A web_filter -s ! %s -p tcp -m tcp -m webstr --host %s -j REJECT --reject-with tcp-reset",
          trusted, host.text());
    }
  }
}

}  // namespace

}  // namespace orba

int iptablesWebsFilterRun(void) {
  using namespace orba;
  WebFilter filter;
  if (!filter.complete) return 0;
  ShellWord trusted(filter.trusted.text());
  if (filter.content != 0) blockContent(filter, trusted.text());
  blockUrls(filter.urls.text());
  if (filter.hosts_enabled.is("1")) blockHosts(filter, trusted.text());
  return 0;
}
