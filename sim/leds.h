// The LEDs on the GPIO lines of a simulated device.
#ifndef ORBA_SIM_LEDS_H
#define ORBA_SIM_LEDS_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include "sim/part.h"

namespace sim {

// Keeps the last pattern of each line and records every request as
// "led 14: 2 1 4000 1 4000": on, off, blinks, rests, repeats.
class Leds : public Part {
 public:
  using Part::Part;
  using Pattern = std::array<uint32_t, 5>;

  // There is no GPIO device, or there is one and its driver refuses.
  Leds &absent() { return absent_ = true, *this; }
  Leds &refusing() { return refusing_ = true, *this; }

  // Nothing for a line that was never asked for.
  std::optional<Pattern> pattern(uint32_t gpio) const;

  std::optional<int> request(unsigned long number, void *argument) override;
  std::optional<bool> opens(const std::string &path) override;

 private:
  std::map<uint32_t, Pattern> patterns_;
  bool absent_ = false;
  bool refusing_ = false;
};

}  // namespace sim

#endif
