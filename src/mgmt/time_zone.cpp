// Keeping the daylight-saving rule of /etc/TZ in settings.
#include "core/file.h"
#include "core/setting.h"
#include "orba_util.h"

namespace orba {

namespace {

// ",M3.5.0/2": month, week of the month, day of the week, hour.
struct ChangeRule {
  Text<4> month, week, day, hour;

  void take(const ChangeRule &other) {
    month.assign(other.month.text());
    week.assign(other.week.text());
    day.assign(other.day.text());
    hour.assign(other.hour.text());
  }
};

// Where each part of a rule is kept.
struct ChangeKeys {
  const char *week, *day, *month, *hour;
};

constexpr ChangeKeys kStartKeys = {"DSTSWM", "DSTSDW", "DSTSM", "DSTSH"};
constexpr ChangeKeys kEndKeys = {"DSTEWM", "DSTEDW", "DSTEM", "DSTEH"};

// Moves what stands behind the last `mark` of `line` to `part` and cuts the
// line there.
bool cutBehindLast(char *line, char mark, Text<4> &part) {
  char *found = strrchr(line, mark);
  if (found == nullptr) return false;
  part.assign(found + 1);
  *found = '\0';
  return true;
}

// Takes the last rule off the end of the line.
bool takeLastRule(char *line, ChangeRule &rule) {
  if (!cutBehindLast(line, '/', rule.hour) || !cutBehindLast(line, '.', rule.day) ||
      !cutBehindLast(line, '.', rule.week) || !cutBehindLast(line, 'M', rule.month)) {
    return false;
  }
  size_t length = strlen(line);
  if (length == 0) return false;
  line[length - 1] = '\0';  // the comma in front of the rule
  return true;
}

void store(const ChangeKeys &keys, const ChangeRule &rule) {
  nvram_bufset(kMainSpace, keys.week, rule.week.text());
  nvram_bufset(kMainSpace, keys.day, rule.day.text());
  nvram_bufset(kMainSpace, keys.month, rule.month.text());
  nvram_bufset(kMainSpace, keys.hour, rule.hour.text());
}

}  // namespace

}  // namespace orba

using namespace orba;

int TZsync2nvram(void) {
  constexpr int kNoDaylightSaving = -1;
  if (!setting("DSTEnabled").is("1")) return kNoDaylightSaving;
  if (setting("isDSTsynced").is("1")) return 0;
  File file("/etc/TZ", "r");
  if (!file) return 0;

  ChangeRule start, end;
  bool parsed = false;
  char line[128];
  while (file.readLine(line)) {
    line[strcspn(line, "\r\n")] = '\0';
    ChangeRule line_start, line_end;
    if (!takeLastRule(line, line_end) || !takeLastRule(line, line_start)) continue;
    start.take(line_start);
    end.take(line_end);
    parsed = true;
  }
  if (!parsed) return 0;

  store(kStartKeys, start);
  store(kEndKeys, end);
  nvram_bufset(kMainSpace, "isDSTsynced", "1");
  nvram_commit(kMainSpace);
  return 1;
}
