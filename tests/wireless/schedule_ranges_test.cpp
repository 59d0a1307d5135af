// The older timetable generator: every one of its lines, blank for blank.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

using Lines = std::vector<std::string>;

namespace {

std::string with(std::string text, const std::string &name, const std::string &value) {
  for (size_t at; (at = text.find(name)) != std::string::npos;) {
    text.replace(at, name.size(), value);
  }
  return text;
}

// Behind each line that sets the radio comes the same one with the restart, with
// a single blank; each reaches the table by one command, and nothing else is done.
void expectTable(const std::string &record, int day, const Lines &radio_lines) {
  SCOPED_TRACE(record + ", day " + std::to_string(day));
  std::string table;
  Lines commands;
  for (const std::string &line : radio_lines) {
    std::string times = line.substr(0, line.find("nvram_set"));
    times.erase(times.find_last_not_of(' ') + 1);
    for (const std::string &each : {line, times + " /sbin/wlan.sh"}) {
      table += each + "\n";
      commands.push_back("echo \"" + each + "\" >> /etc/admin");
    }
  }
  sim::Device device;
  std::string writable = record;
  EXPECT_EQ(wlan_schedule_cfg(writable.data(), day), 0);
  EXPECT_EQ(device.text("/etc/admin").value_or(""), table);
  EXPECT_EQ(device.commands(), commands);
  EXPECT_THAT(device.writes(), testing::IsEmpty());
  EXPECT_EQ(device.console(), "");
}

}  // namespace

// "DAY" and "NEXT" stand for the weekday, or every day, and the one behind it.
TEST(ScheduleRanges, OfEachCaseOnWeekdaysAndEveryDay) {
  const std::pair<const char *, Lines> cases[] = {
      {"1 1 0 0 0 0", {"* * * * DAY nvram_set RadioOff 0", "0 0 * * NEXT  nvram_set RadioOff 1"}},
      {"1 0 0 0 0 0", {" * * * * DAY nvram_set RadioOff 1", " 0 0 * * NEXT nvram_set RadioOff 0"}},
      {"1 1 9 0 0 0", {"* 9-23 * * DAY nvram_set RadioOff 0"}},
      {"1 0 9 0 0 0", {"* 9-23 * * DAY nvram_set RadioOff 1"}},
      {"1 1 8 0 18 0",
       {"* 8-18 * * DAY nvram_set RadioOff 0", "1 18 * * DAY nvram_set RadioOff 1"}},
      {"1 0 8 0 18 0",
       {"* 8-18 * * DAY nvram_set RadioOff 1", "1 18 * * DAY nvram_set RadioOff 0"}},
      {"1 1 8 0 18 1",
       {"* 8-18 * * DAY nvram_set RadioOff 0", "0-30 18 * * DAY nvram_set RadioOff 0",
        "31-59 18 * * DAY nvram_set RadioOff 1"}},
      {"1 0 8 0 18 1",
       {"* 8-18 * * DAY nvram_set RadioOff 1", "0-30 18 * * DAY nvram_set RadioOff 1",
        "31-59 18 * * DAY nvram_set RadioOff 0"}},
      {"1 1 8 1 18 0",
       {"30-59 8 * * DAY  nvram_set RadioOff 0", "* 9-18 * * DAY  nvram_set RadioOff 0",
        "1 18 * * DAY nvram_set RadioOff 1"}},
      {"1 0 8 1 18 0",
       {"30-59 8 * * DAY  nvram_set RadioOff 1", "* 9-18 * * DAY  nvram_set RadioOff 1",
        "1 18 * * DAY  nvram_set RadioOff 0"}},
      {"1 1 8 1 18 1",
       {"0-30 8-18 * * DAY nvram_set RadioOff 0", "31 18 * * DAY nvram_set RadioOff 1"}},
      {"1 0 8 1 18 1",
       {"0-30 8-18 * * DAY nvram_set RadioOff 1", "31 18 * * DAY  nvram_set RadioOff 0"}},
  };
  for (const auto &[record, lines] : cases) {
    auto on = [&lines](const char *day, const char *next) {
      Lines table;
      for (const std::string &line : lines)
        table.push_back(with(with(line, "DAY", day), "NEXT", next));
      return table;
    };
    // Sunday stays 7, and the day behind it is 1.
    expectTable(record, 1, on("1", "2"));
    expectTable(record, 7, on("7", "1"));
    bool whole_day = lines[1 % lines.size()].find("NEXT") != std::string::npos;
    if (!whole_day) expectTable(record, 0, on("*", ""));
  }
}

TEST(ScheduleRanges, AWholeEveryDaySwitchesAtOnce) {
  const struct {
    const char *mode;
    std::optional<std::string> radio_off;
    const char *trace;
    Lines commands;
  } cases[] = {
      {"1", "1", "radioff=1\n", {"nvram_set RadioOff 0", "/sbin/wlan.sh"}},
      {"1", "0", "radioff=0\n", {}},
      {"01", "0", "radioff=0\n", {"nvram_set RadioOff 1", "/sbin/wlan.sh"}},
      {"0", "1", "radioff=1\n", {}},
      {"0", std::nullopt, "radioff=\n", {}},
      {"0", "%s%n", "radioff=%s%n\n", {}},
  };
  for (const auto &[mode, radio_off, trace, commands] : cases) {
    sim::Device device;
    device.buffered({{"RadioOff", "buffered"}});
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
    expectTable(record, 1, {});
  }
  EXPECT_EQ(wlan_schedule_cfg(nullptr, 1), 0);
  // A day that does not exist.
  expectTable("1 1 0 0 0 0", 2147483647,
              {"* * * * 2147483647 nvram_set RadioOff 0", "0 0 * * 1  nvram_set RadioOff 1"});
  // What is missing or empty is 0.
  expectTable("1 1 9", 1, {"* 9-23 * * 1 nvram_set RadioOff 0"});
  // From half past it is no whole day.
  expectTable("1 1 0 1 0 0", 1,
              {"30-59 0 * * 1  nvram_set RadioOff 0", "* 1-0 * * 1  nvram_set RadioOff 0",
               "1 0 * * 1 nvram_set RadioOff 1"});
  // "00" is no end at midnight, and hours may run beyond the day.
  expectTable("1 1 23 1 00 0", 1,
              {"30-59 23 * * 1  nvram_set RadioOff 0", "* 24-00 * * 1  nvram_set RadioOff 0",
               "1 00 * * 1 nvram_set RadioOff 1"});
  // Of an hour only its first two digits reach a command.
  for (const char *end : {"18\"$(reboot)`id`", "18;reboot", "1800", "18\n*"}) {
    expectTable("1 1 \"|reboot 0 " + std::string(end) + " 0 " + std::string(5000, 'x'), 0,
                {"* 0-18 * * * nvram_set RadioOff 0", "1 18 * * * nvram_set RadioOff 1"});
  }
}

TEST(ScheduleRanges, CutsTheRecordInPlace) {
  sim::Device device;
  char record[] = "1 1 8 0 18 1 rest";
  wlan_schedule_cfg(record, 1);
  EXPECT_EQ(std::string(record, sizeof record - 1),
            std::string("1\0001\0008\0000\00018\0001\0rest", 17));
}
