#include "wireless/schedule_record.h"

#include <cstdint>

#include "core/text.h"

namespace orba {

namespace {

TimeOfDay timeOfDay(const char *hour, const char *half) {
  return {toNumber(hour), same(half, "1") ? 30 : 0};
}

// Wide enough for any number that stands in place of an hour.
int64_t minutesOf(const TimeOfDay &time) {
  return int64_t{time.hour} * 60 + time.minute;
}

}  // namespace

ScheduleFields::ScheduleFields(char *record) {
  const char **const fields[] = {&enable, &mode, &start_hour, &start_half, &end_hour, &end_half};
  for (const char **field : fields) {
    char *blank = strchr(record, ' ');
    if (blank != nullptr) *blank = '\0';
    if (*record != '\0') *field = record;
    if (blank == nullptr) return;
    record = blank + 1;
  }
}

ScheduleRecord parseScheduleRecord(const char *record) {
  char copy[kScheduleRecordSize];
  copyText(copy, sizeof copy, record != nullptr ? record : "");
  ScheduleFields fields(copy);
  return {
      .enabled = toNumber(fields.enable) != 0,
      .start = timeOfDay(fields.start_hour, fields.start_half),
      .end = timeOfDay(fields.end_hour, fields.end_half),
      .cron_on_inside = same(fields.mode, "1"),
      .now_on_inside = toNumber(fields.mode) == 1,
  };
}

RadioWish radioWish(const ScheduleRecord &record, int day, const tm &now) {
  if (day != 0 && now.tm_wday != day % 7) return kNoWish;
  if (!record.enabled) return kNoWish;
  int64_t minute = minutesOf({now.tm_hour, now.tm_min});
  bool inside = minute >= minutesOf(record.start) && minute < minutesOf(record.end);
  return inside == record.now_on_inside ? kWantsOn : kWantsOff;
}

}  // namespace orba
