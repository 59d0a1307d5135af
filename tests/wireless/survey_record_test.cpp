// One record of the driver's list in, one description out.
#include "src/wireless/survey_record.h"

#include <gmock/gmock.h>

#include <string>

#include "sim/neighbourhood.h"

using sim::Bytes;
using sim::putNumber;

static Bytes operator+(Bytes a, const Bytes &b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

namespace {

// ---- the elements, piece by piece ----

const Bytes kRsn = {0x00, 0x0F, 0xAC};
const Bytes kWpa = {0x00, 0x50, 0xF2};
const Bytes kForeign = {0x00, 0x13, 0x92, 4};
const Bytes kCckm = {0x00, 0x40, 0x96, 7};

const auto rsn = [](uint8_t type) { return kRsn + Bytes{type}; };
const auto wpa = [](uint8_t type) { return kWpa + Bytes{type}; };
const auto numberOf = [](size_t number) {
  return Bytes{static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8)};
};
const auto element = [](uint8_t id, const Bytes &body) {
  return Bytes{id, static_cast<uint8_t>(body.size())} + body;
};
const auto rsnElement = [](const Bytes &lists) { return element(48, Bytes{1, 0} + lists); };
const auto wpaElement = [](const Bytes &lists) {
  return element(221, kWpa + Bytes{1, 1, 0} + lists);
};

// Group and pairwise cipher, and one or more key management suites.
const auto suites = [](const Bytes &cipher, const Bytes &keys) {
  return cipher + numberOf(1) + cipher + numberOf(keys.size() / 4) + keys;
};
const auto rsnWith = [](const Bytes &keys) { return rsnElement(suites(rsn(4), keys)); };
const auto wpaWith = [](const Bytes &keys) { return wpaElement(suites(wpa(2), keys)); };

// ---- records ----

constexpr size_t kPrivacy = 48, kKilohertz = 72, kMode = 92, kElementsLength = 112;

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

TEST(SurveyRecord, EveryFieldWhereTheDriverPutsIt) {
  // Of nines nothing is read.
  // clang-format off
  Bytes record = {
      0x96, 0, 0, 0,  0x00, 0x1A, 0x2b, 0xC3, 0xD4, 0xEF, 0xAA, 0xAA,   // 150 bytes, address
      4, 0, 0, 0, 'h', 'o', 'm', 'e', 'l', 'e', 'f', 't', 'o', 'v', 'e', 'r',
      0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,         // name
      1, 0, 0, 0,  0xC9, 0xFF, 0xFF, 0xFF,                              // privacy, -55 dBm
      9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9,                    // beacons and the like
      0x88, 0x2F, 0x25, 0, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9,  // 2437000 kHz, hopping
      1, 0, 0, 0, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9,        // infrastructure, rates
      34, 0, 0, 0, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9,                   // elements
      48, 20, 1, 0, 0x00, 0x0F, 0xAC, 4, 1, 0, 0x00, 0x0F, 0xAC, 4, 1, 0, 0x00, 0x0F, 0xAC, 2, 0, 0,
  };
  // clang-format on
  ASSERT_EQ(record.size(), 150u);
  // The driver leaves records wherever the one before ended.
  for (size_t offset = 0; offset < 4; offset++) {
    Bytes list = Bytes(offset, 0xEE) + record + Bytes(7, 0xEE);
    orba::ByteView found = orba::firstRecord(view(list).from(offset));
    ASSERT_EQ(found.size(), 150u);
    orba::NetworkDescription network;
    ASSERT_TRUE(orba::describeNetwork(found, network));
    std::string shown;
    for (const orba::TextBuffer *text : std::initializer_list<const orba::TextBuffer *>{
             &network.ssid, &network.bssid, &network.rssi, &network.channel, &network.auth,
             &network.encryption, &network.network_type}) {
      shown += text->text() + std::string(" ");
    }
    EXPECT_EQ(shown, "home 00:1A:2B:C3:D4:EF 89% 6 WPA2-PSK AES Infrastructure ");
  }
}

TEST(SurveyRecord, Names) {
  const struct {
    std::string ssid;
    std::string shown;
    std::optional<uint32_t> length = {};
  } cases[] = {
      {"a<b", "a&lt;b"},
      {std::string(2, '"'), "&#34;&#34;"},
      {" ~ ", " ~ "},
      // Empty, and empty with a length all the same: a plain blank.
      {"", "&nbsp;"},
      {"", "&nbsp;", 8},
      // Unprintable: the replacement is escaped in its turn, and cut to the length.
      {"caf\303\251 bar", "&amp;nbsp&#59;"},
      {"\001bcde", "&amp;nbsp"},
      {"\001b", "&amp;n"},
      {std::string("a\0bcdef", 7), "&amp;nbsp&#59;"},
      // The last byte is not looked at, but it is escaped.
      {"ab\001", "ab&#01;"},
      {"caf\351", "caf\351"},
      {std::string("ab\0", 3), "ab"},
      // A length that leaves a part or all of the name out.
      {"abcdef", "abc", 3},
      {"abcdef", "", 0},
  };
  for (const auto &[ssid, shown, length] : cases) {
    Bytes record = sim::encodeNetwork({ssid, "00:11:22:33:44:55", 6, -60, {}});
    if (length) putNumber(record, 12, *length);
    orba::NetworkDescription network;
    EXPECT_TRUE(orba::describeNetwork(view(record), network));
    EXPECT_EQ(network.ssid.text(), shown) << ssid;
  }
}

// Infrastructure with privacy, where nothing else is said.
TEST(SurveyRecord, Security) {
  const Bytes both = rsn(4) + numberOf(2) + rsn(4) + rsn(2) + numberOf(1) + rsn(2);
  const Bytes old_both = wpa(2) + numberOf(2) + wpa(2) + wpa(4) + numberOf(1) + wpa(2);
  const Bytes all = wpaWith(wpa(1) + wpa(2)) + rsnWith(rsn(1) + rsn(2));
  const Bytes kRsnCiphers = rsn(4) + numberOf(1) + rsn(4), kWpaCiphers = wpa(2) + numberOf(1) + wpa(2);
  const Bytes unknown_cipher = rsnElement(suites(rsn(5), rsn(2)));
  Bytes overlong = wpaWith(wpa(2)) + rsnWith(rsn(2));
  overlong[wpaWith(wpa(2)).size() + 1] = 0xFF;
  const struct {
    const char *situation;
    Bytes elements;
    const char *security;
    uint32_t mode = 1;
    uint32_t privacy = 1;
  } cases[] = {
      {"open", {}, "OPEN / Not Use", 1, 0},
      {"encrypted", {}, "Unknown / WEP"},
      {"RSN, type 0 counts as a key", rsnWith(rsn(0)), "WPA2-PSK / AES"},
      {"RSN before WPA", rsnElement(both) + wpaElement(old_both), "WPA-PSK; WPA2-PSK / TKIP; AES"},
      {"the other AES", rsnElement(rsn(3) + numberOf(0) + numberOf(1) + rsn(2)), "WPA2-PSK / AES"},
      {"all there is", all, "WPA; WPA-PSK; WPA2; WPA2-PSK / TKIP; AES"},
      {"all, ad hoc", all, "WPA; WPA-NONE; WPA2; WPA2-NONE / TKIP; AES", 0},
      {"the longest", wpaWith(kCckm + wpa(2)) + rsnWith(rsn(1) + rsn(2)),
       "CCKM; WPA-NONE; WPA2; WPA2-NONE / TKIP; AES", 0},
      {"an unknown mode is not ad hoc here", rsnWith(rsn(2)), "WPA2-PSK / AES", 2},
      {"CCKM", rsnWith(kCckm), "CCKM / AES"},
      {"CCKM gives way to WPA", wpaWith(kCckm + wpa(1)), "WPA / TKIP"},
      {"CCKM stays beside keys", wpaWith(wpa(2)) + rsnWith(kCckm), "CCKM; WPA-PSK / TKIP; AES"},
      {"foreign key suites are passed over", rsnWith(kForeign + rsn(2)), "WPA2-PSK / AES"},
      {"foreign group", rsnElement(kForeign + numberOf(1) + rsn(4) + numberOf(1) + rsn(2)),
       "Unknown / WEP"},
      {"ciphers end at a foreign one; the keys behind them stay where they are",
       rsnElement(rsn(4) + numberOf(2) + kForeign + rsn(2) + numberOf(1) + rsn(2)), "WPA2-PSK / AES"},
      {"keys without a cipher we know", unknown_cipher, "WPA2-PSK / WEP"},
      {"the same without privacy", unknown_cipher, "OPEN / Not Use", 1, 0},
      {"RSN of 12 bytes", rsnElement(rsn(4) + numberOf(1) + rsn(2)), "Unknown / TKIP; AES"},
      {"RSN of 11 bytes is none", rsnElement(rsn(4) + numberOf(1) + kRsn), "Unknown / WEP"},
      {"WPA of 16 bytes", wpaElement(wpa(2) + numberOf(1) + wpa(4)), "Unknown / TKIP; AES"},
      {"WPA of 15 bytes is none", wpaElement(wpa(2) + numberOf(1) + kWpa), "Unknown / WEP"},
      {"another kind", element(221, kWpa + Bytes{2, 1, 0} + kWpaCiphers), "Unknown / WEP"},
      {"a hidden name comes first", element(0, {}) + rsnWith(rsn(2)), "WPA2-PSK / AES"},
      {"an empty element later", element(1, {2}) + element(0, {}) + rsnWith(rsn(2)),
       "Unknown / WEP"},
      // What reaches beyond its element or the elements is not followed.
      {"too many ciphers", rsnElement(rsn(4) + numberOf(0xFFFF) + rsn(2)), "Unknown / TKIP; AES"},
      {"too many keys", rsnElement(kRsnCiphers + numberOf(0xFFFF) + rsn(2)) + Bytes(4),
       "WPA2-PSK / AES"},
      {"behind the last key suite", rsnElement(rsn(4) + numberOf(0) + numberOf(1) + rsn(1) + rsn(2)),
       "WPA2 / AES"},
      {"half a key suite", rsnElement(rsn(4) + numberOf(0) + numberOf(2) + rsn(1) + kRsn), "WPA2 / AES"},
      {"an element beyond the others", overlong, "WPA-PSK / TKIP"},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(securityOf(recordWith(c.elements, c.mode, c.privacy)), c.security) << c.situation;
  }
}

TEST(SurveyRecord, ElementsEndWithTheirLengthAndWithTheRecord) {
  const Bytes whole = recordWith(rsnWith(rsn(2)));
  const auto length = static_cast<uint32_t>(whole.size() - kElementsLength - 4);
  for (uint32_t stated : {0u, 12u, length - 1, length, length + 1, length + 1000, 0xFFFFFFFFu}) {
    Bytes record = whole;
    putNumber(record, kElementsLength, stated);
    EXPECT_EQ(securityOf(record), stated < length ? "Unknown / WEP" : "WPA2-PSK / AES") << stated;
  }
  // Records that end in front of their elements, each in memory of its own.
  for (size_t size : {96u, 104u, 105u, 116u, 128u, 130u}) {
    Bytes cut(whole.begin(), whole.begin() + static_cast<long>(size));
    EXPECT_EQ(securityOf(cut), "Unknown / WEP") << size;
  }
}

TEST(SurveyRecord, OtherModesAndFrequencies) {
  orba::NetworkDescription network;
  for (uint32_t mode : {0u, 2u}) {
    ASSERT_TRUE(orba::describeNetwork(view(recordWith({}, mode)), network));
    EXPECT_STREQ(network.network_type.text(), "Ad Hoc");
  }
  for (uint32_t kilohertz : {0u, 2411999u, 5000000u, 2437u, 0xFFFFFFFFu}) {
    Bytes record = recordWith({});
    putNumber(record, kKilohertz, kilohertz);
    EXPECT_FALSE(orba::describeNetwork(view(record), network)) << kilohertz;
  }
}

}  // namespace
