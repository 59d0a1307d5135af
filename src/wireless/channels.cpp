// The channel lists of the web pages, and what the pages ask about this build.
#include <cstdint>
#include <cstdio>

#include "core/setting.h"
#include "orba_util.h"

namespace orba {

namespace {

constexpr size_t kOptionListSize = 2048;
constexpr size_t kChannelSize = 32;

struct Range {
  uint8_t first;
  uint8_t last;
};

// What a regulatory region allows; unused ranges are zero.
struct Region {
  char code[4];
  Range ranges[4];
};

// The region of a device that was not given one.
constexpr char kDefaultRegion2_4[] = "5";
constexpr char kDefaultRegion5[] = "7";

// Channel 14 as the only one has a form of its own, see offerChannel14.
constexpr char kRegionOfChannel14[] = "4";

constexpr Region kRegions2_4[] = {
    {"0", {{1, 11}}}, {"1", {{1, 13}}}, {"2", {{10, 11}}}, {"3", {{10, 13}}},
    {"5", {{1, 14}}}, {"6", {{3, 9}}},  {"7", {{5, 13}}},
};

constexpr Region kRegions5[] = {
    {"0", {{36, 64}, {149, 165}}},
    {"1", {{36, 64}, {100, 140}}},
    {"2", {{36, 64}}},
    {"3", {{52, 64}, {149, 161}}},
    {"4", {{149, 165}}},
    {"5", {{149, 161}}},
    {"6", {{36, 48}}},
    {"7", {{36, 64}, {100, 140}, {149, 165}}},
    {"8", {{52, 64}}},
    {"9", {{36, 64}, {100, 116}, {132, 140}, {149, 165}}},
    {"10", {{36, 48}, {149, 165}}},
    {"11", {{36, 64}, {100, 120}, {149, 161}}},
};

template <size_t N>
const Region *regionOf(const Region (&regions)[N], const char *setting_name, const char *fallback) {
  Setting configured = setting(setting_name);
  const char *code = configured.empty() ? fallback : configured.text();
  for (const Region &region : regions) {
    if (same(code, region.code)) return &region;
  }
  return nullptr;
}

const char *markOf(int channel, int present) {
  return channel == present ? "selected" : "";
}

int presentChannel() {
  return setting("Channel").number();
}

void appendOption(char *list, const TextBuffer &option) {
  size_t length = strlen(list);
  if (length + option.length() < kOptionListSize) strcpy(list + length, option.text());
}

void offerChannel5(char *list, int channel, int present) {
  Text<96> option;
  option.format("<option value=%d %s>%dMHz (Channel %d)</option>", channel,
                markOf(channel, present), 5000 + 5 * channel, channel);
  appendOption(list, option);
}

void offerChannel2_4(char *list, int channel, int present) {
  Text<96> option;
  option.format("<option value=%d %s>Channel %d</option>", channel, markOf(channel, present),
                channel);
  appendOption(list, option);
}

// Unlike the others this line takes the place of what the list held and ends in
// a newline, on purpose: in this region there is nothing to choose.
void offerChannel14(char *list) {
  sprintf(list, "<option value=14 %s>Channel 14</option>\n", markOf(14, presentChannel()));
}

int offerChannels5(char *list) {
  const Region *region = regionOf(kRegions5, "CountryRegionABand", kDefaultRegion5);
  if (region == nullptr) return 1;
  int present = presentChannel();
  for (const Range &range : region->ranges) {
    for (int channel = range.first; channel != 0 && channel <= range.last; channel += 4) {
      offerChannel5(list, channel, present);
    }
  }
  return 1;
}

int offerChannels2_4(char *list, int highest) {
  if (setting("CountryRegion").is(kRegionOfChannel14)) {
    offerChannel14(list);
    return 1;
  }
  const Region *region = regionOf(kRegions2_4, "CountryRegion", kDefaultRegion2_4);
  if (region == nullptr) return 1;
  int present = presentChannel();
  const Range &range = region->ranges[0];
  for (int channel = range.first; channel <= range.last && channel <= highest; channel++) {
    offerChannel2_4(list, channel, present);
  }
  return 1;
}

int answer(char *out, const char *text) {
  copyText(out, kChannelSize, text);
  return 1;
}

}  // namespace

}  // namespace orba

int getWlan11aChannels(char *out, int, char **) {
  return orba::offerChannels5(out);
}

int getWlan11bChannels(char *out, int, char **) {
  return orba::offerChannels2_4(out, 14);
}

// Channel 14 is for 802.11b alone.
int getWlan11gChannels(char *out, int, char **) {
  return orba::offerChannels2_4(out, 13);
}

int getWlanChannel(char *out, int, char **) {
  orba::Setting automatic = orba::setting("AutoChannelSelect");
  orba::Setting channel = orba::setting("Channel");
  if (automatic.is("1")) return orba::answer(out, "0");
  if (automatic.missing() || channel.missing()) return orba::answer(out, "9");
  return orba::answer(out, channel.text());
}

int getWlanApcliBuilt(char *out, int, char **) {
  return orba::answer(out, "0");
}

int getMeshBuilt(char *out, int, char **) {
  return orba::answer(out, "0");
}

int is3t3r(char *out, int, char **) {
  return orba::answer(out, "0");
}

int getMaxBssidNum(char *out, int, char **) {
  return orba::answer(out, "8");
}

int getMBSSIDBuilt(char *out, int, char **) {
  return orba::answer(out, "1");
}

int get16MBSSIDBuilt(char *out, int, char **) {
  return orba::answer(out, "0");
}
