// One record of the driver's list in, one description out.
#include "src/wireless/survey_record.h"

#include <gmock/gmock.h>

#include <string>

#include "sim/neighbourhood.h"

namespace {

using sim::Bytes;
using sim::putNumber;

Bytes operator+(Bytes a, const Bytes &b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// ---- the elements, piece by piece ----

const Bytes kRsn = {0x00, 0x0F, 0xAC};
const Bytes kWpa = {0x00, 0x50, 0xF2};
const Bytes kForeign = {0x00, 0x13, 0x92, 4};
const Bytes kCckm = {0x00, 0x40, 0x96, 7};

Bytes rsn(uint8_t type) {
  return kRsn + Bytes{type};
}

Bytes wpa(uint8_t type) {
  return kWpa + Bytes{type};
}

Bytes count(uint16_t number) {
  return {static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8)};
}

Bytes element(uint8_t id, const Bytes &body) {
  return Bytes{id, static_cast<uint8_t>(body.size())} + body;
}

Bytes rsnElement(const Bytes &suites) {
  return element(48, Bytes{1, 0} + suites);
}

Bytes wpaElement(const Bytes &suites) {
  return element(221, kWpa + Bytes{1, 1, 0} + suites);
}

// Both kinds with AES alone and one key management suite.
Bytes rsnWith(const Bytes &keys) {
  return rsnElement(rsn(4) + count(1) + rsn(4) + count(static_cast<uint16_t>(keys.size() / 4)) +
                    keys);
}

Bytes wpaWith(const Bytes &keys) {
  return wpaElement(wpa(2) + count(1) + wpa(2) + count(static_cast<uint16_t>(keys.size() / 4)) +
                    keys);
}

// ---- records ----

constexpr size_t kPrivacy = 48, kFrequency = 72, kMode = 92, kElementsLength = 112;

Bytes recordWith(const Bytes &elements, uint32_t mode = 1, uint32_t privacy = 1) {
  Bytes record = sim::encodeNetwork({"net", "00:11:22:33:44:55", 6, -60, {}});
  record.resize(116);
  putNumber(record, kPrivacy, privacy);
  putNumber(record, kMode, mode);
  putNumber(record, kElementsLength, static_cast<uint32_t>(12 + elements.size()));
  record = record + Bytes(12) + elements;
  putNumber(record, 0, static_cast<uint32_t>(record.size()));
  return record;
}

orba::ByteView view(const Bytes &bytes) {
  return orba::ByteView(bytes.data(), bytes.size());
}

std::string securityOf(const Bytes &record) {
  orba::NetworkDescription network;
  EXPECT_TRUE(orba::describeNetwork(view(record), network));
  return std::string(network.auth.text()) + " / " + network.encryption.text();
}

std::string ssidOf(const std::string &ssid, uint32_t length) {
  Bytes record = sim::encodeNetwork({ssid, "00:11:22:33:44:55", 6, -60, {}});
  putNumber(record, 12, length);
  orba::NetworkDescription network;
  EXPECT_TRUE(orba::describeNetwork(view(record), network));
  return network.ssid.text();
}

std::string ssidOf(const std::string &ssid) {
  return ssidOf(ssid, static_cast<uint32_t>(ssid.size()));
}

TEST(SurveyRecord, EveryFieldWhereTheDriverPutsIt) {
  Bytes record = {
      0x96, 0,    0,    0,                             // 150 bytes
      0x00, 0x1A, 0x2b, 0xC3, 0xD4, 0xEF, 0xAA, 0xAA,  // address
      4,    0,    0,    0,    'h',  'o',  'm',  'e',  'l', 'e', 'f',  't',
      'o',  'v',  'e',  'r',  0,    0,    0,    0,  // name
      0,    0,    0,    0,    0,    0,    0,    0,    0,   0,   0,    0,
      0,    0,    0,    0,    1,    0,    0,    0,  // privacy
      0xC9, 0xFF, 0xFF, 0xFF,                       // -55 dBm
      9,    9,    9,    9,    9,    9,    9,    9,  // network type, configuration length
      9,    9,    9,    9,    9,    9,    9,    9,  // beacon period, ATIM window
      0x88, 0x2F, 0x25, 0,                          // 2437000 kHz
      9,    9,    9,    9,    9,    9,    9,    9,    9,   9,   9,    9,
      9,    9,    9,    9,  // hopping
      1,    0,    0,    0,  // infrastructure
      9,    9,    9,    9,    9,    9,    9,    9,    9,   9,   9,    9,
      9,    9,    9,    9,  // rates
      34,   0,    0,    0,  // elements
      9,    9,    9,    9,    9,    9,    9,    9,    9,   9,   9,    9,
      48,   20,   1,    0,    0x00, 0x0F, 0xAC, 4,    1,   0,   0x00, 0x0F,
      0xAC, 4,    1,    0,    0x00, 0x0F, 0xAC, 2,    0,   0,
  };
  ASSERT_EQ(record.size(), 150u);
  // The driver leaves records wherever the one before ended.
  for (size_t offset = 0; offset < 4; offset++) {
    Bytes list = Bytes(offset, 0xEE) + record + Bytes(7, 0xEE);
    orba::ByteView found = orba::firstRecord(view(list).from(offset));
    ASSERT_EQ(found.size(), 150u);
    orba::NetworkDescription network;
    ASSERT_TRUE(orba::describeNetwork(found, network));
    EXPECT_STREQ(network.ssid.text(), "home");
    EXPECT_STREQ(network.bssid.text(), "00:1A:2B:C3:D4:EF");
    EXPECT_STREQ(network.rssi.text(), "89%");
    EXPECT_STREQ(network.channel.text(), "6");
    EXPECT_STREQ(network.auth.text(), "WPA2-PSK");
    EXPECT_STREQ(network.encryption.text(), "AES");
    EXPECT_STREQ(network.network_type.text(), "Infrastructure");
  }
}

TEST(SurveyRecord, Names) {
  EXPECT_EQ(ssidOf("a<b"), "a&lt;b");
  EXPECT_EQ(ssidOf("x/y"), "x&#47;y");
  EXPECT_EQ(ssidOf("Home's AP"), "Home&#39;s AP");
  EXPECT_EQ(ssidOf(std::string(32, '"')).size(), 160u);
  // Empty, and empty with a length all the same: a plain blank.
  EXPECT_EQ(ssidOf(""), "&nbsp;");
  EXPECT_EQ(ssidOf("", 8), "&nbsp;");
  // Unprintable: the replacement is escaped in its turn, and cut to the length.
  EXPECT_EQ(ssidOf("ab\x01"
                   "def"),
            "&amp;nbsp&#59;");
  EXPECT_EQ(ssidOf("caf\xC3\xA9 bar"), "&amp;nbsp&#59;");
  EXPECT_EQ(ssidOf("\x7f"
                   "longer than six"),
            "&amp;nbsp&#59;");
  EXPECT_EQ(ssidOf("\x01"
                   "bcde"),
            "&amp;nbsp");
  EXPECT_EQ(ssidOf("\x01"
                   "b"),
            "&amp;n");
  EXPECT_EQ(ssidOf(std::string("a\0bcdef", 7)), "&amp;nbsp&#59;");
  // The last byte is not looked at, but it is escaped.
  EXPECT_EQ(ssidOf("ab\x01"), "ab&#01;");
  EXPECT_EQ(ssidOf("caf\xE9"), "caf\xE9");
  EXPECT_EQ(ssidOf("\x7f"), "&#127;");
  EXPECT_EQ(ssidOf(std::string("ab\0", 3)), "ab");
  // A length that leaves a part or all of the name out.
  EXPECT_EQ(ssidOf("abcdef", 3), "abc");
  EXPECT_EQ(ssidOf("abcdef", 0), "");
}

TEST(SurveyRecord, Security) {
  const Bytes both = rsn(4) + count(2) + rsn(4) + rsn(2) + count(1) + rsn(2);
  const Bytes old_both = wpa(2) + count(2) + wpa(2) + wpa(4) + count(1) + wpa(2);
  struct {
    const char *situation;
    Bytes record;
    const char *security;
  } cases[] = {
      {"no elements, open", recordWith({}, 1, 0), "OPEN / Not Use"},
      {"no elements, encrypted", recordWith({}), "Unknown / WEP"},
      {"RSN", recordWith(rsnWith(rsn(2))), "WPA2-PSK / AES"},
      {"RSN, 802.1X", recordWith(rsnWith(rsn(1))), "WPA2 / AES"},
      {"RSN, type 0 counts as a key", recordWith(rsnWith(rsn(0))), "WPA2-PSK / AES"},
      {"RSN, both ciphers", recordWith(rsnElement(both)), "WPA2-PSK / TKIP; AES"},
      {"WPA", recordWith(wpaWith(wpa(2))), "WPA-PSK / TKIP"},
      {"WPA and RSN", recordWith(wpaElement(old_both) + rsnElement(both)),
       "WPA-PSK; WPA2-PSK / TKIP; AES"},
      {"RSN before WPA", recordWith(rsnElement(both) + wpaElement(old_both)),
       "WPA-PSK; WPA2-PSK / TKIP; AES"},
      {"the other AES type", recordWith(rsnElement(rsn(3) + count(0) + count(1) + rsn(2))),
       "WPA2-PSK / AES"},
      {"all there is", recordWith(wpaWith(wpa(1) + wpa(2)) + rsnWith(rsn(1) + rsn(2))),
       "WPA; WPA-PSK; WPA2; WPA2-PSK / TKIP; AES"},
      {"all there is, ad hoc", recordWith(wpaWith(wpa(1) + wpa(2)) + rsnWith(rsn(1) + rsn(2)), 0),
       "WPA; WPA-NONE; WPA2; WPA2-NONE / TKIP; AES"},
      {"the longest", recordWith(wpaWith(kCckm + wpa(2)) + rsnWith(rsn(1) + rsn(2)), 0),
       "CCKM; WPA-NONE; WPA2; WPA2-NONE / TKIP; AES"},
      {"an unknown mode is not ad hoc here", recordWith(rsnWith(rsn(2)), 2), "WPA2-PSK / AES"},
      {"CCKM", recordWith(rsnWith(kCckm)), "CCKM / AES"},
      {"CCKM with WPA2", recordWith(rsnWith(rsn(1) + kCckm)), "CCKM; WPA2 / AES"},
      {"CCKM gives way to WPA", recordWith(wpaWith(kCckm + wpa(1))), "WPA / TKIP"},
      {"CCKM gives way to WPA, not to keys", recordWith(wpaWith(wpa(2)) + rsnWith(kCckm)),
       "CCKM; WPA-PSK / TKIP; AES"},
      {"foreign key suites are passed over", recordWith(rsnWith(kForeign + rsn(2))),
       "WPA2-PSK / AES"},
      {"a foreign group cipher",
       recordWith(rsnElement(kForeign + count(1) + rsn(4) + count(1) + rsn(2))), "Unknown / WEP"},
      {"WPA's maker in RSN", recordWith(rsnElement(wpa(2) + count(1) + wpa(2) + count(1) + wpa(2))),
       "Unknown / WEP"},
      {"ciphers end at a foreign one; the keys behind them stay where they are",
       recordWith(rsnElement(rsn(4) + count(2) + kForeign + rsn(2) + count(1) + rsn(2))),
       "WPA2-PSK / AES"},
      {"keys without a cipher we know",
       recordWith(rsnElement(rsn(5) + count(1) + rsn(5) + count(1) + rsn(2))), "WPA2-PSK / WEP"},
      {"the same without privacy",
       recordWith(rsnElement(rsn(5) + count(1) + rsn(5) + count(1) + rsn(2)), 1, 0),
       "OPEN / Not Use"},
      {"RSN of 12 bytes has no keys", recordWith(rsnElement(rsn(4) + count(1) + rsn(2))),
       "Unknown / TKIP; AES"},
      {"RSN of 11 bytes is none", recordWith(element(48, Bytes{1, 0} + rsn(4) + count(1) + kRsn)),
       "Unknown / WEP"},
      {"WPA of 16 bytes", recordWith(wpaElement(wpa(2) + count(1) + wpa(4))),
       "Unknown / TKIP; AES"},
      {"WPA of 15 bytes is none", recordWith(wpaElement(wpa(2) + count(1) + kWpa)),
       "Unknown / WEP"},
      {"another vendor element",
       recordWith(element(221, kWpa + Bytes{2, 1, 0} + wpa(2) + count(1) + wpa(2))),
       "Unknown / WEP"},
      {"a hidden name comes first", recordWith(element(0, {}) + rsnWith(rsn(2))), "WPA2-PSK / AES"},
      {"an empty element later ends the walk",
       recordWith(element(1, {2}) + element(0, {}) + rsnWith(rsn(2))), "Unknown / WEP"},
  };
  for (const auto &c : cases) EXPECT_EQ(securityOf(c.record), c.security) << c.situation;
}

TEST(SurveyRecord, TypeAndModeDiffer) {
  for (uint32_t mode : {0u, 1u, 2u}) {
    orba::NetworkDescription network;
    Bytes record = recordWith({}, mode);
    ASSERT_TRUE(orba::describeNetwork(view(record), network));
    EXPECT_STREQ(network.network_type.text(), mode == 1 ? "Infrastructure" : "Ad Hoc");
  }
}

// What reaches beyond its element, the elements or the record is not followed.
TEST(SurveyRecord, DamagedElements) {
  const Bytes keys = rsnWith(rsn(2));
  Bytes pairwise_count = rsnElement(rsn(4) + count(0xFFFF) + rsn(2));
  Bytes key_count = rsnElement(rsn(4) + count(1) + rsn(4) + count(0xFFFF) + rsn(2));
  Bytes half_suite = rsnElement(rsn(4) + count(0) + count(2) + rsn(1) + kRsn);
  Bytes length = wpaWith(wpa(2)) + keys;
  length[wpaWith(wpa(2)).size() + 1] = 0xFF;
  EXPECT_EQ(securityOf(recordWith(pairwise_count)), "Unknown / TKIP; AES");
  EXPECT_EQ(securityOf(recordWith(key_count + Bytes(4))), "WPA2-PSK / AES");
  EXPECT_EQ(securityOf(recordWith(half_suite)), "WPA2 / AES");
  EXPECT_EQ(securityOf(recordWith(length)), "WPA-PSK / TKIP");

  for (uint32_t stated : {0u, 12u}) {
    Bytes record = recordWith(keys);
    putNumber(record, kElementsLength, stated);
    EXPECT_EQ(securityOf(record), "Unknown / WEP") << stated;
  }
  // The length of all elements: short of the last one, and beyond the record.
  for (int difference : {-1, 1, 1000}) {
    Bytes record = recordWith(keys);
    putNumber(record, kElementsLength, static_cast<uint32_t>(12 + keys.size() + difference));
    EXPECT_EQ(securityOf(record), difference < 0 ? "Unknown / WEP" : "WPA2-PSK / AES");
  }
  Bytes record = recordWith(keys);
  putNumber(record, kElementsLength, 0xFFFFFFFF);
  EXPECT_EQ(securityOf(record), "WPA2-PSK / AES");
  // Records that end in front of their elements, each in memory of its own.
  for (size_t size : {96u, 104u, 105u, 116u, 128u, 130u}) {
    Bytes cut(record.begin(), record.begin() + static_cast<long>(size));
    EXPECT_EQ(securityOf(cut), "Unknown / WEP") << size;
  }
}

TEST(SurveyRecord, UnknownFrequencies) {
  for (uint32_t kilohertz : {0u, 2411999u, 5000000u, 2437u, 0xFFFFFFFFu}) {
    Bytes record = recordWith({});
    putNumber(record, kFrequency, kilohertz);
    orba::NetworkDescription network;
    EXPECT_FALSE(orba::describeNetwork(view(record), network)) << kilohertz;
  }
}

}  // namespace
