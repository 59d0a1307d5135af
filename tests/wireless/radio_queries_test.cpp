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
  char zero[] = "0", one[] = "1", seven[] = "7", apcli[] = "apcli0", nothing[] = "";
  std::string hostile(5000, '0');
  auto macOf = [&](int (*getter)(char *, int, char **), char *argument) {
    strcpy(out, "before");
    char *arguments[] = {argument};
    int result = getter(out, 1, arguments);
    EXPECT_EQ(result, *out != '\0' ? 1 : 0);
    return std::string(out);
  };
  EXPECT_EQ(getWlanCurrentMac(out), 1);
  EXPECT_STREQ(out, "00:1A:2B:00:00:0F");
  EXPECT_EQ(macOf(getWlanMac, zero), "00:1A:2B:00:00:0F");
  EXPECT_EQ(macOf(getWlanMac, one), "02:1A:2B:00:00:0F");
  EXPECT_EQ(macOf(getWlanMac, seven), "");
  EXPECT_EQ(macOf(getWlanMac, hostile.data()), "");
  EXPECT_EQ(macOf(getWlanMac, nullptr), "");
  EXPECT_EQ(macOf(getWiFiMac, apcli), "06:1A:2B:00:00:0F");
  EXPECT_EQ(macOf(getWiFiMac, nothing), "");
  EXPECT_EQ(macOf(getWiFiMac, hostile.data()), "");
  EXPECT_EQ(macOf(getWiFiMac, nullptr), "");
  sim::Device without_radio;
  EXPECT_EQ(getWlanCurrentMac(out), 0);
  EXPECT_STREQ(out, "");
}

}  // namespace
