#include <gmock/gmock.h>

#include <cstring>
#include <string>

#include "orba_util.h"
#include "sim/radio.h"

namespace {

TEST(RadioQueries, OperatingChannel) {
  sim::Device device;
  char out[12];
  EXPECT_EQ(getOperatingChannel(), 0);
  device.part<sim::Radio>().channel(11).channel(3, "apcli0");
  EXPECT_EQ(getOperatingChannel(), 11);
  EXPECT_EQ(getWlanOperatingChannel(out), 1);
  EXPECT_STREQ(out, "11");
  device.withoutSockets();
  EXPECT_EQ(getOperatingChannel(), 0);
  EXPECT_EQ(getWlanOperatingChannel(out), 1);
  EXPECT_STREQ(out, "0");
}

TEST(RadioQueries, Addresses) {
  sim::Device device;
  device.interface("ra0").mac("00:1a:2b:00:00:0f");
  device.interface("ra1").mac("02:1a:2b:00:00:0f");
  device.interface("apcli0").mac("06:1a:2b:00:00:0f");
  char out[18];
  EXPECT_EQ(getWlanCurrentMac(out), 1);
  EXPECT_STREQ(out, "00:1A:2B:00:00:0F");
  const struct {
    int (*getter)(char *, int, char **);
    std::optional<std::string> argument;
    std::string mac;
  } cases[] = {
      {getWlanMac, "0", "00:1A:2B:00:00:0F"},
      {getWlanMac, "1", "02:1A:2B:00:00:0F"},
      {getWlanMac, "7", ""},
      {getWlanMac, std::string(5000, '0'), ""},
      {getWlanMac, {}, ""},
      {getWiFiMac, "apcli0", "06:1A:2B:00:00:0F"},
      {getWiFiMac, "", ""},
      {getWiFiMac, std::string(5000, '0'), ""},
      {getWiFiMac, {}, ""},
  };
  for (const auto &[getter, argument, mac] : cases) {
    strcpy(out, "before");
    std::string writable = argument.value_or("");
    char *arguments[] = {argument ? writable.data() : nullptr};
    EXPECT_EQ(getter(out, 1, arguments), mac.empty() ? 0 : 1);
    EXPECT_EQ(out, mac);
  }
  sim::Device without_radio;
  EXPECT_EQ(getWlanCurrentMac(out), 0);
  EXPECT_STREQ(out, "");
}

}  // namespace
