#include "sim/leds.h"

#include <cerrno>
#include <cstring>

#include "sim/device.h"

namespace sim {

namespace {

constexpr unsigned long kLedRequest = 0x41;

}  // namespace

std::optional<Leds::Pattern> Leds::pattern(uint32_t gpio) const {
  auto found = patterns_.find(gpio);
  if (found == patterns_.end()) return {};
  return found->second;
}

std::optional<bool> Leds::opens(const std::string &path) {
  if (path != "/dev/gpio") return {};
  return !absent_;
}

std::optional<int> Leds::request(unsigned long number, void *argument) {
  if (number != kLedRequest) return {};
  if (refusing_) {
    errno = EIO;
    return -1;
  }
  uint32_t fields[6];
  memcpy(fields, argument, sizeof fields);
  Pattern &pattern = patterns_[fields[0]];
  std::string text = "led " + std::to_string(fields[0]) + ":";
  for (size_t i = 0; i < pattern.size(); i++) {
    pattern[i] = fields[i + 1];
    text += " " + std::to_string(pattern[i]);
  }
  device_.record(Event::kRequest, text);
  return 0;
}

}  // namespace sim
