// The radio's week as the tool draws it.
#include "tools/show/week.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

using orba::tool::plannedWeek;
using orba::tool::Week;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string drawn(const Week &week) {
  std::ostringstream out;
  week.print(out);
  return out.str();
}

}  // namespace

TEST(Week, BeginsAsTheLastSwitchLeavesIt) {
  Week week("30 22 * * 6 nvram_set RadioOff 0\n0 2 * * 2 nvram_set RadioOff 1\n", false);
  EXPECT_EQ(week.asJson().dump(),
            R"({"Monday":[["00:00","24:00"]],"Tuesday":[["00:00","02:00"]],"Wednesday":[],)"
            R"("Thursday":[],"Friday":[],"Saturday":[["22:30","24:00"]],)"
            R"("Sunday":[["00:00","24:00"]]})");
}

TEST(Week, WithoutSwitchesStaysAsItIs) {
  sim::Device device;
  device.settings(
      {{"wlanScheduleEnab", "0"}, {"wlanSchedule1", "1 1 8 0 18 0"}, {"RadioOff", "1"}});
  Week off = plannedWeek(device);
  EXPECT_FALSE(off.hasSwitches());
  EXPECT_FALSE(off.isOn(0));
  Week on("* * */1 * * echo 3 > /proc/sys/vm/drop_caches\n0 8 * * * /sbin/wlan.sh\n", true);
  EXPECT_TRUE(on.isOn(Week::kMinutes - 1));
  EXPECT_THAT(drawn(on), testing::HasSubstr("No line of the table switches the radio"));
}

// A start goes by the records, where a period over midnight is never inside, and not by the table.
TEST(Week, TellsWhatAStartDoesOtherwise) {
  sim::Device device;
  device.settings(
      {{"wlanSchedule2", "1 0 23 1 6 0"}, {"wlanSchedule8", "1 01 8 0 9 1"}, {"RadioOff", "1"}});
  const time_t now = device.clock().now() + 3 * 86400 + 5;
  device.clock().set(now);
  Week week = plannedWeek(device);
  EXPECT_EQ(device.clock().now(), now);
  EXPECT_EQ(device.setting("RadioOff"), "1");
  EXPECT_THAT(
      drawn(week),
      testing::AllOf(
          testing::HasSubstr(
              "Monday     ###############################################+  00:00-23:30\n"),
          testing::HasSubstr("Tuesday    ................................................\n"),
          testing::HasSubstr(
              "Sunday     ................+++-----------------------------  09:30-24:00\n"),
          testing::HasSubstr("+ off, but a device that starts then has it on   - on, but")));
  EXPECT_EQ(week.startsAsJson()["Sunday"].dump(),
            R"([["08:00","09:30","on"],["09:30","24:00","off"]])");

  struct Moment {
    int minute;
    const char *said;
  };
  for (const Moment &moment :
       {Moment{Week::kDay + 1425,
               "\nMonday 23:45\n  by the table   off, by its line for Monday 23:30\n"
               "  after a start  on\n  next switch    Sunday 08:00, off\n"},
        Moment{2 * Week::kDay,
               "\nTuesday 00:00\n  by the table   off, by its line for Monday 23:30\n"
               "  after a start  as it was before\n  next switch    Sunday 08:00, off\n"},
        Moment{9 * 60 + 30,
               "\nSunday 09:30\n  by the table   on, by its line for Sunday 09:30\n"
               "  after a start  off\n  next switch    Monday 06:00, on\n"}}) {
    std::ostringstream out;
    week.printAt(out, moment.minute);
    EXPECT_EQ(out.str(), moment.said);
  }
  EXPECT_EQ(week.atAsJson(9 * 60).dump(),
            R"({"time":"Sunday 09:00","by_table":"off","after_start":"on",)"
            R"("next_switch":{"time":"Sunday 09:30","radio":"on"}})");
}

TEST(Week, ReadsCronsFields) {
  // On the working days, in the first half of every second hour from 22 to 4.
  Week week(" 0-29 22-4/2 * * 1-5  nvram_set RadioOff 0\n30 * * * * nvram_set RadioOff 1\n", true);
  for (int day = 0; day < 7; day++) {
    for (int hour = 0; hour < 24; hour++) {
      bool wanted = day >= 1 && day <= 5 && (hour == 22 || hour <= 4) && hour % 2 == 0;
      int minute = day * Week::kDay + hour * 60;
      EXPECT_EQ(week.isOn(minute + 29), wanted) << day << " " << hour;
      EXPECT_FALSE(week.isOn(minute + 30));
    }
  }
  EXPECT_THAT(week.leftOut(), IsEmpty());

  Week faulty(
      "0 24 * * * nvram_set RadioOff 0\n60 1 * * * nvram_set RadioOff 0\n"
      "0 -5 * * * nvram_set RadioOff 0\n0 2147483647 * * * nvram_set RadioOff 0\n"
      "0 1 1 * * nvram_set RadioOff 0\n*/0 1 * * * nvram_set RadioOff 0\n"
      "0 1 * * x nvram_set RadioOff 0\n0 6 * * 1,3 nvram_set RadioOff 0\n",
      false);
  EXPECT_THAT(
      faulty.leftOut(),
      ElementsAre("0 24 * * * nvram_set RadioOff 0", "60 1 * * * nvram_set RadioOff 0",
                  "0 -5 * * * nvram_set RadioOff 0", "0 2147483647 * * * nvram_set RadioOff 0",
                  "0 1 1 * * nvram_set RadioOff 0", "*/0 1 * * * nvram_set RadioOff 0",
                  "0 1 * * x nvram_set RadioOff 0"));
  EXPECT_TRUE(faulty.hasSwitches());
}
