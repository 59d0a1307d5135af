// The kernel's ARP table.
#include <cstdio>

#include "core/command.h"
#include "core/file.h"
#include "core/shell_word.h"
#include "core/text.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr size_t kMacSize = 18;

// One line of /proc/net/arp, as far as it matters. The heading is read like any
// other line and has no address in it.
struct ArpEntry {
  char address[256];
  char type[256];
  char flags[256];
  char mac[256];

  bool complete() const { return !same(flags, "0x0"); }
};

class ArpFile {
 public:
  ArpFile() : file_("/proc/net/arp", "r") {}

  // The next entry of `address`; false when there is none.
  bool find(const char *address, ArpEntry &entry) {
    char line[256];
    while (file_ && file_.readLine(line)) {
      int columns = sscanf(line, "%255s %255s %255s %255s", entry.address, entry.type, entry.flags,
                           entry.mac);
      if (columns == 4 && same(entry.address, address)) return true;
    }
    return false;
  }

 private:
  File file_;
};

bool isResolved(const char *address) {
  ArpFile table;
  ArpEntry entry;
  while (table.find(address, entry)) {
    if (entry.complete()) return true;
  }
  return false;
}

}  // namespace

}  // namespace orba

int arplookup(const char *ip, char *dst) {
  orba::copyText(dst, orba::kMacSize, "00:00:00:00:00:00");
  orba::ArpFile table;
  orba::ArpEntry entry;
  if (table.find(ip, entry)) orba::copyText(dst, orba::kMacSize, entry.mac);
  return 0;
}

// Reports what was known before, then has the address resolved afresh.
int wanarplookup(void) {
  char gateway[16] = "";
  getGateway("br0", gateway);
  if (*gateway == '\0' || orba::same(gateway, "0.0.0.0")) return 0;
  bool resolved = orba::isResolved(gateway);
  orba::ShellWord address(gateway);
  orba::runDirectly("arp -d %s", address.text());
  doSystemBackGround("arping -c 1 -I br0 %s", address.text());
  return resolved ? 1 : 0;
}
