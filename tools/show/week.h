// The radio's week, as the lines of crond's table will switch it, and as a device that
// starts at some moment of it would.
#ifndef ORBA_TOOLS_SHOW_WEEK_H
#define ORBA_TOOLS_SHOW_WEEK_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
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
  static constexpr int kHalfHour = 30;

  // Whether a device that starts in a half hour of the week has the radio on afterwards,
  // nothing where it leaves it as it is; empty for nothing throughout.
  using Starts = std::vector<std::optional<bool>>;

  // Reads "MINUTE HOUR DAY MONTH WEEKDAY nvram_set RadioOff N" lines; of two for
  // the same minute the later one counts. The week begins as the last switch of
  // the week before leaves the radio; without any switch it stays as it is.
  Week(const std::string &crontab, bool radio_is_on, Starts starts = {});

  bool isOn(int minute) const { return on_[static_cast<size_t>(minute)]; }
  bool hasSwitches() const { return has_switches_; }
  std::optional<bool> afterStart(int minute) const;
  // Lines for the radio that crond would refuse, or that do not mean every week.
  const std::vector<std::string> &leftOut() const { return left_out_; }

  // A row for each day, a column for each half hour.
  void print(std::ostream &out) const;
  // What the table says of that minute, what a start does then, and the next switch.
  void printAt(std::ostream &out, int minute) const;
  // {"Monday": [["08:00", "18:30"]], ...}: the times at which the radio is on.
  nlohmann::ordered_json asJson() const;
  // {"Monday": [["00:00", "06:00", "on"]], ...}: those at which a start does not leave the
  // radio as the table has it.
  nlohmann::ordered_json startsAsJson() const;
  nlohmann::ordered_json atAsJson(int minute) const;

 private:
  struct Period {
    int start;
    int end;
    bool on;  // in it
  };
  std::vector<Period> onPeriods(int day) const;
  std::vector<Period> startPeriods(int day) const;
  bool startDiffers(int minute) const {
    return afterStart(minute).value_or(isOn(minute)) != isOn(minute);
  }
  // How many minutes from `minute` there is the next switch, 0 not counted, in that direction.
  int minutesToSwitch(int minute, int direction) const;

  std::vector<bool> on_;
  std::vector<std::optional<bool>> switches_;  // by minute: what the table switches the radio to
  bool has_switches_ = false;
  Starts starts_;
  std::vector<std::string> left_out_;
};

// The week as wlan_schedule_init arranges it on the device, whose clock and RadioOff are
// left as they were.
Week plannedWeek(sim::Device &device);

}  // namespace orba::tool

#endif
