#include "core/net_dev.h"

#include <cstdlib>
#include <cstring>

#include "core/file.h"
#include "core/text.h"
#include "orba_util.h"

namespace orba {

namespace {

// Where each counter stands behind the interface's name.
constexpr int kColumns[] = {8, 9, 0, 1};

}  // namespace

long long readNetDevCounter(const char *ifname, int which) {
  File file("/proc/net/dev", "r");
  if (!file) {
    printf("no proc?\n");
    return -1;
  }
  char line[1024];
  for (int number = 1; file.readLine(line); number++) {
    char *colon = strchr(line, ':');
    if (number <= 2 || colon == nullptr) continue;  // two lines of headings
    *colon = '\0';
    if (!same(line + strspn(line, " "), ifname)) continue;
    if (which < kSentBytes || which > kReceivedPackets) return 0;
    const char *counter = getField(colon + 1, " ", kColumns[which]);
    return counter != nullptr ? strtoll(counter, nullptr, 10) : 0;
  }
  return 0;
}

}  // namespace orba
