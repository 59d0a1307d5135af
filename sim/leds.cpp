#include "sim/leds.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "sim/device.h"

namespace sim {

namespace {

constexpr unsigned long kLedRequest = 0x41;

}  // namespace

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
  std::string text = "led " + std::to_string(fields[0]) + ":";
  for (size_t i = 1; i < 6; i++) text += " " + std::to_string(fields[i]);
  device_.record(Event::kRequest, text);
  return 0;
}

}  // namespace sim
