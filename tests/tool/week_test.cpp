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
