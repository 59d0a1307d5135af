#include "sim/leds.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>

#include "orba_util.h"
#include "sim/device.h"

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Leds, ASteadyLightReachesLinesThatBlinkingDoesNot) {
  sim::Device device;
  device.part<sim::Leds>();
  EXPECT_EQ(gpioLedSet(51, 1, 2, 3, 4, 5), 0);
  EXPECT_EQ(gpioLedSet(0, 4000, 4000, 4000, 4000, 4000), 0);
  EXPECT_EQ(ledAlways(52, 1), 0);
  EXPECT_EQ(ledAlways(72, 0), 0);
  EXPECT_EQ(ledAlways(72, -1), 0);
  EXPECT_THAT(device.requests(), ElementsAre("led 51: 1 2 3 4 5", "led 0: 4000 4000 4000 4000 4000",
                                             "led 52: 4000 0 1 1 4000", "led 72: 0 4000 1 1 4000",
                                             "led 72: 4000 0 1 1 4000"));
  // Nothing is opened for a number out of range.
  device.forget();
  const unsigned kCases[][6] = {{52, 1, 1, 1, 1, 1},        {9, 4001, 0, 1, 1, 1},
                                {9, 0, 4001, 1, 1, 1},      {9, 0, 0, 4001, 1, 1},
                                {9, 0, 0, 1, 4001, 1},      {9, 0, 0, 1, 1, 4001},
                                {UINT32_MAX, 0, 0, 1, 1, 1}};
  device.part<sim::Leds>().absent();
  for (const auto &[gpio, on, off, blinks, rests, repeats] : kCases) {
    EXPECT_EQ(gpioLedSet(gpio, on, off, blinks, rests, repeats), -1);
  }
  EXPECT_EQ(ledAlways(73, 1), -1);
  EXPECT_EQ(ledAlways(UINT32_MAX, 1), -1);
  EXPECT_THAT(device.events(), IsEmpty());
}

TEST(Leds, EachWpsStateHasItsPattern) {
  sim::Device device;
  device.part<sim::Leds>();
  for (int state = -1; state <= 8; state++) EXPECT_EQ(ledWps(14, state), 0) << state;
  EXPECT_THAT(device.requests(), ElementsAre("led 14: 0 4000 1 1 4000", "led 14: 2 1 4000 1 4000",
                                             "led 14: 0 4000 1 0 4000", "led 14: 0 4000 1 1 4000",
                                             "led 14: 0 4000 1 1 4000", "led 14: 0 4000 1 1 4000",
                                             "led 14: 4000 0 1 1 4000"));
  device.forget();
  EXPECT_EQ(setLedOff(), 0);
  EXPECT_THAT(device.requests(), ElementsAre("led 9: 4000 0 1 1 4000", "led 10: 4000 0 1 1 4000"));
}

TEST(Leds, AFailureIsTheFirstFourStatesResultAndNotTheOthers) {
  sim::Device device;
  sim::Leds &leds = device.part<sim::Leds>();
  leds.refusing();
  for (int state = 1; state <= 7; state++) EXPECT_EQ(ledWps(14, state), state <= 4 ? -1 : 0);
  EXPECT_EQ(ledAlways(14, 1), -1);
  EXPECT_THAT(device.errors(), testing::StartsWith("ioctl: " + std::string(strerror(EIO)) + "\n"));

  device.forget();
  leds.absent();
  EXPECT_EQ(ledWps(14, 7), 0);
  EXPECT_EQ(gpioLedSet(14, 1, 1, 1, 1, 1), -1);
  EXPECT_EQ(setLedOff(), 0);
  EXPECT_EQ(device.errors(),
            "/dev/gpio: No such device\n/dev/gpio: No such device\n"
            "/dev/gpio: No such device\n/dev/gpio: No such device\n");
}
