// The radio's week, as the lines of crond's table will switch it.
#ifndef ORBA_TOOLS_SHOW_WEEK_H
#define ORBA_TOOLS_SHOW_WEEK_H

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "sim/device.h"

namespace orba::tool {

// Switches of the radio, minute by minute from Sunday 00:00 as cron counts.
class Week {
 public:
  static constexpr int kDay = 24 * 60;
  static constexpr int kMinutes = 7 * kDay;

  // Reads "MINUTE HOUR DAY MONTH WEEKDAY nvram_set RadioOff N" lines; of two for
  // the same minute the later one counts. The week begins as the last switch of
  // the week before leaves the radio; without any switch it stays as it is.
  Week(const std::string &crontab, bool radio_is_on);

  bool isOn(int minute) const { return on_[static_cast<size_t>(minute)]; }
  bool hasSwitches() const { return switches_ > 0; }
  // Lines for the radio that crond would refuse, or that do not mean every week.
  const std::vector<std::string> &leftOut() const { return left_out_; }

  // A row for each day, a column for each half hour.
  void print(std::ostream &out) const;
  // {"Monday": [["08:00", "18:30"]], ...}: the times at which the radio is on.
  nlohmann::ordered_json asJson() const;

 private:
  struct Period {
    int start;
    int end;
  };
  std::vector<Period> onPeriods(int day) const;

  std::vector<bool> on_;
  size_t switches_ = 0;
  std::vector<std::string> left_out_;
};

// The week as wlan_schedule_init arranges it on the device.
Week plannedWeek(sim::Device &device);

}  // namespace orba::tool

#endif
