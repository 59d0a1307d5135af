// The survey as the web server calls it.
#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>

#include "orba_util.h"
#include "sim/radio.h"

namespace {

using sim::Bytes;
using sim::encodeList;
using sim::encodeNetwork;
using sim::Network;
using sim::putNumber;
using testing::ElementsAre;

constexpr char kHeader[] = "Content-Type: text/html\n\n";
constexpr int kList = 0x0609;
constexpr size_t kLength = 0, kSsidLength = 12, kFrequency = 72;

const Network kHome = {
    "Home's AP", "00:11:22:33:44:55", 6, -55, {"WPA-PSK", "WPA2-PSK", "TKIP", "AES"}};
const Network kCafe = {"Corner Cafe", "00:1A:2B:00:00:01", 40, -72, {"open"}};

const std::string kHomeObject =
    "{ssid:'Home&#39;s AP',bssid:'00:11:22:33:44:55',rssi:'89%',channel:'6',"
    "encryption:'TKIP; AES',auth:'WPA-PSK; WPA2-PSK',network_type:'Infrastructure'}";
const std::string kCafeObject =
    "{ssid:'Corner Cafe',bssid:'00:1A:2B:00:00:01',rssi:'44%',channel:'40',"
    "encryption:'Not Use',auth:'OPEN',network_type:'Infrastructure'}";

const std::string kHomeAlone = kHeader + ("[" + kHomeObject + "]");

class SiteSurvey : public testing::Test {
 protected:
  SiteSurvey() { errno = 0; }

  // What is printed for a list, behind the header.
  std::string printedFor(const std::vector<Bytes> &records, uint32_t count) {
    radio.value(kList, encodeList(records, count));
    device.forget();
    EXPECT_EQ(printStaBssidList(), 0);
    EXPECT_EQ(device.printed().rfind(kHeader, 0), 0u);
    return device.printed().substr(strlen(kHeader));
  }

  // A failed survey prints nothing and says why on the console.
  std::string complaint() {
    device.forget();
    EXPECT_EQ(printStaBssidList(), -1);
    EXPECT_EQ(device.printed(), "");
    return device.console();
  }

  std::vector<std::string> sleeps() {
    std::vector<std::string> all;
    for (const sim::Event &event : device.events()) {
      if (event.kind == sim::Event::kSleep) all.push_back(event.text);
    }
    return all;
  }

  // What was asked of the driver, with the length in bytes.
  std::vector<std::string> asked() {
    std::vector<std::string> all;
    for (const sim::RadioRequest &request : radio.seen()) {
      EXPECT_EQ(request.number, 0x8BE1u);
      EXPECT_EQ(request.ifname, "ra0");
      char text[24];
      snprintf(text, sizeof text, "%04X/%d", request.flags, request.length);
      all.push_back(text);
    }
    return all;
  }

  sim::Device device;
  sim::Radio &radio = device.part<sim::Radio>();
};

TEST_F(SiteSurvey, PrintsTheNeighbourhood) {
  radio.networks({kHome, kCafe});
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_EQ(device.printed(), kHeader + ("[" + kHomeObject + "," + kCafeObject + "]"));
  EXPECT_EQ(device.console(),
            "======0======\ntmpSSID=Home&#39;s AP\ntmpBSSID=00:11:22:33:44:55\ntmpRSSI=89%\n"
            "tmpChannel=6\ntmpAuth=WPA-PSK; WPA2-PSK\ntmpEncry=TKIP; AES\n"
            "tmpNetworkType=Infrastructure\n"
            "======1======\ntmpSSID=Corner Cafe\ntmpBSSID=00:1A:2B:00:00:01\ntmpRSSI=44%\n"
            "tmpChannel=40\ntmpAuth=OPEN\ntmpEncry=Not Use\ntmpNetworkType=Infrastructure\n");
  EXPECT_THAT(asked(), ElementsAre("060B/4", "050B/1", "050A/6", "0509/36", "8508/0", "0622/4",
                                   "0609/4096"));
  EXPECT_THAT(sleeps(), ElementsAre("2000 ms", "2000 ms"));

  // An empty one prints nothing, not even the header.
  radio.networks({});
  device.forget();
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_EQ(device.printed(), "");
  EXPECT_EQ(device.console(), "Bssid List number is 0!\n");
}

TEST_F(SiteSurvey, WaitsUpToThreeTimesForTheConnection) {
  radio.number(0x060B, 0);
  EXPECT_EQ(printStaBssidList(), 0);
  // Not connected: which network it is is not asked.
  EXPECT_THAT(asked(),
              ElementsAre("060B/4", "060B/4", "060B/4", "050B/1", "8508/0", "0622/4", "0609/4096"));
  EXPECT_THAT(sleeps(), ElementsAre("2000 ms", "2000 ms", "2000 ms", "2000 ms"));

  // Connected at the second question, with the radio off.
  radio.forget();
  int query = 0;
  radio.script(0x060B, [&] { return Bytes{static_cast<uint8_t>(query++ == 1), 0, 0, 0}; });
  radio.value(0x050B, {0});
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_THAT(asked(), ElementsAre("060B/4", "060B/4", "050B/1", "8508/0", "0622/4", "0609/4096"));
}

TEST_F(SiteSurvey, SaysWhatFailed) {
  const std::pair<int, const char *> cases[] = {
      {0x060B, "Query OID_GEN_MEDIA_CONNECT_STATUS failed!"},
      {0x050B, "Query RT_OID_802_11_RADIO failed!"},
      {0x0508, "Set OID_802_11_BSSID_LIST_SCAN failed!"},
      {0x0622, "Query RT_OID_WE_VERSION_COMPILED error! return=-1"},
      {kList, "Query OID_802_11_BSSID_LIST error! return=-1"},
  };
  for (const auto &[oid, said] : cases) {
    radio.fail(oid, EIO, 1);
    EXPECT_EQ(complaint(), said);
  }
}

// errno is read before the result: one that is left over when the answer comes
// costs a second, and the answer that comes with the errno of the 25th time
// counts as the 26th.
TEST_F(SiteSurvey, AsksAgainUntilTheDriverIsReady) {
  const struct {
    int failures;  // -1: all
    int stale_errno;
    bool answered;
    size_t questions, seconds;
  } cases[] = {
      {0, EAGAIN, true, 1, 1}, {24, 0, true, 25, 25},  {24, EAGAIN, true, 25, 25},
      {25, 0, false, 26, 26},  {-1, 0, false, 26, 26},
  };
  for (const auto &[failures, stale_errno, answered, questions, seconds] : cases) {
    radio.networks({kHome}).fail(kList, EAGAIN, failures).forget();
    device.forget();
    errno = stale_errno;
    EXPECT_EQ(printStaBssidList(), answered ? 0 : -1);
    EXPECT_EQ(device.printed(), answered ? kHomeAlone : "");
    if (!answered) {
      EXPECT_EQ(device.console(), "Query OID_802_11_BSSID_LIST error! errno == EAGAIN");
    }
    EXPECT_EQ(asked().size(), 6 + questions) << failures;
    EXPECT_EQ(sleeps().size(), 2 + seconds) << failures;
    EXPECT_EQ(sleeps().back(), "1000 ms");
  }
}

TEST_F(SiteSurvey, EnlargesTheRequestUpToItsLimit) {
  // That the network joined cannot be told changes nothing.
  radio.networks({kHome}).needs(kList, 65535).fail(0x050A, EIO).fail(0x0509, EIO);
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_EQ(device.printed(), kHomeAlone);
  std::vector<std::string> expected = {"060B/4", "050B/1", "050A/6", "0509/36", "8508/0", "0622/4"};
  for (int length : {4096, 8192, 16384, 32768, 65535})
    expected.push_back("0609/" + std::to_string(length));
  EXPECT_EQ(asked(), expected);

  radio.forget();
  errno = 0;
  radio.number(0x0622, 17).fail(kList, E2BIG);
  EXPECT_EQ(complaint(), "Query OID_802_11_BSSID_LIST error! E2BIG");
  expected.erase(expected.begin() + 6);
  expected.resize(6 + 22, "0609/65535");
  EXPECT_EQ(asked(), expected);
}

// A record on an unknown frequency is never passed, so it hides all that follow;
// a damaged one does the same.
TEST_F(SiteSurvey, ARecordThatCannotBeReadEndsTheList) {
  const Bytes home = encodeNetwork(kHome);
  const Bytes cafe = encodeNetwork(kCafe);
  const std::pair<size_t, std::vector<uint32_t>> damage[] = {
      {kFrequency, {2500000}},
      {kLength, {0, 1, 95, 0x20000, 0x7FFFFFFF, 0xFFFFFFFF}},
      {kSsidLength, {33, 0x80000000, 0xFFFFFFFF}},
  };
  for (const auto &[offset, values] : damage) {
    for (uint32_t value : values) {
      SCOPED_TRACE(std::to_string(value) + " at " + std::to_string(offset));
      Bytes damaged = cafe;
      putNumber(damaged, offset, value);
      EXPECT_EQ(printedFor({home, damaged}, 2), "[" + kHomeObject + ",]");
      EXPECT_EQ(printedFor({home, damaged, home}, 3), "[" + kHomeObject + ",]");
      EXPECT_EQ(printedFor({damaged, home}, 2), "[]");
    }
  }
  // The last length inside the list's memory, and the first one outside.
  const auto room = static_cast<uint32_t>(0x20000 - 4 - home.size());
  Bytes last = cafe;
  putNumber(last, kLength, room);
  EXPECT_EQ(printedFor({home, last}, 2), "[" + kHomeObject + "," + kCafeObject + "]");
  putNumber(last, kLength, room + 1);
  EXPECT_EQ(printedFor({home, last}, 2), "[" + kHomeObject + ",]");
  // The count is believed no further than there are records.
  EXPECT_EQ(printedFor({home, cafe}, 1), "[" + kHomeObject + "]");
  for (uint32_t count : {3u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(printedFor({home, cafe}, count), "[" + kHomeObject + "," + kCafeObject + ",]");
  }
}

}  // namespace
