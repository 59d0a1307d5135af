// The small answers of the status page.
#include <gmock/gmock.h>

#include <climits>
#include <sstream>

#include "orba_util.h"
#include "sim/device.h"

namespace {

using sim::Device;
using testing::ElementsAre;
using testing::IsEmpty;

std::string ask(int (*getter)(char *, int, char **)) {
  char out[256] = "unwritten";
  EXPECT_EQ(getter(out, 0, nullptr), 1);
  return out;
}

TEST(Uptime, IsWrittenWithItsPlurals) {
  const std::pair<long long, const char *> kCases[] = {
      {90061, "1 day:  1 hour:  1 minute"},
      {2 * 86400 + 3 * 3600 + 2 * 60, "2 days:  3 hours:  2 minutes"},
      {100 * 86400 - 1, "99 days: 23 hours: 59 minutes"},
      {INT_MAX, "24855 days:  3 hours: 14 minutes"},
  };
  Device device;
  for (const auto &[seconds, text] : kCases) {
    device.uptime(seconds);
    EXPECT_EQ(ask(getSysUptime), text);
  }
}

TEST(Memory, IsWhatIsNotFree) {
  const std::pair<const char *, const char *> kCases[] = {
      {"MemTotal:        60000 kB\nMemFree:         15000 kB\nBuffers:  1 kB\n", "75"},
      {"MemFree: 1 kB\nHugePages_Total:     0\nMemTotal: 3 kB\n", "66"},
      {"MemTotal: 2147483647 kB\nMemFree: 1 kB\n", "99"},
      {"MemTotal: 100 kB\nMemFree: unknown\nMemFree: 50 kB\n", "100"},
      {"MemFree: 15000 kB\n", ""},
      {"", ""},
  };
  Device device;
  EXPECT_EQ(ask(getMemUsgInfo), "");
  for (const auto &[meminfo, percent] : kCases) {
    device.file("/proc/meminfo", meminfo);
    EXPECT_EQ(ask(getMemUsgInfo), percent) << meminfo;
  }
}

TEST(CpuLoad, IsTheSumOfAllButIdle) {
  const std::pair<const char *, const char *> kCases[] = {
      {"CPU:   1% usr   2% sys   4% nice  10% idle   8% io  16% irq  32% softirq\n", "63"},
      {"CPU:   0% usr   0% sys   0% nice 100% idle   0% io   0% irq   0% softirq\n", "0"},
      {"CPU:   1% usr   2% sys   4% nic  10% idle   8% io  16% irq  32% sirq\n", "63"},
      {"CPUs\nCPU: 12% usr\n", "12"},
      {"", ""},
  };
  for (const auto &[top, percent] : kCases) {
    Device device;
    device.file("/var/cpuload", "CPU: 77% usr\n");  // left by a run that was killed
    device.answer("top -n 1 | grep '^CPU'", top);
    EXPECT_EQ(ask(getCpuLoad), percent) << top;
    EXPECT_THAT(device.commands(),
                ElementsAre("top -n 1 | grep '^CPU' > /var/cpuload", "rm /var/cpuload"));
    EXPECT_FALSE(device.text("/var/cpuload"));
  }
  Device device;
  device.refuse("/var/cpuload").answer("top -n 1", kCases[0].first);
  EXPECT_EQ(ask(getCpuLoad), "");
  EXPECT_THAT(device.commands(), ElementsAre("top -n 1 | grep '^CPU' > /var/cpuload"));
}

TEST(CpuLoad, IsReadFromTheProgramItself) {
  // In its own words, but with no share of nothing or of all: each one is to count.
  FILE *top = popen(
      "busybox top -n 1 2>&1 </dev/null | grep '^CPU' | sed 's/  0%/  1%/g; s/100%/ 99%/'", "r");
  char line[256] = "";
  size_t length = fread(line, 1, sizeof line - 1, top);
  pclose(top);
  if (length == 0) GTEST_SKIP() << "no busybox with a top here";
  int busy = 0;
  std::istringstream shares(line);
  std::string share, name;
  for (shares >> name; shares >> share >> name;) busy += name == "idle" ? 0 : std::stoi(share);
  Device device;
  device.answer("top -n 1 | grep '^CPU'", line);
  EXPECT_EQ(ask(getCpuLoad), std::to_string(busy)) << line;
}

TEST(PortStatus, IsFivePairsOfBits) {
  const std::pair<std::string, const char *> kCases[] = {
      {"value=00000000\n", "0,0/0,0/0,0/0,0/0,0"},
      {"value=c1ffffe0\n", "0,0/0,0/0,0/0,0/0,0"},
      {"value=0x14000009\n", "0,0/1,1/0,0/1,0/0,1"},
      {"value=3e00\n", ""},
      {std::string(242, ' ') + "value=3e00001f\n", "1,1/1,1/1,1/1,1/1,1"},  // within 256 bytes
      {std::string(243, ' ') + "value=3e00001f\n", ""},
      {"value\n", ""},
      {"", ""},
  };
  Device device;
  for (const auto &[reply, pairs] : kCases) {
    device.answer("switch reg r 80", reply);
    EXPECT_EQ(ask(getPortStatus), pairs) << reply;
  }
  EXPECT_THAT(device.commands(), IsEmpty());
}

TEST(NamesAndTime, FitTheirBuffers) {
  Device device;
  device.clock().set("2026-02-03 04:05:06");
  EXPECT_EQ(ask(getSysCurrentTime), "Tue Feb  3 04:05:06 2026");
  EXPECT_EQ(ask(getModelName) + ask(getHostName), "");
  device.settings({{"ModelName", "AC 1200"}, {"HostName", std::string(300, 'h')}});
  EXPECT_EQ(ask(getModelName), "AC 1200");
  EXPECT_EQ(ask(getHostName), std::string(255, 'h'));
}

}  // namespace
