// Bounded text, stripping, tokens, the interval timer.
#include <gmock/gmock.h>

#include "core/text.h"
#include "orba_util.h"
#include "sim/device.h"

TEST(Text, NeverPassesItsEndAndRemembersACut) {
  orba::Text<8> text("abc");
  text.format("%d", 1234);
  EXPECT_TRUE(text.fits());
  EXPECT_STREQ(text.text(), "abc1234");
  text.append("x");
  EXPECT_FALSE(text.fits());
  EXPECT_STREQ(text.text(), "abc1234");
  text.assign("ab").format("%s", "0123456789");
  EXPECT_FALSE(text.fits());
  EXPECT_STREQ(text.text(), "ab01234");
  EXPECT_EQ(text.length(), 7u);
  text.clear();
  EXPECT_TRUE(text.fits() && text.empty());
}

TEST(Trim, ReturnsTwoDifferentThings) {
  struct {
    std::string text, trimmed;
    int result;
  } rows[] = {{"  ab \n", "ab", 2}, {"ab  ", "ab", 3}, {"ab", "ab", 1},
              {"\t a b", "a b", 3}, {" \n", " \n", 0}, {"", "", 0}};
  for (auto &row : rows) {
    EXPECT_EQ(trim(row.text.data()), row.result) << row.trimmed;
    EXPECT_STREQ(row.text.c_str(), row.trimmed.c_str());
  }
}

TEST(GetField, WantsADigit) {
  char text[32];
  auto field = [&text](int n) {
    strcpy(text, "12 x  34");
    return getField(text, " ", n);
  };
  EXPECT_STREQ(field(0), "12");
  EXPECT_EQ(field(1), nullptr);
  EXPECT_STREQ(field(2), "34");
  EXPECT_EQ(field(5), nullptr);
}

namespace {

int ticks;

void tick(int) {
  ticks++;
}

void otherTick(int) {
  ticks += 100;
}

}  // namespace

TEST(IntervalTimer, IsOneForAll) {
  sim::Device device;
  ticks = 0;
  EXPECT_EQ(setTimer(100000, tick), 0);
  device.advance(350);
  EXPECT_EQ(ticks, 3);

  EXPECT_EQ(setTimerOnce(2, otherTick), 0);  // whole seconds; replaces the other
  device.advance(5000);
  EXPECT_EQ(ticks, 103);

  EXPECT_EQ(setFullTimer(1, 500000, tick), 0);
  device.advance(3100);
  EXPECT_EQ(ticks, 105);
  EXPECT_EQ(stopTimer(), 0);
  device.advance(10000);
  EXPECT_EQ(ticks, 105);
  EXPECT_EQ(device.clock().installed(), tick);

  EXPECT_EQ(setTimerOnce(0, otherTick), 0);  // disarms, and installs all the same
  device.advance(10000);
  EXPECT_EQ(ticks, 105);
  EXPECT_EQ(device.clock().installed(), otherTick);
}
