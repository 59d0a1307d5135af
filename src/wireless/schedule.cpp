// The weekly timetable of the 2.4 GHz radio: its records become lines of crond's
// table /etc/admin, and the radio is brought to the state they want right now.
#include "core/command.h"
#include "core/setting.h"
#include "wireless/schedule_record.h"

namespace orba {

namespace {

// The record for every day, then those for Monday to Sunday.
constexpr const char *kRecords[] = {
    "wlanSchedule1", "wlanSchedule2", "wlanSchedule3", "wlanSchedule4",
    "wlanSchedule5", "wlanSchedule6", "wlanSchedule7", "wlanSchedule8",
};
constexpr int kDays = 8;

// Copies, because the store may reuse its texts.
struct Timetable {
  char records[kDays][kScheduleRecordSize];

  void read() {
    for (int day = 0; day < kDays; day++) {
      copyText(records[day], sizeof records[day], setting(kRecords[day]).text());
    }
  }
};

constexpr char kStartAfresh[] =
    "killall -q  crond\n"
    "rm /etc/admin\n"
    "touch /etc/admin\n";

void startTable() {
  runAll(kStartAfresh);
  // The page cache goes every minute. It is meant.
  appendToFile("/etc/admin ", "echo \"* * */1 * * echo 3 > /proc/sys/vm/drop_caches\"");
}

// Cron counts Sunday as 0.
void switchOn(int day, const TimeOfDay &time, int radio_off) {
  Text<12> weekday;
  weekday.format(day == 0 ? "*" : "%d", day == 7 ? 0 : day);
  appendToFile("/etc/admin", "echo \"%d %d * * %s nvram_set RadioOff %d\"", time.minute, time.hour,
               weekday.text(), radio_off);
  appendToFile("/etc/admin", "echo \"%d %d * * %s /sbin/wlan.sh\"", time.minute, time.hour,
               weekday.text());
}

// The first record that applies decides, so the one for every day goes first.
int wishOf(const Timetable &timetable, const tm &now) {
  for (int day = 0; day < kDays; day++) {
    int wish = checkWlanSchedulingCfg(now, timetable.records[day], day);
    if (wish != kNoWish) return wish;
  }
  return kNoWish;
}

void applyWish(int wish, int radio_off) {
  if (wish == kNoWish) {
    debug("no change to wlan radio\n");
    return;
  }
  // Says "changed" before it is known whether anything changes. It is meant.
  debug("%s", wish == kWantsOn ? "wlan radio is changed to enable\n"
                               : "wlan radio is changed to disable\n");
  int wanted_off = wish == kWantsOn ? 0 : 1;
  if (wanted_off == radio_off) return;
  nvram_bufset(kMainSpace, "RadioOff", wanted_off == 1 ? "1" : "0");
  nvram_commit(kMainSpace);
  doSystem("wlan.sh");
}

}  // namespace

}  // namespace orba

void setWlanSchedulingCfg(const char *record, int dayIndex) {
  orba::ScheduleRecord schedule = orba::parseScheduleRecord(record);
  if (!schedule.enabled) return;
  int off_inside = schedule.cron_on_inside ? 0 : 1;
  orba::switchOn(dayIndex, schedule.start, off_inside);
  orba::switchOn(dayIndex, schedule.end, 1 - off_inside);
}

int checkWlanSchedulingCfg(struct tm now, const char *record, int dayIndex) {
  return orba::radioWish(orba::parseScheduleRecord(record), dayIndex, now);
}

int setWlanSchedulingCurrentState(void) {
  orba::Timetable timetable;
  timetable.read();
  int radio_off = orba::setting("RadioOff").number();
  time_t seconds = time(nullptr);
  const tm *now = localtime(&seconds);
  orba::applyWish(now != nullptr ? orba::wishOf(timetable, *now) : orba::kNoWish, radio_off);
  return 0;
}

int wlan_schedule_init(void) {
  debug("#### init wlan scheduling ###\n,##");
  bool enabled = !orba::setting("wlanScheduleEnab").is("0");
  orba::Timetable timetable;
  if (enabled) timetable.read();

  orba::startTable();
  for (int day = 0; enabled && day < orba::kDays; day++) {
    setWlanSchedulingCfg(timetable.records[day], day);
  }
  doSystem("crond -c /etc -L /var/log/cron.log");
  if (enabled) setWlanSchedulingCurrentState();
  return 0;
}
