// What goes to the radio's driver and what it answers.
#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "orba_util.h"
#include "sim/radio.h"

namespace sim {

bool operator==(const RadioRequest &a, const RadioRequest &b) {
  return a.number == b.number && a.ifname == b.ifname && a.buffer == b.buffer &&
         a.length == b.length && a.flags == b.flags;
}

}  // namespace sim

namespace {

using sim::RadioRequest;
using testing::ElementsAre;

constexpr unsigned long kOid = 0x8BE1;

TEST(DriverOid, EachRequestCarriesItsOidAndItsBuffer) {
  sim::Device device;
  sim::Radio &radio = device.part<sim::Radio>();
  radio.number(0x0751, 0x01020304, "apcli0").value(0x052A, sim::Bytes(520, 7));
  unsigned char status[4] = {};
  unsigned char policy[520] = {};
  unsigned char name[3] = {'a', 'b', 'c'};

  EXPECT_EQ(OidQueryInformation(0x0751, 5, "apcli0", status, sizeof status), 0);
  EXPECT_EQ(ApOidQueryInformation(0x052A, 5, "ra0", policy, sizeof policy), 0);
  EXPECT_EQ(OidSetInformation(0x0509, 5, "ra0", name, sizeof name), 0);
  EXPECT_EQ(OidSetInformation(0x0508, 5, "ra0", nullptr, 0), 0);

  EXPECT_THAT(radio.seen(), ElementsAre(RadioRequest{kOid, "apcli0", status, 4, 0x0751},
                                        RadioRequest{kOid, "ra0", policy, 520, 0x052A},
                                        RadioRequest{kOid, "ra0", name, 3, 0x8509},
                                        RadioRequest{kOid, "ra0", nullptr, 0, 0x8508}));
  EXPECT_THAT(status, ElementsAre(4, 3, 2, 1));
  EXPECT_THAT(policy, testing::Each(7));
  EXPECT_THAT(device.requests(), ElementsAre("ra0 set 0x0509: 61 62 63", "ra0 set 0x0508:"));

  // The result and errno are the ioctl's.
  radio.fail(0x0509, EAGAIN, 1).forget();
  EXPECT_EQ(OidQueryInformation(0x0509, 5, "ra0", name, sizeof name), -1);
  EXPECT_EQ(errno, EAGAIN);

  // Names and lengths are held to their fields.
  radio.forget();
  OidQueryInformation(0x0509, 5, "interface-with-a-long-name", name, 0x10001);
  OidQueryInformation(0x0509, 5, "ra0", name, -1);
  EXPECT_THAT(radio.seen(), ElementsAre(RadioRequest{kOid, "interface-with-", name, 0xFFFF, 0x0509},
                                        RadioRequest{kOid, "ra0", name, 0, 0x0509}));
}

TEST(RadioQueries, OperatingChannel) {
  sim::Device device;
  char out[12];
  EXPECT_EQ(getOperatingChannel(), 0);
  device.part<sim::Radio>().channel(11).channel(3, "apcli0");
  EXPECT_EQ(getOperatingChannel(), 11);
  EXPECT_EQ(getWlanOperatingChannel(out), 1);
  EXPECT_STREQ(out, "11");
  // In a program without standard input, descriptor 0 is as good as any.
  int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  EXPECT_EQ(getOperatingChannel(), 11);
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "not given back";
  dup2(input, STDIN_FILENO);
  close(input);
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
      {getWiFiMac, "apcli0", "06:1A:2B:00:00:0F"},
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
}

}  // namespace
