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
  std::string longest;
  for (int i = 0; i < 32; i++) longest += "&#127;";
  EXPECT_EQ(shown(std::string(32, '\x7f')), longest);
  // The 33rd is left out, and no reference is ever cut in two.
  EXPECT_EQ(shown(std::string(33, '\x7f')), longest);
  std::string quotes;
  for (int i = 0; i < 38; i++) quotes += "&#34;";
  EXPECT_EQ(shown(std::string(192, '"')), quotes);
}

TEST(SignalQuality, FollowsItsTwoSlopes) {
  for (int rssi = -100; rssi <= 0; rssi++) {
    double quality = rssi >= -50   ? 100
                     : rssi >= -80 ? (rssi + 80) * 2.6 + 24
                     : rssi >= -90 ? (rssi + 90) * 2.6
                                   : 0;
    EXPECT_EQ(ConvertRssiToSignalQuality(rssi), static_cast<unsigned>(quality)) << rssi;
  }
  struct {
    int rssi;
    unsigned quality;
  } cases[] = {{-50, 100}, {-51, 99}, {-65, 63}, {-80, 24},      {-81, 23},
               {-85, 13},  {-90, 0},  {-91, 0},  {INT32_MIN, 0}, {INT32_MAX, 100}};
  for (const auto &c : cases) EXPECT_EQ(ConvertRssiToSignalQuality(c.rssi), c.quality) << c.rssi;
}

}  // namespace
