// The LEDs on the GPIO lines of a simulated device.
#ifndef ORBA_SIM_LEDS_H
#define ORBA_SIM_LEDS_H

#include <optional>
#include <string>

#include "sim/part.h"

namespace sim {

// Records every request as
// "led 14: 2 1 4000 1 4000": on, off, blinks, rests, repeats.
class Leds : public Part {
 public:
  using Part::Part;

  // There is no GPIO device, or there is one and its driver refuses.
  Leds &absent() { return absent_ = true, *this; }
  Leds &refusing() { return refusing_ = true, *this; }

  std::optional<int> request(unsigned long number, void *argument) override;
  std::optional<bool> opens(const std::string &path) override;

 private:
  bool absent_ = false;
  bool refusing_ = false;
};

}  // namespace sim

#endif
