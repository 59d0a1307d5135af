// Uptime, memory, CPU load, time and names for the status page.
#include <sys/sysinfo.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/command.h"
#include "core/file.h"
#include "core/setting.h"
#include "orba_util.h"

namespace orba {

namespace {

// The plural begins with 2: "0 day", as the page has it.
const char *plural(int number) {
  return number >= 2 ? "s" : "";
}

void describeUptime(long seconds, char *out) {
  int days = static_cast<int>(seconds / 86400);
  int hours = static_cast<int>(seconds / 3600 % 24);
  int minutes = static_cast<int>(seconds / 60 % 60);
  sprintf(out, "%d day%s: %2d hour%s: %2d minute%s", days, plural(days), hours, plural(hours),
          minutes, plural(minutes));
}

// False when /proc/meminfo does not tell how much there is.
bool memoryInUse(int &percent) {
  File file("/proc/meminfo", "r");
  if (!file) return false;
  long long total = 0;
  long long unused = 0;
  char name[64];
  char number[16];
  while (fscanf(file.get(), "%63s %15[0-9] kB", name, number) == 2) {
    if (same(name, "MemTotal:")) total = toNumber(number);
    if (same(name, "MemFree:")) unused = toNumber(number);
  }
  if (total == 0) return false;
  // By the C library: the compiler's own function, for one division, is 1,176 bytes.
  percent = static_cast<int>(lldiv((total - unused) * 100, total).quot);
  return true;
}

// The share of everything but idle in a line of top; false for another line.
bool busyShare(const char *line, unsigned &percent) {
  const char *cpu = strstr(line, "CPU:");
  if (cpu == nullptr) return false;
  enum { kUser, kSystem, kNice, kIdle, kIo, kIrq, kSoftIrq, kShares };
  char share[kShares][4] = {};
  // A full "100%" does not fit its three characters and ends the reading with
  // its sign: whatever stands behind it is 0 anyway. Newer ones write "nic" and "sirq".
  sscanf(cpu, "CPU: %3s usr %3s sys %3s %*[nice] %3s idle %3s io %3s irq %3s", share[kUser],
         share[kSystem], share[kNice], share[kIdle], share[kIo], share[kIrq], share[kSoftIrq]);
  percent = 0;
  for (int i = 0; i < kShares; i++) {
    if (i != kIdle) percent += static_cast<unsigned>(toNumber(share[i]));
  }
  return true;
}

int answerSetting(char *out, const char *key) {
  constexpr size_t kSize = 256;
  copyText(out, kSize, setting(key).text());
  return 1;
}

}  // namespace

}  // namespace orba

int getSysUptime(char *out, int, char **) {
  struct sysinfo info;
  *out = '\0';
  if (sysinfo(&info) == 0) orba::describeUptime(info.uptime, out);
  return 1;
}

int getMemUsgInfo(char *out, int, char **) {
  int percent;
  *out = '\0';
  if (orba::memoryInUse(percent)) sprintf(out, "%d", percent);
  return 1;
}

int getCpuLoad(char *out, int, char **) {
  *out = '\0';
  if (!orba::claimFile("/var/cpuload")) return 1;
  orba::runIntoFile("/var/cpuload", "top -n 1 | grep '^CPU'");
  orba::File file(orba::openOurs("/var/cpuload"));
  if (!file) return 1;
  char line[128];
  unsigned percent;
  while (file.readLine(line)) {
    if (!orba::busyShare(line, percent)) continue;
    sprintf(out, "%u", percent);
    break;
  }
  doSystem("rm /var/cpuload");
  return 1;
}

int getSysCurrentTime(char *out, int, char **) {
  char text[64];
  *out = '\0';
  time_t now = time(nullptr);
  if (ctime_r(&now, text) == nullptr) return 1;
  size_t without_newline = strlen(text) - 1;
  memcpy(out, text, without_newline);
  out[without_newline] = '\0';
  return 1;
}

int getModelName(char *out, int, char **) {
  return orba::answerSetting(out, "ModelName");
}

int getHostName(char *out, int, char **) {
  return orba::answerSetting(out, "HostName");
}
