// The older timetable generator, whose cron lines set the radio again in every
// minute of an hour range. A range takes in its end hour while the closing line
// fires at minute 1 or 31 of that same hour, and a period until midnight has no
// closing line. Both are meant.
#include "core/command.h"
#include "core/setting.h"
#include "wireless/schedule_record.h"

namespace orba {

namespace {

constexpr char kTable[] = "/etc/admin";

enum Line {
  kToMidnight,
  kHours,
  kEndHour,
  kFirstHalf,
  kSecondHalf,
  kFromHalf,
  kHoursAfterHalf,
  kHalves,
  kAfterHalves,
  kNoLine,
};

// What a line's first %s and %d stand for. The weekday, or "*", comes last.
enum Hours { kStart, kEnd, kStartToEnd, kNextToEnd };

// What sets RadioOff, when the period is on (mode "1") and when it is off, and
// what brings the driver to it. Blanks stand as they are required to.
struct Row {
  Hours hours;
  const char *on_inside;
  const char *off_inside;
  const char *restart;
  // In place of off_inside when the period starts at half past.
  const char *off_after_half = nullptr;
};

// clang-format off
constexpr Row kRows[] = {
    /* kToMidnight */ {kStart,
     "echo \"* %s-23 * * %s nvram_set RadioOff 0\"",
     "echo \"* %s-23 * * %s nvram_set RadioOff 1\"",
     "echo \"* %s-23 * * %s /sbin/wlan.sh\""},
    /* kHours */ {kStartToEnd,
     "echo \"* %s-%s * * %s nvram_set RadioOff 0\"",
     "echo \"* %s-%s * * %s nvram_set RadioOff 1\"",
     "echo \"* %s-%s * * %s /sbin/wlan.sh\""},
    /* kEndHour */ {kEnd,
     "echo \"1 %s * * %s nvram_set RadioOff 1\"",
     "echo \"1 %s * * %s nvram_set RadioOff 0\"",
     "echo \"1 %s * * %s /sbin/wlan.sh\"",
     "echo \"1 %s * * %s  nvram_set RadioOff 0\""},
    /* kFirstHalf */ {kEnd,
     "echo \"0-30 %s * * %s nvram_set RadioOff 0\"",
     "echo \"0-30 %s * * %s nvram_set RadioOff 1\"",
     "echo \"0-30 %s * * %s /sbin/wlan.sh\""},
    /* kSecondHalf */ {kEnd,
     "echo \"31-59 %s * * %s nvram_set RadioOff 1\"",
     "echo \"31-59 %s * * %s nvram_set RadioOff 0\"",
     "echo \"31-59 %s * * %s /sbin/wlan.sh\""},
    /* kFromHalf */ {kStart,
     "echo \"30-59 %s * * %s  nvram_set RadioOff 0\"",
     "echo \"30-59 %s * * %s  nvram_set RadioOff 1\"",
     "echo \"30-59 %s * * %s /sbin/wlan.sh\""},
    /* kHoursAfterHalf */ {kNextToEnd,
     "echo \"* %d-%s * * %s  nvram_set RadioOff 0\"",
     "echo \"* %d-%s * * %s  nvram_set RadioOff 1\"",
     "echo \"* %d-%s * * %s /sbin/wlan.sh\""},
    /* kHalves */ {kStartToEnd,
     "echo \"0-30 %s-%s * * %s nvram_set RadioOff 0\"",
     "echo \"0-30 %s-%s * * %s nvram_set RadioOff 1\"",
     "echo \"0-30 %s-%s * * %s /sbin/wlan.sh\""},
    /* kAfterHalves */ {kEnd,
     "echo \"31 %s * * %s nvram_set RadioOff 1\"",
     "echo \"31 %s * * %s  nvram_set RadioOff 0\"",
     "echo \"31 %s * * %s /sbin/wlan.sh\""},
};
// clang-format on
static_assert(sizeof kRows / sizeof(Row) == kNoLine);

// An hour enters its command inside the command's own double quotes, where
// quoting it would not hold. So only its leading digits go in, at most two; an
// hour without any reads "0".
class HourText : public Text<3> {
 public:
  explicit HourText(const char *field) {
    append(field, strspn(field, "0123456789"));
    if (empty()) append("0");
  }
};

struct Period {
  bool on_inside;
  HourText start_hour;
  const char *start_half;
  HourText end_hour;
  const char *end_half;

  explicit Period(const ScheduleFields &fields)
      : on_inside(same(fields.mode, "1")),
        start_hour(fields.start_hour),
        start_half(fields.start_half),
        end_hour(fields.end_hour),
        end_half(fields.end_half) {}

  bool isWholeDay() const {
    return start_hour.is("0") && same(start_half, "0") && end_hour.is("0") && same(end_half, "0");
  }
};

// The first case that fits a period decides; a null end hour fits any.
struct Case {
  const char *start_half;
  const char *end_hour;
  const char *end_half;
  Line lines[3];

  bool fits(const Period &period) const {
    return same(start_half, period.start_half) && same(end_half, period.end_half) &&
           (end_hour == nullptr || period.end_hour.is(end_hour));
  }
};
constexpr Case kCases[] = {
    {"0", "0", "0", {kToMidnight, kNoLine, kNoLine}},
    {"0", nullptr, "0", {kHours, kEndHour, kNoLine}},
    {"0", nullptr, "1", {kHours, kFirstHalf, kSecondHalf}},
    {"1", nullptr, "0", {kFromHalf, kHoursAfterHalf, kEndHour}},
    {"1", nullptr, "1", {kHalves, kAfterHalves, kNoLine}},
};

void append(const char *line, Hours hours, const Period &period, const char *weekday) {
  const char *start = period.start_hour.text();
  const char *end = period.end_hour.text();
  switch (hours) {
    case kStart:
      return appendToFile(kTable, line, start, weekday);
    case kEnd:
      return appendToFile(kTable, line, end, weekday);
    case kStartToEnd:
      return appendToFile(kTable, line, start, end, weekday);
    case kNextToEnd:
      return appendToFile(kTable, line, toNumber(start) + 1, end, weekday);
  }
}

const char *radioLine(const Row &row, const Period &period) {
  if (period.on_inside) return row.on_inside;
  bool after_half = same(period.start_half, "1") && row.off_after_half != nullptr;
  return after_half ? row.off_after_half : row.off_inside;
}

void appendPeriod(const Period &period, int day) {
  Text<12> weekday;
  weekday.format(day == 0 ? "*" : "%d", day);
  for (const Case &candidate : kCases) {
    if (!candidate.fits(period)) continue;
    for (Line line : candidate.lines) {
      if (line == kNoLine) return;
      const Row &row = kRows[line];
      append(radioLine(row, period), row.hours, period, weekday.text());
      append(row.restart, row.hours, period, weekday.text());
    }
    return;
  }
}

// Sunday stays 7 here, and the day behind it is 1.
void appendWholeWeekday(bool on_inside, int day) {
  int next = day < 7 ? day + 1 : 1;
  if (on_inside) {
    appendToFile(kTable, "echo \"* * * * %d nvram_set RadioOff 0\"", day);
    appendToFile(kTable, "echo \"* * * * %d /sbin/wlan.sh\"", day);
    appendToFile(kTable, "echo \"0 0 * * %d  nvram_set RadioOff 1\"", next);
    appendToFile(kTable, "echo \"0 0 * * %d /sbin/wlan.sh\"", next);
  } else {
    appendToFile(kTable, "echo \" * * * * %d nvram_set RadioOff 1\"", day);
    appendToFile(kTable, "echo \" * * * * %d /sbin/wlan.sh\"", day);
    appendToFile(kTable, "echo \" 0 0 * * %d nvram_set RadioOff 0\"", next);
    appendToFile(kTable, "echo \" 0 0 * * %d /sbin/wlan.sh\"", next);
  }
}

// The whole of every day needs no cron lines: the radio is switched here and now.
void switchForGood(bool on) {
  Setting radio_off = storedSetting("RadioOff");
  debug("radioff=%s\n", radio_off.text());
  if (!radio_off.is(on ? "1" : "0")) return;
  doSystem(on ? "nvram_set RadioOff 0" : "nvram_set RadioOff 1");
  doSystem("/sbin/wlan.sh");
}

}  // namespace

}  // namespace orba

int wlan_schedule_cfg(char *record, int dayIndex) {
  if (record == nullptr) return 0;
  orba::ScheduleFields fields(record);
  if (!orba::same(fields.enable, "1")) return 0;

  orba::Period period(fields);
  if (!period.isWholeDay()) {
    orba::appendPeriod(period, dayIndex);
  } else if (dayIndex == 0) {
    orba::switchForGood(period.on_inside);
  } else {
    orba::appendWholeWeekday(period.on_inside, dayIndex);
  }
  return 0;
}
