// The front-panel LEDs: GPIO lines that the kernel blinks by itself once it has
// been given a pattern.
#include <sys/ioctl.h>

#include <cstddef>
#include <cstdint>

#include "core/console.h"
#include "core/errno_keeper.h"
#include "core/file.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr char kGpioDevice[] = "/dev/gpio";
constexpr unsigned long kLedRequest = 0x41;

// Times and counts are in ticks of the GPIO driver; this one has no end.
constexpr uint32_t kForever = 4000;

// The two setters reach different lines, and their callers rely on each bound.
constexpr uint32_t kBlinkingGpios = 52;
constexpr uint32_t kSteadyGpios = 73;

struct Pattern {
  uint32_t on;
  uint32_t off;
  uint32_t blinks;
  uint32_t rests;
  uint32_t repeats;
};

// What the driver takes.
struct LedRequest {
  uint32_t gpio;
  Pattern pattern;
};
static_assert(sizeof(LedRequest) == 24);
static_assert(offsetof(LedRequest, gpio) == 0);
static_assert(offsetof(LedRequest, pattern.on) == 4);
static_assert(offsetof(LedRequest, pattern.off) == 8);
static_assert(offsetof(LedRequest, pattern.blinks) == 12);
static_assert(offsetof(LedRequest, pattern.rests) == 16);
static_assert(offsetof(LedRequest, pattern.repeats) == 20);

constexpr Pattern kLit = {kForever, 0, 1, 1, kForever};
constexpr Pattern kDark = {0, kForever, 1, 1, kForever};
constexpr Pattern kDarkWithoutRest = {0, kForever, 1, 0, kForever};
constexpr Pattern kBlinkingFast = {2, 1, kForever, 1, kForever};

bool inRange(const Pattern &pattern) {
  return pattern.on <= kForever && pattern.off <= kForever && pattern.blinks <= kForever &&
         pattern.rests <= kForever && pattern.repeats <= kForever;
}

int show(uint32_t gpio, const Pattern &pattern, uint32_t gpios) {
  if (gpio >= gpios || !inRange(pattern)) return -1;
  Descriptor device(open(kGpioDevice, O_RDONLY));
  if (!device) {
    print(STDERR_FILENO, "%s: %m\n", kGpioDevice);
    return -1;
  }
  LedRequest request = {gpio, pattern};
  if (ioctl(device.get(), kLedRequest, &request) < 0) {
    print(STDERR_FILENO, "ioctl: %m\n");
    return -1;
  }
  return 0;
}

struct WpsLed {
  const Pattern &pattern;
  int state;
  bool reports;  // the answer is the setter's, not always 0
};

constexpr WpsLed kWpsLeds[] = {
    {kDark, 1, true}, {kBlinkingFast, 2, true}, {kDarkWithoutRest, 3, true},
    {kDark, 4, true}, {kDark, 5, false},        {kDark, 6, false},
    {kLit, 7, false},
};

}  // namespace

}  // namespace orba

int gpioLedSet(unsigned int gpio, unsigned int on, unsigned int off, unsigned int blinks,
               unsigned int rests, unsigned int repeats) {
  return orba::show(gpio, {on, off, blinks, rests, repeats}, orba::kBlinkingGpios);
}

int ledAlways(unsigned int gpio, int on) {
  return orba::show(gpio, on != 0 ? orba::kLit : orba::kDark, orba::kSteadyGpios);
}

int ledWps(unsigned int gpio, int state) {
  for (const orba::WpsLed &led : orba::kWpsLeds) {
    if (led.state != state) continue;
    int result = orba::show(gpio, led.pattern, orba::kBlinkingGpios);
    return led.reports ? result : 0;
  }
  return 0;
}

// State 7 lights a line, and GPIO 9 and 10 of this board go dark on it. Runs as
// the timer's handler too.
int setLedOff(void) {
  orba::ErrnoKeeper errno_keeper;
  ledWps(9, 7);
  return ledWps(10, 7);
}
