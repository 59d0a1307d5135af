// Changing the list of blocked hosts.
#include <cstdio>
#include <cstdlib>

#include "core/command.h"
#include "core/setting.h"

namespace orba {

namespace {

constexpr char kHostsKey[] = "websHostFilters";

void rebuildWebFilter() {
  doSystem("iptables -t filter -F web_filter");
  iptablesWebsFilterRun();
}

// A list text of its own, as long as it needs to be.
class ListText {
 public:
  explicit ListText(size_t length) : text_(static_cast<char *>(malloc(length + 1))) {}
  ListText(const ListText &) = delete;
  ListText &operator=(const ListText &) = delete;
  ~ListText() { free(text_); }

  explicit operator bool() const { return text_ != nullptr; }
  char *text() { return text_; }

 private:
  char *text_;
};

// False when there is no memory for the longer list.
bool storeWithHost(const char *hosts, const char *host) {
  size_t length = strlen(hosts) + 1 + strlen(host);
  ListText longer(length);
  if (!longer) return false;
  snprintf(longer.text(), length + 1, "%s;%s", hosts, host);
  nvram_bufset(kMainSpace, kHostsKey, longer.text());
  return true;
}

bool storeWithoutHost(const char *hosts, int index) {
  size_t length = strlen(hosts);
  ListText shorter(length);
  if (!shorter) return false;
  copyText(shorter.text(), length + 1, hosts);
  deleteNthValueMulti(&index, 1, shorter.text(), ';');
  // Written through, where adding a host only buffers it: both commit anyway.
  nvram_set(kMainSpace, kHostsKey, shorter.text());
  return true;
}

}  // namespace

}  // namespace orba

void websHostFilter(const char *host) {
  using namespace orba;
  if (host == nullptr || strchr(host, ';') != nullptr) return;
  Setting hosts = setting(kHostsKey);
  if (hosts.empty()) {
    nvram_bufset(kMainSpace, kHostsKey, host);
  } else if (!storeWithHost(hosts.text(), host)) {
    return;
  }
  nvram_commit(kMainSpace);
  rebuildWebFilter();
}

void websHostFilterDelete(int index) {
  using namespace orba;
  Setting hosts = setting(kHostsKey);
  if (hosts.empty() || getRuleNums(hosts.text()) == 0) return;
  if (!storeWithoutHost(hosts.text(), index)) return;
  nvram_commit(kMainSpace);
  rebuildWebFilter();
}
