// The survey as the web server calls it.
#include <gmock/gmock.h>

#include <cerrno>
#include <string>

#include "orba_util.h"
#include "sim/radio.h"

namespace {

using sim::Bytes;
using sim::encodeList;
using sim::encodeNetwork;
using sim::Network;
using sim::putNumber;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr char kHeader[] = "Content-Type: text/html\n\n";
constexpr int kList = 0x0609;
constexpr size_t kSsidLength = 12, kFrequency = 72;

const Network kHome = {
    "Home's AP", "00:11:22:33:44:55", 6, -55, {"WPA-PSK", "WPA2-PSK", "TKIP", "AES"}};
const Network kCafe = {"Corner Cafe", "00:1A:2B:00:00:01", 40, -72, {"open"}};

const std::string kHomeObject =
    "{ssid:'Home&#39;s AP',bssid:'00:11:22:33:44:55',rssi:'89%',channel:'6',"
    "encryption:'TKIP; AES',auth:'WPA-PSK; WPA2-PSK',network_type:'Infrastructure'}";
const std::string kCafeObject =
    "{ssid:'Corner Cafe',bssid:'00:1A:2B:00:00:01',rssi:'44%',channel:'40',"
    "encryption:'Not Use',auth:'OPEN',network_type:'Infrastructure'}";

class SiteSurvey : public testing::Test {
 protected:
  SiteSurvey() { errno = 0; }

  std::string printedFor(const Bytes &list) {
    radio.value(kList, list);
    device.forget();
    EXPECT_EQ(printStaBssidList(), 0);
    return device.printed();
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
  std::vector<std::pair<int, int>> asked() {
    std::vector<std::pair<int, int>> all;
    for (const sim::RadioRequest &request : radio.seen()) {
      EXPECT_EQ(request.number, 0x8BE1u);
      EXPECT_EQ(request.ifname, "ra0");
      all.push_back({request.flags, request.length});
    }
    return all;
  }

  std::vector<int> lengthsAsked() {
    std::vector<int> all;
    for (const auto &[oid, length] : asked()) {
      if (oid == kList) all.push_back(length);
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
  EXPECT_THAT(asked(), ElementsAre(std::pair(0x060B, 4), std::pair(0x050B, 1), std::pair(0x050A, 6),
                                   std::pair(0x0509, 36), std::pair(0x8508, 0),
                                   std::pair(0x0622, 4), std::pair(kList, 4096)));
  EXPECT_THAT(sleeps(), ElementsAre("2000 ms", "2000 ms"));
}

TEST_F(SiteSurvey, WaitsUpToThreeTimesForTheConnection) {
  radio.number(0x060B, 0);
  EXPECT_EQ(printStaBssidList(), 0);
  // Not connected: which network it is is not asked.
  EXPECT_THAT(asked(), ElementsAre(std::pair(0x060B, 4), std::pair(0x060B, 4), std::pair(0x060B, 4),
                                   std::pair(0x050B, 1), std::pair(0x8508, 0), std::pair(0x0622, 4),
                                   std::pair(kList, 4096)));
  EXPECT_THAT(sleeps(), ElementsAre("2000 ms", "2000 ms", "2000 ms", "2000 ms"));

  radio.forget();
  device.forget();
  int query = 0;
  radio.script(0x060B, [&] { return Bytes{static_cast<uint8_t>(query++ == 1), 0, 0, 0}; });
  radio.value(0x050B, {0});
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_THAT(asked(),
              ElementsAre(std::pair(0x060B, 4), std::pair(0x060B, 4), std::pair(0x050B, 1),
                          std::pair(0x8508, 0), std::pair(0x0622, 4), std::pair(kList, 4096)));
}

TEST_F(SiteSurvey, AnEmptyListPrintsNothing) {
  radio.networks({});
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_EQ(device.printed(), "");
  EXPECT_EQ(device.console(), "Bssid List number is 0!\n");
}

TEST_F(SiteSurvey, SaysWhatFailed) {
  struct {
    int oid;
    const char *complaint;
  } cases[] = {
      {0x060B, "Query OID_GEN_MEDIA_CONNECT_STATUS failed!"},
      {0x050B, "Query RT_OID_802_11_RADIO failed!"},
      {0x0508, "Set OID_802_11_BSSID_LIST_SCAN failed!"},
      {0x0622, "Query RT_OID_WE_VERSION_COMPILED error! return=-1"},
      {kList, "Query OID_802_11_BSSID_LIST error! return=-1"},
  };
  for (const auto &c : cases) {
    radio.fail(c.oid, EIO, 1);
    EXPECT_EQ(complaint(), c.complaint);
  }
  device.withoutSockets();
  EXPECT_EQ(complaint(), "Query OID_GEN_MEDIA_CONNECT_STATUS failed!");
  device.memoryRunsOut();
  EXPECT_EQ(complaint(), "");
}

TEST_F(SiteSurvey, TheNetworkJoinedMayBeUnknown) {
  radio.fail(0x050A, EIO).fail(0x0509, EIO).networks({kHome});
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_EQ(device.printed(), kHeader + ("[" + kHomeObject + "]"));
}

TEST_F(SiteSurvey, AsksAgainUntilTheDriverIsReady) {
  radio.networks({kHome}).fail(kList, EAGAIN, 24);
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_EQ(device.printed(), kHeader + ("[" + kHomeObject + "]"));
  EXPECT_EQ(lengthsAsked().size(), 25u);
  // 24 times, and once more for the errno that was left when the answer came.
  EXPECT_EQ(sleeps().size(), 2u + 25u);
}

// The answer that comes with the errno of the 25th time counts as the 26th.
TEST_F(SiteSurvey, AnAnswerMayComeTooLate) {
  radio.networks({kHome}).fail(kList, EAGAIN, 25);
  EXPECT_EQ(complaint(), "Query OID_802_11_BSSID_LIST error! errno == EAGAIN");
  EXPECT_EQ(lengthsAsked().size(), 26u);
}

TEST_F(SiteSurvey, GivesUpOnADriverThatIsNeverReady) {
  radio.fail(kList, EAGAIN);
  EXPECT_EQ(complaint(), "Query OID_802_11_BSSID_LIST error! errno == EAGAIN");
  EXPECT_EQ(lengthsAsked().size(), 26u);
}

// errno is read before the result.
TEST_F(SiteSurvey, AStaleErrnoCostsASecond) {
  radio.networks({kHome});
  errno = EAGAIN;
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_EQ(device.printed(), kHeader + ("[" + kHomeObject + "]"));
  EXPECT_EQ(lengthsAsked().size(), 1u);
  EXPECT_THAT(sleeps(), ElementsAre("2000 ms", "2000 ms", "1000 ms"));
}

TEST_F(SiteSurvey, EnlargesTheRequestUpToItsLimit) {
  radio.networks({kHome}).needs(kList, 65535);
  EXPECT_EQ(printStaBssidList(), 0);
  EXPECT_EQ(device.printed(), kHeader + ("[" + kHomeObject + "]"));
  EXPECT_THAT(lengthsAsked(), ElementsAre(4096, 8192, 16384, 32768, 65535));

  radio.forget();
  errno = 0;
  radio.number(0x0622, 17).fail(kList, E2BIG);
  EXPECT_EQ(complaint(), "Query OID_802_11_BSSID_LIST error! E2BIG");
  std::vector<int> lengths = {8192, 16384, 32768};
  lengths.resize(22, 65535);
  EXPECT_THAT(lengthsAsked(), ElementsAreArray(lengths));
}

// The record in question is never passed, so it hides all that follow.
TEST_F(SiteSurvey, AnUnknownFrequencyHidesTheRest) {
  Bytes home = encodeNetwork(kHome);
  Bytes unknown = encodeNetwork(kCafe);
  putNumber(unknown, kFrequency, 2500000);
  EXPECT_EQ(printedFor(encodeList({home, unknown}, 2)), kHeader + ("[" + kHomeObject + ",]"));
  EXPECT_EQ(printedFor(encodeList({home, unknown, home}, 3)), kHeader + ("[" + kHomeObject + ",]"));
  EXPECT_EQ(printedFor(encodeList({unknown, home}, 2)), kHeader + std::string("[]"));
}

TEST_F(SiteSurvey, DamagedRecordsEndTheList) {
  const Bytes home = encodeNetwork(kHome);
  const Bytes cafe = encodeNetwork(kCafe);
  const std::string first_only = kHeader + ("[" + kHomeObject + ",]");
  for (uint32_t length : {0u, 1u, 95u, 0x20000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    Bytes damaged = cafe;
    putNumber(damaged, 0, length);
    EXPECT_EQ(printedFor(encodeList({home, damaged, home}, 3)), first_only) << length;
  }
  // The last length inside the list's memory, and the first one outside.
  size_t room = 0x20000 - 4 - home.size();
  for (size_t length : {room, room + 1}) {
    Bytes damaged = cafe;
    putNumber(damaged, 0, static_cast<uint32_t>(length));
    EXPECT_EQ(
        printedFor(encodeList({home, damaged}, 2)),
        length == room ? kHeader + ("[" + kHomeObject + "," + kCafeObject + "]") : first_only);
  }
  for (uint32_t length : {33u, 0x80000000u, 0xFFFFFFFFu}) {
    Bytes damaged = cafe;
    putNumber(damaged, kSsidLength, length);
    EXPECT_EQ(printedFor(encodeList({home, damaged, home}, 3)), first_only) << length;
  }
  for (uint32_t count : {3u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(printedFor(encodeList({home, cafe}, count)),
              kHeader + ("[" + kHomeObject + "," + kCafeObject + ",]"))
        << count;
  }
  EXPECT_EQ(printedFor(encodeList({home, cafe}, 1)), kHeader + ("[" + kHomeObject + "]"));
}

}  // namespace
