#include "sim/clock.h"

#include <csignal>
#include <stdexcept>

namespace sim {

void Clock::set(const std::string &utc) {
  tm broken{};
  const char *end = strptime(utc.c_str(), "%Y-%m-%d %H:%M", &broken);
  if (end != nullptr && *end == ':') end = strptime(end, ":%S", &broken);
  if (end == nullptr || *end != '\0') throw std::invalid_argument("not a time: " + utc);
  start_ = static_cast<long long>(timegm(&broken)) * 1000 - elapsed_;
}

void Clock::advance(long long milliseconds) {
  long long until = elapsed_ + milliseconds;
  while (due_ >= 0 && due_ <= until && !in_handler_) {
    elapsed_ = due_ > elapsed_ ? due_ : elapsed_;
    due_ = period_ > 0 ? elapsed_ + period_ : -1;
    expire();
  }
  if (elapsed_ < until) elapsed_ = until;
}

void Clock::expire() {
  if (handler_ == nullptr || handler_ == SIG_IGN || in_handler_) return;
  in_handler_ = true;
  handler_(SIGALRM);
  in_handler_ = false;
}

Clock::Handler Clock::install(Handler handler) {
  Handler previous = handler_;
  handler_ = handler;
  return previous;
}

void Clock::arm(long long first_milliseconds, long long period_milliseconds) {
  due_ = first_milliseconds > 0 ? elapsed_ + first_milliseconds : -1;
  period_ = period_milliseconds;
}

}  // namespace sim
