#include "tools/show/week.h"
#include <nlohmann/json.hpp>

#include <cstdio>
#include <optional>
#include <sstream>

#include "orba_util.h"
#include "tools/text/lines.h"

namespace orba::tool {

namespace {

constexpr int kHalfHour = 30;

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

}  // namespace

Week::Week(const std::string &crontab, bool radio_is_on) : on_(kMinutes, radio_is_on) {
  std::vector<std::optional<bool>> switches(kMinutes);
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
    for (size_t at = 0; at < switches.size(); at++) {
      if ((*weekdays)[at / kDay] && (*hours)[at / 60 % 24] && (*minutes)[at % 60]) {
        switches[at] = value == "0";
      }
    }
  }

  bool on = radio_is_on;
  for (const std::optional<bool> &change : switches) {
    switches_ += change ? 1 : 0;
    on = change.value_or(on);
  }
  for (size_t at = 0; at < switches.size(); at++) on_[at] = on = switches[at].value_or(on);
}

std::vector<Week::Period> Week::onPeriods(int day) const {
  std::vector<Period> periods;
  for (int minute = 0; minute < kDay; minute++) {
    if (!isOn(day * kDay + minute)) continue;
    if (periods.empty() || periods.back().end != minute) periods.push_back({minute, minute});
    periods.back().end = minute + 1;
  }
  return periods;
}

void Week::print(std::ostream &out) const {
  out << "           00:00 03:00 06:00 09:00 12:00 15:00 18:00 21:00\n";
  for (const Day &day : kDays) {
    std::string name = day.name;
    out << name << std::string(11 - name.size(), ' ');
    for (int minute = 0; minute < kDay; minute += kHalfHour) {
      out << (isOn(day.number * kDay + minute) ? '#' : '.');
    }
    for (const Period &period : onPeriods(day.number)) {
      out << "  " << clockTime(period.start) << "-" << clockTime(period.end);
    }
    out << "\n";
  }
  out << "\n# radio on   . radio off   each column is half an hour\n";
  if (!hasSwitches()) out << "No line of the table switches the radio: it stays as it is.\n";
  for (const std::string &line : left_out_)
    out << "Left out, as crond does not run it every week: " << visible(line) << "\n";
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

Week plannedWeek(sim::Device &device) {
  wlan_schedule_init();
  bool off = device.setting("RadioOff").value_or("0") == "1";
  return Week(device.text("/etc/admin").value_or(""), !off);
}

}  // namespace orba::tool
