// The radio's timetable: crond's table, and the state wanted now.
#include <gmock/gmock.h>

#include "orba_util.h"
#include "sim/device.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kCacheCommand[] =
    "echo \"* * */1 * * echo 3 > /proc/sys/vm/drop_caches\" >> /etc/admin ";

// In a week that begins on a Monday.
const std::string kMonday = "2026-11-23 ", kSaturday = "2026-11-28 ", kSunday = "2026-11-29 ";

tm brokenDown(const std::string &text) {
  tm time{};
  EXPECT_NE(strptime(text.c_str(), "%a %H:%M", &time), nullptr) << text;
  return time;
}

}  // namespace

TEST(ScheduleInit, MakesTheWholeTableAndSwitchesTheRadio) {
  sim::Device device;
  device.buffered(
      {{"wlanScheduleEnab", "1"}, {"wlanSchedule1", "0 1 8 0 18 0"}, {"RadioOff", "1"}});
  device.buffered({{"wlanSchedule2", "1 0 22 1 6 0"}, {"wlanSchedule8", "1 1 8 0 18 1"}});
  device.clock().set(kSunday + "09:00");
  EXPECT_EQ(wlan_schedule_init(), 0);
  EXPECT_EQ(device.text("/etc/admin"), R"(* * */1 * * echo 3 > /proc/sys/vm/drop_caches
30 22 * * 1 nvram_set RadioOff 1
30 22 * * 1 /sbin/wlan.sh
0 6 * * 1 nvram_set RadioOff 0
0 6 * * 1 /sbin/wlan.sh
0 8 * * 0 nvram_set RadioOff 0
0 8 * * 0 /sbin/wlan.sh
30 18 * * 0 nvram_set RadioOff 1
30 18 * * 0 /sbin/wlan.sh
)");
  EXPECT_EQ(device.commands().back(), "wlan.sh");
  EXPECT_THAT(device.writes(), ElementsAre("bufset 1 RadioOff=0", "commit 1"));
  EXPECT_EQ(device.console(),
            "#### init wlan scheduling ###\n,##wlan radio is changed to enable\n");
}

// Without any setting it is switched on, with nothing to do.
TEST(ScheduleInit, SwitchedOffLeavesTheCacheLineAlone) {
  const std::pair<sim::Settings, std::string> cases[] = {
      {{{"wlanScheduleEnab", "0"}, {"wlanSchedule1", "1 1 8 0 18 0"}, {"RadioOff", "0"}}, ""},
      {{}, "no change to wlan radio\n"}};
  for (const auto &[settings, trace] : cases) {
    sim::Device device;
    device.buffered(settings);
    wlan_schedule_init();
    EXPECT_THAT(device.commands(),
                ElementsAre("killall -q  crond", "rm /etc/admin", "touch /etc/admin", kCacheCommand,
                            "crond -c /etc -L /var/log/cron.log"));
    EXPECT_EQ(device.text("/etc/admin"), "* * */1 * * echo 3 > /proc/sys/vm/drop_caches\n");
    EXPECT_THAT(device.writes(), IsEmpty());
    EXPECT_EQ(device.console(), "#### init wlan scheduling ###\n,##" + trace);
  }
}

TEST(ScheduleLines, OfEachDayAndMode) {
  const struct {
    int day;
    std::string record, start, end;
    int off_inside;
  } cases[] = {{0, "1 1 8 0 18 1", "0 8 * * *", "30 18 * * *", 0},
               {0, "1 0 22 1 6 0", "30 22 * * *", "0 6 * * *", 1},
               {1, "1 1 0 1 23 1", "30 0 * * 1", "30 23 * * 1", 0},
               // Any number but 0 enables, and only a mode of "1" itself is on inside.
               {6, "2 1 08 x 09 2", "0 8 * * 6", "0 9 * * 6", 0},
               {7, "1 01 8 0 18 1", "0 8 * * 0", "30 18 * * 0", 1},
               {2, "1 1 x;reboot 1 $(reboot) 0 more fields", "30 0 * * 2", "0 0 * * 2", 0},
               // The end half is character 103, the last that counts, and the one behind it.
               {0, "1 " + std::string(92, 'm') + " 8 0 18 1", "0 8 * * *", "30 18 * * *", 1},
               {0, "1 " + std::string(93, 'm') + " 8 0 18 1", "0 8 * * *", "0 18 * * *", 1}};
  for (const char *disabled :
       {"0 1 8 0 18 1", "on 1 8 0 18 1", "", static_cast<const char *>(nullptr)}) {
    sim::Device device;
    setWlanSchedulingCfg(disabled, 3);
    EXPECT_THAT(device.events(), IsEmpty());
  }
  for (const auto &[day, record, start, end, off_inside] : cases) {
    std::string table = start + " nvram_set RadioOff " + std::to_string(off_inside) + "\n" + start +
                        " /sbin/wlan.sh\n" + end + " nvram_set RadioOff " +
                        std::to_string(1 - off_inside) + "\n" + end + " /sbin/wlan.sh\n";
    sim::Device device;
    setWlanSchedulingCfg(record.c_str(), day);
    EXPECT_EQ(device.text("/etc/admin").value_or(""), table) << record << ", day " << day;
  }
}

TEST(ScheduleCheck, DecidesForOneMoment) {
  const struct {
    const char *now, *record;
    int day, wish;
  } cases[] = {
      {"Mon 08:59", "1 1 9 0 17 1", 0, 0},
      {"Mon 09:00", "1 1 9 0 17 1", 0, 1},
      {"Mon 17:29", "1 1 9 0 17 1", 0, 1},
      {"Mon 17:30", "1 1 9 0 17 1", 0, 0},   // the end minute is outside
      {"Mon 12:00", "1 01 9 0 17 0", 0, 1},  // the mode as a number
      // Across midnight no moment is inside.
      {"Mon 03:00", "1 1 22 0 6 0", 0, 0},
      {"Mon 23:00", "1 0 22 1 6 0", 0, 1},
      {"Mon 12:00", "1 1 12 0 12 0", 0, 0},
      // Weekdays.
      {"Tue 12:00", "1 1 9 0 17 0", 1, -1},
      {"Sat 12:00", "1 1 9 0 17 0", 7, -1},
      {"Mon 12:00", "1 1 9 0 17 0", -1, -1},
      // What is missing is 0, what is no number too.
      {"Mon 12:00", "0 1 9 0 17 0", 0, -1},
      {"Mon 12:00", nullptr, 0, -1},
      {"Mon 12:00", "1", 0, 1},
      {"Mon 12:00", "1 1 x", 0, 0},
  };
  for (const auto &[now, record, day, wish] : cases) {
    EXPECT_EQ(checkWlanSchedulingCfg(brokenDown(now), record, day), wish)
        << now << ", " << (record != nullptr ? record : "(null)") << ", day " << day;
  }
}

TEST(ScheduleNow, TheRadioFollowsTheFirstRecordThatApplies) {
  const sim::Settings office = {{"wlanSchedule2", "1 0 9 0 17 0"},
                                {"wlanSchedule8", "1 1 9 0 17 0"}};
  const sim::Settings office_and_every_day = {{"wlanSchedule1", "1 1 9 0 17 0"},
                                              {"wlanSchedule2", "1 0 9 0 17 0"}};
  const struct {
    sim::Settings records;
    std::string now;
    const char *before;  // null: missing, which counts as on
    std::optional<std::string> written;
    const char *trace;
  } cases[] = {
      {office, kMonday + "12:00", "0", "1", "wlan radio is changed to disable\n"},
      {office, kMonday + "17:00", "1", "0", "wlan radio is changed to enable\n"},
      {office, kSunday + "09:00", nullptr, {}, "wlan radio is changed to enable\n"},
      {office, kSaturday + "12:00", "1", {}, "no change to wlan radio\n"},
      {office_and_every_day, kMonday + "12:00", "1", "0", "wlan radio is changed to enable\n"},
  };
  for (const auto &[records, now, before, written, trace] : cases) {
    sim::Device device;
    device.buffered(records);
    if (before != nullptr) device.buffered({{"RadioOff", before}});
    device.clock().set(now);
    EXPECT_EQ(setWlanSchedulingCurrentState(), 0);
    std::vector<std::string> writes, commands;
    if (written) {
      writes = {"bufset 1 RadioOff=" + *written, "commit 1"};
      commands = {"wlan.sh"};
    }
    EXPECT_EQ(device.writes(), writes) << now;
    EXPECT_EQ(device.commands(), commands) << now;
    EXPECT_EQ(device.console(), trace) << now;
  }
}
