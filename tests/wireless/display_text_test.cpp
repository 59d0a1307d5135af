#include <gmock/gmock.h>

#include <cstring>
#include <map>
#include <string>

#include "orba_util.h"

namespace {

std::string shown(const std::string &text) {
  char buffer[193];
  strcpy(buffer, text.c_str());
  EXPECT_EQ(ConverterStringToDisplay(buffer), buffer);
  return buffer;
}

TEST(DisplayText, EveryByte) {
  std::map<int, std::string> escaped = {{'\'', "&#39;"}, {'"', "&#34;"},  {'&', "&amp;"},
                                        {'<', "&lt;"},   {'>', "&gt;"},   {'/', "&#47;"},
                                        {';', "&#59;"},  {'\\', "&#92;"}, {127, "&#127;"}};
  for (int code = 1; code < 10; code++) escaped[code] = "&#0" + std::to_string(code) + ";";
  for (int code = 10; code < 32; code++) escaped[code] = "&#" + std::to_string(code) + ";";
  for (int code = 1; code < 256; code++) {
    std::string byte(1, static_cast<char>(code));
    EXPECT_EQ(shown("a" + byte + "b"),
              "a" + (escaped.count(code) != 0 ? escaped[code] : byte) + "b");
  }
  EXPECT_EQ(shown(""), "");
}

TEST(DisplayText, StaysInsideItsBuffer) {
  std::string longest, quotes;
  for (int i = 0; i < 32; i++) longest += "&#127;";
  for (int i = 0; i < 38; i++) quotes += "&#34;";
  EXPECT_EQ(shown(std::string(32, '\x7f')), longest);
  // The 33rd is left out, and no reference is ever cut in two.
  EXPECT_EQ(shown(std::string(33, '\x7f')), longest);
  EXPECT_EQ(shown(std::string(192, '"')), quotes);
}

TEST(SignalQuality, FollowsItsTwoSlopes) {
  const std::pair<int, unsigned> cases[] = {
      {INT32_MAX, 100}, {0, 100},  {-50, 100}, {-51, 99},     {-52, 96}, {-65, 63},
      {-72, 44},        {-79, 26}, {-80, 24},  {-81, 23},     {-82, 20}, {-85, 13},
      {-89, 2},         {-90, 0},  {-91, 0},   {INT32_MIN, 0}};
  for (const auto &[rssi, quality] : cases) {
    EXPECT_EQ(ConvertRssiToSignalQuality(rssi), quality) << rssi;
  }
}

}  // namespace
