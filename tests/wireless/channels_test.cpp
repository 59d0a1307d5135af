#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "orba_util.h"
#include "sim/device.h"

namespace {

using Getter = int (*)(char *, int, char **);

std::string answerOf(Getter getter) {
  char out[2048] = "";
  EXPECT_EQ(getter(out, 0, nullptr), 1);
  return out;
}

std::string options5(const std::vector<int> &channels, int selected = 0) {
  std::string text;
  for (int c : channels) {
    text += "<option value=" + std::to_string(c) + (c == selected ? " selected>" : " >") +
            std::to_string(5000 + 5 * c) + "MHz (Channel " + std::to_string(c) + ")</option>";
  }
  return text;
}

std::string options2_4(int first, int last) {
  std::string text;
  for (int c = first; c <= last; c++) {
    text += "<option value=" + std::to_string(c) + " >Channel " + std::to_string(c) + "</option>";
  }
  return text;
}

const std::vector<int> kLow = {36, 40, 44, 48};
const std::vector<int> kLowDfs = {52, 56, 60, 64};
const std::vector<int> kMiddle = {100, 104, 108, 112, 116};
const std::vector<int> kWeather = {120, 124, 128};
const std::vector<int> kMiddleEnd = {132, 136, 140};
const std::vector<int> kHigh = {149, 153, 157, 161};
const std::vector<int> kIsm = {165};

TEST(Channels, FiveGigahertzByRegion) {
  struct {
    const char *region;
    std::vector<std::vector<int>> channels;
  } cases[] = {
      {"0", {kLow, kLowDfs, kHigh, kIsm}},
      {"1", {kLow, kLowDfs, kMiddle, kWeather, kMiddleEnd}},
      {"2", {kLow, kLowDfs}},
      {"3", {kLowDfs, kHigh}},
      {"4", {kHigh, kIsm}},
      {"5", {kHigh}},
      {"6", {kLow}},
      {"7", {kLow, kLowDfs, kMiddle, kWeather, kMiddleEnd, kHigh, kIsm}},
      {"", {kLow, kLowDfs, kMiddle, kWeather, kMiddleEnd, kHigh, kIsm}},
      {"8", {kLowDfs}},
      {"9", {kLow, kLowDfs, kMiddle, kMiddleEnd, kHigh, kIsm}},
      {"10", {kLow, kHigh, kIsm}},
      {"11", {kLow, kLowDfs, kMiddle, {120}, kHigh}},
      {"12", {}},
      {"07", {}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.region);
    std::vector<int> channels;
    for (const auto &group : c.channels)
      channels.insert(channels.end(), group.begin(), group.end());
    sim::Device device;
    device.settings({{"CountryRegionABand", c.region}, {"Channel", "161"}});
    EXPECT_EQ(answerOf(getWlan11aChannels), options5(channels, 161));
  }
  sim::Device unset;
  EXPECT_THAT(
      answerOf(getWlan11aChannels),
      testing::StartsWith("<option value=36 >5180MHz (Channel 36)</option><option value=40 "));
}

TEST(Channels, TwoGigahertzByRegion) {
  struct {
    const char *region;
    std::string b, g;
  } cases[] = {
      {"0", options2_4(1, 11), options2_4(1, 11)},
      {"1", options2_4(1, 13), options2_4(1, 13)},
      {"2", options2_4(10, 11), options2_4(10, 11)},
      {"3", options2_4(10, 13), options2_4(10, 13)},
      {"4", "<option value=14 >Channel 14</option>\n", "<option value=14 >Channel 14</option>\n"},
      {"5", options2_4(1, 14), options2_4(1, 13)},
      {"", options2_4(1, 14), options2_4(1, 13)},
      {"6", options2_4(3, 9), options2_4(3, 9)},
      {"7", options2_4(5, 13), options2_4(5, 13)},
      {"8", "", ""},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.region);
    sim::Device device;
    // A channel outside every list marks nothing.
    device.settings({{"CountryRegion", c.region}, {"Channel", "36"}});
    EXPECT_EQ(answerOf(getWlan11bChannels), c.b);
    EXPECT_EQ(answerOf(getWlan11gChannels), c.g);
  }
  sim::Device unset;
  EXPECT_EQ(answerOf(getWlan11bChannels), options2_4(1, 14));
  EXPECT_EQ(answerOf(getWlan11gChannels), options2_4(1, 13));
}

TEST(Channels, MarksTheConfiguredChannel) {
  sim::Device device;
  device.settings({{"CountryRegion", "2"}, {"Channel", "11"}});
  EXPECT_EQ(answerOf(getWlan11gChannels),
            "<option value=10 >Channel 10</option><option value=11 selected>Channel 11</option>");
}

TEST(Channels, AppendToTheBufferExceptForTheLoneChannel14) {
  sim::Device device;
  device.settings({{"CountryRegion", "2"}, {"CountryRegionABand", "12"}, {"Channel", "14"}});
  char out[2048] = "<!-- -->";
  getWlan11bChannels(out, 0, nullptr);
  EXPECT_EQ(out, "<!-- -->" + options2_4(10, 11));
  getWlan11aChannels(out, 0, nullptr);
  EXPECT_EQ(out, "<!-- -->" + options2_4(10, 11));
  device.settings({{"CountryRegion", "4"}});
  getWlan11gChannels(out, 0, nullptr);
  EXPECT_STREQ(out, "<option value=14 selected>Channel 14</option>\n");
}

TEST(Channels, StayInsideTheBufferWhoeverFilledIt) {
  sim::Device device;
  std::vector<char> out(2048, 'x');
  out[1990] = '\0';
  getWlan11aChannels(out.data(), 0, nullptr);
  EXPECT_EQ(std::string(out.data()), std::string(1990, 'x') + options5({36}));
}

TEST(Channels, TheOneToShow) {
  const std::string kLong(5000, '7');
  struct {
    sim::Settings settings;
    std::string shown;
  } cases[] = {
      {{{"AutoChannelSelect", "1"}, {"Channel", "6"}}, "0"},
      {{{"AutoChannelSelect", "1"}}, "0"},
      {{{"AutoChannelSelect", "0"}, {"Channel", "6"}}, "6"},
      {{{"AutoChannelSelect", "01"}, {"Channel", "11 "}}, "11 "},
      {{{"AutoChannelSelect", ""}, {"Channel", ""}}, ""},
      {{{"AutoChannelSelect", "0"}}, "9"},
      {{{"Channel", "6"}}, "9"},
      {{}, "9"},
      {{{"AutoChannelSelect", "0"}, {"Channel", kLong}}, kLong.substr(0, 31)},
  };
  for (const auto &c : cases) {
    sim::Device device;
    device.settings(c.settings);
    char out[32];
    EXPECT_EQ(getWlanChannel(out, 0, nullptr), 1);
    EXPECT_EQ(out, c.shown);
  }
}

TEST(Channels, WhatTheBuildHas) {
  char out[2];
  auto built = [&](Getter getter) { return getter(out, 0, nullptr) == 1 ? out : nullptr; };
  EXPECT_STREQ(built(getWlanApcliBuilt), "0");
  EXPECT_STREQ(built(getMeshBuilt), "0");
  EXPECT_STREQ(built(is3t3r), "0");
  EXPECT_STREQ(built(getMaxBssidNum), "8");
  EXPECT_STREQ(built(getMBSSIDBuilt), "1");
  EXPECT_STREQ(built(get16MBSSIDBuilt), "0");
}

TEST(ChannelTable, EveryChannelInOrder) {
  std::vector<std::pair<uint32_t, uint32_t>> expected;
  for (uint32_t c = 1; c <= 13; c++) expected.push_back({c, 2412000 + 5000 * (c - 1)});
  expected.push_back({14, 2484000});
  for (uint32_t c :
       {34,  36,  38,  40,  42,  44,  46,  48,  52,  56,  60,  64,  100, 104, 108, 112,
        116, 120, 124, 128, 132, 136, 140, 149, 153, 157, 161, 165, 167, 169, 171, 173}) {
    expected.push_back({c, 5170000 + 5000 * (c - 34)});
  }
  for (uint32_t c : {184, 188, 192, 196, 208, 212, 216}) {
    expected.push_back({c, 4920000 + 5000 * (c - 184)});
  }
  std::vector<std::pair<uint32_t, uint32_t>> table;
  for (int i = 0; i < G_nChanFreqCount; i++) {
    table.push_back({ChannelFreqTable[i].channel, ChannelFreqTable[i].kilohertz});
  }
  EXPECT_EQ(G_nChanFreqCount, 53);
  EXPECT_EQ(table, expected);
}

}  // namespace
