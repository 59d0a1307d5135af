#include <gtest/gtest.h>

#include <cstring>

#include "orba_util.h"

namespace {

TEST(HexDigits, EveryCharacter) {
  for (int c = 0; c < 256; ++c) {
    const char *digits = "00112233445566778899aAbBcCdDeEfF";
    const char *at = c ? strchr(digits, c) : nullptr;
    EXPECT_EQ(BtoH(static_cast<char>(c)), at ? (at - digits) / 2 : 255) << c;
  }
}

TEST(HexDigits, NothingIsCheckedAndTheSecondDigitIsAdded) {
  const struct {
    const char *text;
    int value;
  } bytes[] = {{"0a", 0x0A}, {"Ff", 0xFF}, {"0z", 0xFF}, {"zz", 0xEF},
               {"z0", 0xF0}, {"1z", 0x0F}, {"zF", 0xFF}, {"\xff ", 0xEF}};
  for (const auto &[text, value] : bytes) {
    unsigned char out[2] = {0, 0x77};
    AtoH(text, out, 1);
    EXPECT_EQ(out[0], value) << text;
    EXPECT_EQ(out[1], 0x77);
  }
}

TEST(HexDigits, AWholeKeyInPlaceAndNothingForNoBytes) {
  char key[] = "0aFf";
  auto *out = reinterpret_cast<unsigned char *>(key);
  AtoH(nullptr, out, 0);
  AtoH(key, out, -3);
  EXPECT_STREQ(key, "0aFf");
  AtoH(key, out, 2);
  EXPECT_EQ(out[0], 0x0A);
  EXPECT_EQ(out[1], 0xFF);
}

}  // namespace
