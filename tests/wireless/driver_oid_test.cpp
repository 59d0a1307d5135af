#include <gmock/gmock.h>

#include <cerrno>

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
  radio.fail(0x0509, EAGAIN, 1);
  EXPECT_EQ(OidQueryInformation(0x0509, 5, "ra0", name, sizeof name), -1);
  EXPECT_EQ(errno, EAGAIN);
}

TEST(DriverOid, LongNamesAndLengthsAreHeldToTheirFields) {
  sim::Device device;
  sim::Radio &radio = device.part<sim::Radio>();
  char buffer[1] = {};
  OidQueryInformation(0x0509, 5, "interface-with-a-long-name", buffer, 0x10001);
  OidQueryInformation(0x0509, 5, "ra0", buffer, -1);
  EXPECT_THAT(radio.seen(),
              ElementsAre(RadioRequest{kOid, "interface-with-", buffer, 0xFFFF, 0x0509},
                          RadioRequest{kOid, "ra0", buffer, 0, 0x0509}));
}

}  // namespace
