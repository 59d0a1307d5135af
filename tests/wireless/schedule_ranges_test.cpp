// The older timetable generator: every one of its lines, blank for blank.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// "DAY" and "NEXT" in a table stand for the weekday and the one behind it.
std::string with(std::string text, const std::string &name, int number) {
  for (size_t at; (at = text.find(name)) != std::string::npos;) {
    text.replace(at, name.size(), std::to_string(number));
  }
  return text;
}

// Each line of the table reached it by one command, and nothing else was done.
void expectTable(const std::string &record, int day, const std::string &table) {
  SCOPED_TRACE(record + ", day " + std::to_string(day));
  sim::Device device;
  std::string writable = record;
  EXPECT_EQ(wlan_schedule_cfg(writable.data(), day), 0);
  EXPECT_EQ(device.text("/etc/admin").value_or(""), table);
  std::vector<std::string> commands;
  for (size_t at = 0; at < table.size();) {
    size_t end = table.find('\n', at);
    commands.push_back("echo \"" + table.substr(at, end - at) + "\" >> /etc/admin");
    at = end + 1;
  }
  EXPECT_EQ(device.commands(), commands);
  EXPECT_THAT(device.writes(), IsEmpty());
  EXPECT_EQ(device.console(), "");
}

}  // namespace

TEST(ScheduleRanges, OnWeekdays) {
  const std::pair<const char *, const char *> cases[] = {
      {"1 1 0 0 0 0",
       "* * * * DAY nvram_set RadioOff 0\n"
       "* * * * DAY /sbin/wlan.sh\n"
       "0 0 * * NEXT  nvram_set RadioOff 1\n"
       "0 0 * * NEXT /sbin/wlan.sh\n"},
      {"1 0 0 0 0 0",
       " * * * * DAY nvram_set RadioOff 1\n"
       " * * * * DAY /sbin/wlan.sh\n"
       " 0 0 * * NEXT nvram_set RadioOff 0\n"
       " 0 0 * * NEXT /sbin/wlan.sh\n"},
      {"1 1 9 0 0 0",
       "* 9-23 * * DAY nvram_set RadioOff 0\n"
       "* 9-23 * * DAY /sbin/wlan.sh\n"},
      {"1 0 9 0 0 0",
       "* 9-23 * * DAY nvram_set RadioOff 1\n"
       "* 9-23 * * DAY /sbin/wlan.sh\n"},
      {"1 1 8 0 18 0",
       "* 8-18 * * DAY nvram_set RadioOff 0\n"
       "* 8-18 * * DAY /sbin/wlan.sh\n"
       "1 18 * * DAY nvram_set RadioOff 1\n"
       "1 18 * * DAY /sbin/wlan.sh\n"},
      {"1 0 8 0 18 0",
       "* 8-18 * * DAY nvram_set RadioOff 1\n"
       "* 8-18 * * DAY /sbin/wlan.sh\n"
       "1 18 * * DAY nvram_set RadioOff 0\n"
       "1 18 * * DAY /sbin/wlan.sh\n"},
      {"1 1 8 0 18 1",
       "* 8-18 * * DAY nvram_set RadioOff 0\n"
       "* 8-18 * * DAY /sbin/wlan.sh\n"
       "0-30 18 * * DAY nvram_set RadioOff 0\n"
       "0-30 18 * * DAY /sbin/wlan.sh\n"
       "31-59 18 * * DAY nvram_set RadioOff 1\n"
       "31-59 18 * * DAY /sbin/wlan.sh\n"},
      {"1 0 8 0 18 1",
       "* 8-18 * * DAY nvram_set RadioOff 1\n"
       "* 8-18 * * DAY /sbin/wlan.sh\n"
       "0-30 18 * * DAY nvram_set RadioOff 1\n"
       "0-30 18 * * DAY /sbin/wlan.sh\n"
       "31-59 18 * * DAY nvram_set RadioOff 0\n"
       "31-59 18 * * DAY /sbin/wlan.sh\n"},
      {"1 1 8 1 18 0",
       "30-59 8 * * DAY  nvram_set RadioOff 0\n"
       "30-59 8 * * DAY /sbin/wlan.sh\n"
       "* 9-18 * * DAY  nvram_set RadioOff 0\n"
       "* 9-18 * * DAY /sbin/wlan.sh\n"
       "1 18 * * DAY nvram_set RadioOff 1\n"
       "1 18 * * DAY /sbin/wlan.sh\n"},
      {"1 0 8 1 18 0",
       "30-59 8 * * DAY  nvram_set RadioOff 1\n"
       "30-59 8 * * DAY /sbin/wlan.sh\n"
       "* 9-18 * * DAY  nvram_set RadioOff 1\n"
       "* 9-18 * * DAY /sbin/wlan.sh\n"
       "1 18 * * DAY  nvram_set RadioOff 0\n"
       "1 18 * * DAY /sbin/wlan.sh\n"},
      {"1 1 8 1 18 1",
       "0-30 8-18 * * DAY nvram_set RadioOff 0\n"
       "0-30 8-18 * * DAY /sbin/wlan.sh\n"
       "31 18 * * DAY nvram_set RadioOff 1\n"
       "31 18 * * DAY /sbin/wlan.sh\n"},
      {"1 0 8 1 18 1",
       "0-30 8-18 * * DAY nvram_set RadioOff 1\n"
       "0-30 8-18 * * DAY /sbin/wlan.sh\n"
       "31 18 * * DAY  nvram_set RadioOff 0\n"
       "31 18 * * DAY /sbin/wlan.sh\n"},
  };
  for (const auto &[record, table] : cases) {
    // Sunday stays 7, and the day behind it is 1.
    expectTable(record, 1, with(with(table, "DAY", 1), "NEXT", 2));
    expectTable(record, 7, with(with(table, "DAY", 7), "NEXT", 1));
  }
}

TEST(ScheduleRanges, EveryDay) {
  const std::pair<const char *, const char *> cases[] = {
      {"1 1 9 0 0 0",
       "* 9-23 * * * nvram_set RadioOff 0\n"
       "* 9-23 * * * /sbin/wlan.sh\n"},
      {"1 0 9 0 0 0",
       "* 9-23 * * * nvram_set RadioOff 1\n"
       "* 9-23 * * * /sbin/wlan.sh\n"},
      {"1 1 8 0 18 0",
       "* 8-18 * * * nvram_set RadioOff 0\n"
       "* 8-18 * * * /sbin/wlan.sh\n"
       "1 18 * * * nvram_set RadioOff 1\n"
       "1 18 * * * /sbin/wlan.sh\n"},
      {"1 0 8 0 18 0",
       "* 8-18 * * * nvram_set RadioOff 1\n"
       "* 8-18 * * * /sbin/wlan.sh\n"
       "1 18 * * * nvram_set RadioOff 0\n"
       "1 18 * * * /sbin/wlan.sh\n"},
      {"1 1 8 0 18 1",
       "* 8-18 * * * nvram_set RadioOff 0\n"
       "* 8-18 * * * /sbin/wlan.sh\n"
       "0-30 18 * * * nvram_set RadioOff 0\n"
       "0-30 18 * * * /sbin/wlan.sh\n"
       "31-59 18 * * * nvram_set RadioOff 1\n"
       "31-59 18 * * * /sbin/wlan.sh\n"},
      {"1 0 8 0 18 1",
       "* 8-18 * * * nvram_set RadioOff 1\n"
       "* 8-18 * * * /sbin/wlan.sh\n"
       "0-30 18 * * * nvram_set RadioOff 1\n"
       "0-30 18 * * * /sbin/wlan.sh\n"
       "31-59 18 * * * nvram_set RadioOff 0\n"
       "31-59 18 * * * /sbin/wlan.sh\n"},
      {"1 1 8 1 18 0",
       "30-59 8 * * *  nvram_set RadioOff 0\n"
       "30-59 8 * * * /sbin/wlan.sh\n"
       "* 9-18 * * *  nvram_set RadioOff 0\n"
       "* 9-18 * * * /sbin/wlan.sh\n"
       "1 18 * * * nvram_set RadioOff 1\n"
       "1 18 * * * /sbin/wlan.sh\n"},
      {"1 0 8 1 18 0",
       "30-59 8 * * *  nvram_set RadioOff 1\n"
       "30-59 8 * * * /sbin/wlan.sh\n"
       "* 9-18 * * *  nvram_set RadioOff 1\n"
       "* 9-18 * * * /sbin/wlan.sh\n"
       "1 18 * * *  nvram_set RadioOff 0\n"
       "1 18 * * * /sbin/wlan.sh\n"},
      {"1 1 8 1 18 1",
       "0-30 8-18 * * * nvram_set RadioOff 0\n"
       "0-30 8-18 * * * /sbin/wlan.sh\n"
       "31 18 * * * nvram_set RadioOff 1\n"
       "31 18 * * * /sbin/wlan.sh\n"},
      {"1 0 8 1 18 1",
       "0-30 8-18 * * * nvram_set RadioOff 1\n"
       "0-30 8-18 * * * /sbin/wlan.sh\n"
       "31 18 * * *  nvram_set RadioOff 0\n"
       "31 18 * * * /sbin/wlan.sh\n"},
  };
  for (const auto &[record, table] : cases) expectTable(record, 0, table);
}

TEST(ScheduleRanges, AWholeEveryDaySwitchesAtOnce) {
  const struct {
    const char *mode;
    std::optional<std::string> radio_off;
    const char *trace;
    std::vector<std::string> commands;
  } cases[] = {
      {"1", "1", "radioff=1\n", {"nvram_set RadioOff 0", "/sbin/wlan.sh"}},
      {"1", "0", "radioff=0\n", {}},
      {"0", "0", "radioff=0\n", {"nvram_set RadioOff 1", "/sbin/wlan.sh"}},
      {"0", "1", "radioff=1\n", {}},
      {"01", "0", "radioff=0\n", {"nvram_set RadioOff 1", "/sbin/wlan.sh"}},
      {"0", std::nullopt, "radioff=\n", {}},
      {"0", "%s%n", "radioff=%s%n\n", {}},
  };
  for (const auto &[mode, radio_off, trace, commands] : cases) {
    sim::Device device;
    if (radio_off) device.settings({{"RadioOff", *radio_off}});
    std::string record = "1 " + std::string(mode) + " 0 0 0 0";
    wlan_schedule_cfg(record.data(), 0);
    EXPECT_EQ(device.commands(), commands) << trace;
    EXPECT_EQ(device.console(), trace);
    EXPECT_EQ(device.text("/etc/admin"), std::nullopt);
  }
}

TEST(ScheduleRanges, OddRecords) {
  // Not enabled to the letter, or half flags that are none.
  for (const char *record : {"0 1 8 0 18 0", "2 1 8 0 18 0", "11 1 8 0 18 0", "", "     ",
                             "1 1 8 2 18 0", "1 1 8 0 18 x", "1 1 8 1 18 01"}) {
    expectTable(record, 1, "");
  }
  EXPECT_EQ(wlan_schedule_cfg(nullptr, 1), 0);
  // A day that does not exist.
  expectTable("1 1 0 0 0 0", 2147483647,
              "* * * * 2147483647 nvram_set RadioOff 0\n"
              "* * * * 2147483647 /sbin/wlan.sh\n"
              "0 0 * * 1  nvram_set RadioOff 1\n"
              "0 0 * * 1 /sbin/wlan.sh\n");

  // What is missing is 0.
  expectTable("1 1 9", 1,
              "* 9-23 * * 1 nvram_set RadioOff 0\n"
              "* 9-23 * * 1 /sbin/wlan.sh\n");
  // "00" is no end at midnight, and hours may run beyond the day.
  expectTable("1 1 23 1 00 0", 1,
              "30-59 23 * * 1  nvram_set RadioOff 0\n"
              "30-59 23 * * 1 /sbin/wlan.sh\n"
              "* 24-00 * * 1  nvram_set RadioOff 0\n"
              "* 24-00 * * 1 /sbin/wlan.sh\n"
              "1 00 * * 1 nvram_set RadioOff 1\n"
              "1 00 * * 1 /sbin/wlan.sh\n");
  // Of an hour only its first two digits reach a command.
  for (const char *end : {"18\"$(reboot)`id`", "18;reboot", "1800", "18\n*"}) {
    expectTable("1 1 \"|reboot 0 " + std::string(end) + " 0 " + std::string(5000, 'x'), 0,
                "* 0-18 * * * nvram_set RadioOff 0\n"
                "* 0-18 * * * /sbin/wlan.sh\n"
                "1 18 * * * nvram_set RadioOff 1\n"
                "1 18 * * * /sbin/wlan.sh\n");
  }
}

TEST(ScheduleRanges, CutsTheRecordInPlace) {
  sim::Device device;
  char record[] = "1 1 8 0 18 1 rest";
  wlan_schedule_cfg(record, 1);
  EXPECT_EQ(std::string(record, sizeof record - 1),
            std::string("1\0001\0008\0000\00018\0001\0rest", 17));
}
