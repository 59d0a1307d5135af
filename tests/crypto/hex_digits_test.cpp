#include <gtest/gtest.h>

#include <cstring>

#include "orba_util.h"

TEST(HexDigits, EveryCharacter) {
  const char digits[] = "00112233445566778899aAbBcCdDeEfF";
  for (int c = 0; c < 256; ++c) {
    const char *at = c ? strchr(digits, c) : nullptr;
    EXPECT_EQ(BtoH(static_cast<char>(c)), at ? (at - digits) / 2 : 255) << c;
  }
}

TEST(HexDigits, NothingIsCheckedAndTheSecondDigitIsAdded) {
  // In place, and the byte behind them stays.
  unsigned char text[] = "0aFf0zzzz01zzF\xff .";
  auto *digits = reinterpret_cast<char *>(text);
  AtoH(nullptr, text, 0);
  AtoH(digits, text, -3);
  AtoH(digits, text, 8);
  EXPECT_EQ(memcmp(text, "\x0A\xFF\xFF\xEF\xF0\x0F\xFF\xEFz0", 10), 0);
}
