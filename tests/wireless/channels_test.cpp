#include <gmock/gmock.h>

#include <cstring>
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

using Range = std::pair<int, int>;

std::string options5(const std::vector<Range> &ranges, int selected = 0) {
  std::string text;
  for (const auto &[first, last] : ranges) {
    for (int c = first; c <= last; c += 4) {
      text += "<option value=" + std::to_string(c) + (c == selected ? " selected>" : " >") +
              std::to_string(5000 + 5 * c) + "MHz (Channel " + std::to_string(c) + ")</option>";
    }
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

// Without a setting as with an empty one.
TEST(Channels, FiveGigahertzByRegion) {
  const std::vector<Range> all = {{36, 64}, {100, 140}, {149, 165}};
  const std::pair<std::optional<std::string>, std::vector<Range>> cases[] = {
      {"0", {{36, 64}, {149, 165}}},
      {"1", {{36, 64}, {100, 140}}},
      {"2", {{36, 64}}},
      {"3", {{52, 64}, {149, 161}}},
      {"4", {{149, 165}}},
      {"5", {{149, 161}}},
      {"6", {{36, 48}}},
      {"7", all},
      {"", all},
      {{}, all},
      {"8", {{52, 64}}},
      {"9", {{36, 64}, {100, 116}, {132, 140}, {149, 165}}},
      {"10", {{36, 48}, {149, 165}}},
      {"11", {{36, 64}, {100, 120}, {149, 161}}},
      {"12", {}},
      {"07", {}},
  };
  for (const auto &[region, ranges] : cases) {
    sim::Device device;
    if (region) device.buffered({{"CountryRegionABand", *region}});
    device.buffered({{"Channel", "161"}});
    EXPECT_EQ(answerOf(getWlan11aChannels), options5(ranges, 161)) << region.value_or("none");
  }
}

TEST(Channels, TwoGigahertzByRegion) {
  const std::string lone = "<option value=14 >Channel 14</option>\n";
  const struct {
    std::optional<std::string> region;
    std::string b, g;
  } cases[] = {
      {"0", options2_4(1, 11), options2_4(1, 11)},
      {"1", options2_4(1, 13), options2_4(1, 13)},
      {"2", options2_4(10, 11), options2_4(10, 11)},
      {"3", options2_4(10, 13), options2_4(10, 13)},
      {"4", lone, lone},
      {"5", options2_4(1, 14), options2_4(1, 13)},
      {"", options2_4(1, 14), options2_4(1, 13)},
      {{}, options2_4(1, 14), options2_4(1, 13)},
      {"6", options2_4(3, 9), options2_4(3, 9)},
      {"7", options2_4(5, 13), options2_4(5, 13)},
      {"8", "", ""},
  };
  for (const auto &[region, b, g] : cases) {
    sim::Device device;
    if (region) device.buffered({{"CountryRegion", *region}});
    // A channel outside every list marks nothing.
    device.buffered({{"Channel", "36"}});
    EXPECT_EQ(answerOf(getWlan11bChannels), b) << region.value_or("none");
    EXPECT_EQ(answerOf(getWlan11gChannels), g) << region.value_or("none");
  }
}

TEST(Channels, AppendToTheBufferExceptForTheLoneChannel14) {
  sim::Device device;
  device.settings({{"CountryRegion", "2"}, {"CountryRegionABand", "12"}, {"Channel", "11"}});
  const char appended[] =
      "<!-- --><option value=10 >Channel 10</option><option value=11 selected>Channel 11</option>";
  char out[2048] = "<!-- -->";
  getWlan11bChannels(out, 0, nullptr);
  EXPECT_STREQ(out, appended);
  getWlan11aChannels(out, 0, nullptr);
  EXPECT_STREQ(out, appended);
  device.buffered({{"CountryRegion", "4"}, {"Channel", "14"}});
  getWlan11gChannels(out, 0, nullptr);
  EXPECT_STREQ(out, "<option value=14 selected>Channel 14</option>\n");
  // They stay inside the buffer, whoever filled it.
  strcpy(out, std::string(1990, 'x').c_str());
  device.remove("CountryRegionABand");
  getWlan11aChannels(out, 0, nullptr);
  EXPECT_EQ(out, std::string(1990, 'x') + options5({{36, 36}}));
}

TEST(Channels, TheOneToShow) {
  const std::string kLong(5000, '7');
  const std::pair<sim::Settings, std::string> cases[] = {
      {{{"AutoChannelSelect", "1"}, {"Channel", "6"}}, "0"},
      {{{"AutoChannelSelect", "0"}, {"Channel", "6"}}, "6"},
      {{{"AutoChannelSelect", "01"}, {"Channel", "11 "}}, "11 "},
      {{{"AutoChannelSelect", ""}, {"Channel", ""}}, ""},
      {{{"AutoChannelSelect", "0"}}, "9"},
      {{{"Channel", "6"}}, "9"},
      {{{"AutoChannelSelect", "0"}, {"Channel", kLong}}, kLong.substr(0, 31)},
  };
  for (const auto &[settings, shown] : cases) {
    sim::Device device;
    device.buffered(settings);
    char out[32];
    EXPECT_EQ(getWlanChannel(out, 0, nullptr), 1);
    EXPECT_EQ(out, shown);
  }
}

// The band decides where channel 0 would be, and 14 lies apart.
TEST(ChannelTable, IsInOrderWithEachChannelInItsBand) {
  ASSERT_EQ(G_nChanFreqCount, 53);
  uint32_t before = 0, sum = 0;
  for (int i = 0; i < G_nChanFreqCount; i++) {
    const auto &[channel, kilohertz] = ChannelFreqTable[i];
    uint32_t zero = channel < 14    ? 2407000
                    : channel == 14 ? 2414000
                    : channel < 184 ? 5000000
                                    : 4000000;
    EXPECT_EQ(kilohertz, zero + 5000 * channel) << channel;
    EXPECT_GT(channel, before);
    sum += before = channel;
  }
  EXPECT_EQ(sum, 4846u);
}

}  // namespace
