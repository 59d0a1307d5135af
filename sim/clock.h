// Simulated time and the one interval timer.
#ifndef ORBA_SIM_CLOCK_H
#define ORBA_SIM_CLOCK_H

#include <ctime>
#include <string>

namespace sim {

// Time moves only when told to. The device's time zone is UTC.
class Clock {
 public:
  using Handler = void (*)(int);

  // "2026-11-23 22:45:00"; the seconds may be left out.
  void set(const std::string &utc);
  void set(time_t epoch_seconds) { start_ = static_cast<long long>(epoch_seconds) * 1000; }
  // Milliseconds since the device was made.
  long long elapsed() const { return elapsed_; }
  time_t now() const { return static_cast<time_t>((start_ + elapsed_) / 1000); }
  long long nanoseconds() const { return (start_ + elapsed_) % 1000 * 1000000; }

  // Lets time pass; the handler runs at each expiry on the way, unless it is
  // running already, as a signal that is blocked would wait.
  void advance(long long milliseconds);
  // The timer expires here and now.
  void expire();
  bool inHandler() const { return in_handler_; }

  Handler install(Handler handler);
  void arm(long long first_milliseconds, long long period_milliseconds);
  bool armed() const { return due_ >= 0; }
  long long period() const { return period_; }
  Handler installed() const { return handler_; }

 private:
  long long start_ = 1795305600000;  // a Sunday at midnight
  long long elapsed_ = 0;
  long long due_ = -1;
  long long period_ = 0;
  Handler handler_ = nullptr;
  bool in_handler_ = false;
};

}  // namespace sim

#endif
