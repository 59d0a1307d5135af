#include "tools/show/week.h"
#include <nlohmann/json.hpp>

#include <cstdio>
#include <optional>
#include <sstream>

#include "orba_util.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

// As people read a week, in cron's numbers.
struct Day {
  const char *name;
  int number;
};
constexpr Day kDays[] = {{"Monday", 1}, {"Tuesday", 2},  {"Wednesday", 3}, {"Thursday", 4},
                         {"Friday", 5}, {"Saturday", 6}, {"Sunday", 0}};

// Which of a field's values a line names.
using Marks = std::vector<bool>;

// "*", "5", "5-7", each with "/2" behind it if need be, and lists of them.
// Nothing when crond could not read it.
std::optional<Marks> marksOf(const std::string &field, unsigned size) {
  Marks marks(size);
  std::istringstream items(field);
  for (std::string item; std::getline(items, item, ',');) {
    unsigned first = 0, last = size - 1, step = 1;
    int length = 0;
    const char *rest = item.c_str();
    if (*rest == '*') {
      rest++;
    } else if (sscanf(rest, "%2u-%2u%n", &first, &last, &length) == 2) {
      rest += length;
    } else if (sscanf(rest, "%2u%n", &first, &length) == 1) {
      rest += length;
      last = first;
    } else {
      return {};
    }
    if (sscanf(rest, "/%2u%n", &step, &length) == 1) rest += length;
    if (*rest != '\0' || step == 0 || first >= size || last >= size) return {};
    // A range that runs backwards goes over the end.
    unsigned count = (last + size - first) % size + 1;
    for (unsigned i = 0; i < count; i += step) marks[(first + i) % size] = true;
  }
  return marks;
}

bool isEvery(const std::string &field) {
  return field == "*" || field == "*/1";
}

std::string clockTime(int minute) {
  char text[16];
  snprintf(text, sizeof text, "%02d:%02d", minute / 60, minute % 60);
  return text;
}

// "Sunday 23:45"
std::string timeOfWeek(int minute) {
  const Day *day = kDays;
  while (day->number != minute / Week::kDay) day++;
  return std::string(day->name) + " " + clockTime(minute % Week::kDay);
}

const char *onOrOff(bool on) {
  return on ? "on" : "off";
}

}  // namespace

Week::Week(const std::string &crontab, bool radio_is_on, Starts starts)
    : on_(kMinutes, radio_is_on), switches_(kMinutes), starts_(std::move(starts)) {
  std::istringstream lines(crontab);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string minute, hour, day_of_month, month, weekday, program, key, value;
    words >> minute >> hour >> day_of_month >> month >> weekday >> program >> key >> value;
    if (program != "nvram_set" || key != "RadioOff") continue;
    std::optional<Marks> minutes = marksOf(minute, 60), hours = marksOf(hour, 24),
                         weekdays = marksOf(weekday, 7);
    if (!minutes || !hours || !weekdays || !isEvery(day_of_month) || !isEvery(month)) {
      left_out_.push_back(line);
      continue;
    }
    for (size_t at = 0; at < switches_.size(); at++) {
      if ((*weekdays)[at / kDay] && (*hours)[at / 60 % 24] && (*minutes)[at % 60]) {
        switches_[at] = value == "0";
      }
    }
  }

  bool on = radio_is_on;
  for (const std::optional<bool> &change : switches_) {
    has_switches_ = has_switches_ || change;
    on = change.value_or(on);
  }
  for (size_t at = 0; at < switches_.size(); at++) on_[at] = on = switches_[at].value_or(on);
}

std::optional<bool> Week::afterStart(int minute) const {
  size_t half_hour = static_cast<size_t>(minute / kHalfHour);
  return half_hour < starts_.size() ? starts_[half_hour] : std::nullopt;
}

int Week::minutesToSwitch(int minute, int direction) const {
  int distance = 1;
  while (!switches_[static_cast<size_t>((minute + direction * distance + kMinutes) % kMinutes)])
    distance++;
  return distance;
}

std::vector<Week::Period> Week::onPeriods(int day) const {
  std::vector<Period> periods;
  for (int minute = 0; minute < kDay; minute++) {
    if (!isOn(day * kDay + minute)) continue;
    if (periods.empty() || periods.back().end != minute) periods.push_back({minute, minute, true});
    periods.back().end = minute + 1;
  }
  return periods;
}

std::vector<Week::Period> Week::startPeriods(int day) const {
  std::vector<Period> periods;
  for (int minute = 0; minute < kDay; minute++) {
    int at = day * kDay + minute;
    if (!startDiffers(at)) continue;
    if (periods.empty() || periods.back().end != minute || periods.back().on == isOn(at)) {
      periods.push_back({minute, minute, !isOn(at)});
    }
    periods.back().end = minute + 1;
  }
  return periods;
}

void Week::print(std::ostream &out) const {
  bool differs = false;
  out << "           00:00 03:00 06:00 09:00 12:00 15:00 18:00 21:00\n";
  for (const Day &day : kDays) {
    std::string name = day.name;
    out << name << std::string(11 - name.size(), ' ');
    for (int minute = 0; minute < kDay; minute += kHalfHour) {
      int at = day.number * kDay + minute;
      out << (isOn(at) ? startDiffers(at) ? '-' : '#' : startDiffers(at) ? '+' : '.');
    }
    for (const Period &period : onPeriods(day.number)) {
      out << "  " << clockTime(period.start) << "-" << clockTime(period.end);
    }
    out << "\n";
    differs = differs || !startPeriods(day.number).empty();
  }
  out << "\n# radio on   . radio off   each column is half an hour\n";
  if (differs) {
    out << "+ off, but a device that starts then has it on   - on, but one that starts then has it off\n";
  }
  if (!hasSwitches()) out << "No line of the table switches the radio: it stays as it is.\n";
  for (const std::string &line : left_out_)
    out << "Left out, as crond does not run it every week: " << visible(line) << "\n";
}

void Week::printAt(std::ostream &out, int minute) const {
  out << "\n" << timeOfWeek(minute) << "\n  by the table   " << onOrOff(isOn(minute));
  if (hasSwitches()) {
    int ago = switches_[static_cast<size_t>(minute)] ? 0 : minutesToSwitch(minute, -1);
    out << ", by its line for " << timeOfWeek((minute - ago + kMinutes) % kMinutes);
  }
  std::optional<bool> start = afterStart(minute);
  out << "\n  after a start  " << (start ? onOrOff(*start) : "as it was before")
      << "\n  next switch    ";
  if (hasSwitches()) {
    int next = (minute + minutesToSwitch(minute, 1)) % kMinutes;
    out << timeOfWeek(next) << ", " << onOrOff(isOn(next)) << "\n";
  } else {
    out << "none\n";
  }
}

nlohmann::ordered_json Week::asJson() const {
  nlohmann::ordered_json week;
  for (const Day &day : kDays) {
    week[day.name] = nlohmann::ordered_json::array();
    for (const Period &period : onPeriods(day.number)) {
      week[day.name].push_back({clockTime(period.start), clockTime(period.end)});
    }
  }
  return week;
}

nlohmann::ordered_json Week::startsAsJson() const {
  nlohmann::ordered_json week;
  for (const Day &day : kDays) {
    week[day.name] = nlohmann::ordered_json::array();
    for (const Period &period : startPeriods(day.number)) {
      week[day.name].push_back(
          {clockTime(period.start), clockTime(period.end), onOrOff(period.on)});
    }
  }
  return week;
}

nlohmann::ordered_json Week::atAsJson(int minute) const {
  std::optional<bool> start = afterStart(minute);
  nlohmann::ordered_json at = {{"time", timeOfWeek(minute)},
                               {"by_table", onOrOff(isOn(minute))},
                               {"after_start", start ? onOrOff(*start) : "as before"},
                               {"next_switch", nullptr}};
  if (hasSwitches()) {
    int next = (minute + minutesToSwitch(minute, 1)) % kMinutes;
    at["next_switch"] = {{"time", timeOfWeek(next)}, {"radio", onOrOff(isOn(next))}};
  }
  return at;
}

namespace {

// What a start makes of the radio, found by one that finds it on and one that finds it off.
Week::Starts startsOf(sim::Device &device) {
  Week::Starts starts;
  if (device.setting("wlanScheduleEnab").value_or("") == "0") return starts;
  sim::Clock &clock = device.clock();
  const time_t now = clock.now(), passed = static_cast<time_t>(clock.elapsed() / 1000);
  const std::optional<std::string> radio_off = device.setting("RadioOff");
  const tm *weekday = gmtime(&now);
  time_t sunday = now - ((weekday->tm_wday * 24 + weekday->tm_hour) * 60 + weekday->tm_min) * 60 -
                  weekday->tm_sec;
  auto isOnAfter = [&](const char *off_before) {
    device.settings({{"RadioOff", off_before}});
    setWlanSchedulingCurrentState();
    return device.setting("RadioOff") == "0";
  };
  for (int minute = 0; minute < Week::kMinutes; minute += Week::kHalfHour) {
    clock.set(sunday + time_t{60} * minute - passed);
    bool was_on = isOnAfter("0"), was_off = isOnAfter("1");
    starts.push_back(was_on == was_off ? std::optional(was_on) : std::nullopt);
  }
  clock.set(now - passed);
  device.remove("RadioOff");
  if (radio_off) device.settings({{"RadioOff", *radio_off}});
  return starts;
}

}  // namespace

Week plannedWeek(sim::Device &device) {
  wlan_schedule_init();
  bool off = device.setting("RadioOff").value_or("0") == "1";
  return Week(device.text("/etc/admin").value_or(""), !off, startsOf(device));
}

}  // namespace orba::tool
