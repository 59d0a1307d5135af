// One record of the wireless timetable, such as "1 0 22 1 6 0": enabled, radio
// off inside the period, from 22:30 to 06:00.
#ifndef ORBA_WIRELESS_SCHEDULE_RECORD_H
#define ORBA_WIRELESS_SCHEDULE_RECORD_H

#include <cstddef>
#include <ctime>

#pragma GCC visibility push(hidden)
namespace orba {

// Records are cut to 103 characters.
constexpr size_t kScheduleRecordSize = 104;

// The six fields of a record, which is cut in place at single blanks. A field
// that is missing or empty reads "0"; what stands behind the sixth is ignored.
struct ScheduleFields {
  const char *enable = "0";
  const char *mode = "0";
  const char *start_hour = "0";
  const char *start_half = "0";
  const char *end_hour = "0";
  const char *end_half = "0";

  explicit ScheduleFields(char *record);
};

struct TimeOfDay {
  int hour;
  int minute;
};

struct ScheduleRecord {
  bool enabled;
  TimeOfDay start;
  TimeOfDay end;
  // Whether the radio is on inside the period. The cron lines take the mode as
  // text and the decision for this moment takes it as a number, so that "01"
  // means off to the one and on to the other. It is meant.
  bool cron_on_inside;
  bool now_on_inside;
};

ScheduleRecord parseScheduleRecord(const char *record);

enum RadioWish { kNoWish = -1, kWantsOff = 0, kWantsOn = 1 };

// What a record for `day` (0: every day, 1 to 7: Monday to Sunday) wants of the
// radio at `now`. A period that ends on the next morning is never inside here,
// although its cron lines switch at both times. It is meant.
RadioWish radioWish(const ScheduleRecord &record, int day, const tm &now);

}  // namespace orba
#pragma GCC visibility pop

#endif
