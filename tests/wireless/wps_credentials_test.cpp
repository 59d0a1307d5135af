// What a received network becomes in the settings.
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/wireless/wps_device.h"

namespace {

constexpr char kNoAuthMode[] = "Wsc: Warning: can't get invalid authmode\n.";
constexpr char kNoEncrypType[] = "Wsc: Warning: can't get invalid encryptype\n.";

// What is stored of the name and of the security, and nothing else.
void expectStored(const sim::WpsSession::Credential &credential, const std::string &ssid,
                  const Lines &security, const std::string &printed = "",
                  const sim::Settings &settings = {}) {
  WpsDevice device;
  device.settings({{"OperationMode", "3"}}).settings(settings);
  device.session.status("ra0", {{34, 1}}).current({}).credential(credential);
  WPSAPStart();
  device.ticks(1);
  Lines lines = {"bufset 1 WscConfigured=1", "bufset 1 SSID1=" + ssid, "bufset 1 WscSSID=" + ssid};
  for (const std::string &line : security) lines.push_back("bufset 1 " + line);
  EXPECT_EQ(device.writes(), lines + Lines({"bufset 1 IEEE8021X=0", "commit 1"}));
  EXPECT_EQ(device.printed(), printed);
}

TEST(WpsCredentials, EveryTypeHasItsSettings) {
  const Lines key = {"WPAPSK1=pass phrase"};
  const Lines wep = {"Key1Type=1", "Key2Type=1",           "Key3Type=1",
                     "Key4Type=1", "Key3Str1=pass phrase", "DefaultKeyID=3"};
  const Lines mixed = {"AuthMode=WPAPSKWPA2PSK", "EncrypType=TKIPAES"};
  const struct {
    uint16_t authentication, encryption;
    std::string auth_mode, encryp_type;
    Lines keys;
    std::string printed = "";
  } cases[] = {
      {1, 1, "OPEN", "NONE", {}},
      {1, 2, "OPEN", "WEP", wep},
      {2, 12, "WPAPSK", "TKIPAES", key},
      {4, 2, "SHARED", "WEP", wep},
      {8, 4, "WPA", "TKIP", key},
      {16, 8, "WPA2", "AES", key},
      {32, 4, "WPA2PSK", "TKIP", key},
      {34, 4, "WPAPSKWPA2PSK", "TKIP", key},
      {34, 12, "WPAPSKWPA2PSK", "TKIPAES", key},
      // Widened to mixed mode.
      {2, 4, "WPAPSK", "TKIP", key + mixed},
      // What is not known is warned of.
      {0, 1, "OPEN", "NONE", {}, kNoAuthMode},
      {3, 8, "OPEN", "AES", key, kNoAuthMode},
      {2, 6, "WPAPSK", "NONE", {}, kNoEncrypType},
      {0, 16, "OPEN", "NONE", {}, std::string(kNoAuthMode) + kNoEncrypType},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::to_string(c.authentication) + " with " + std::to_string(c.encryption));
    expectStored({"the house", c.authentication, c.encryption, "pass phrase", 3}, "the house",
                 Lines{"AuthMode=" + c.auth_mode, "EncrypType=" + c.encryp_type} + c.keys,
                 c.printed);
  }
}

TEST(WpsCredentials, AWepKeysLengthTellsItsKind) {
  const std::pair<size_t, std::string> cases[] = {{5, "1"},  {10, "0"}, {13, "1"},
                                                  {26, "0"}, {27, "1"}, {0, "1"}};
  for (const auto &[length, type] : cases) {
    std::string key(length, 'a');
    expectStored({"", 4, 2, key, 1}, "",
                 {"AuthMode=SHARED", "EncrypType=WEP", "Key1Type=" + type, "Key2Type=" + type,
                  "Key3Type=" + type, "Key4Type=" + type, "Key1Str1=" + key, "DefaultKeyID=1"});
  }
}

// Only the first record of a list is the first network's; an index without a key
// stores none.
TEST(WpsCredentials, AWepKeyGoesWhereItsIndexSays) {
  const sim::Settings two_networks = {
      {"Key2Type", "1;1"}, {"Key2Str1", "old;other"}, {"DefaultKeyID", "1;4"}};
  for (uint8_t index : {0, 1, 2, 3, 4, 5, 255}) {
    std::string number = std::to_string(index);
    Lines security = {"AuthMode=OPEN", "EncrypType=WEP", "Key1Type=0",
                      "Key2Type=0;1",  "Key3Type=0",     "Key4Type=0"};
    if (index >= 1 && index <= 4) {
      security.push_back("Key" + number + "Str1=0123456789" + (index == 2 ? ";other" : ""));
      security.push_back("DefaultKeyID=" + number + ";4");
    }
    expectStored({"", 1, 2, "0123456789", index}, "", security, "", two_networks);
  }
}

// Names and keys end where their fields end, whatever length they are said to have.
TEST(WpsCredentials, LengthsAreHeldToTheirFields) {
  const std::string ssid(32, 's'), key(64, 'k');
  for (uint32_t length : {32u, 33u, 255u, 4294967295u}) {
    auto key_length = static_cast<uint16_t>(length < 64 ? 64 : length);
    expectStored({ssid, 32, 8, key, 0, length, key_length}, ssid,
                 {"AuthMode=WPA2PSK", "EncrypType=AES", "WPAPSK1=" + key});
  }
  expectStored({"home", 1, 1, "", 0, 2}, "ho", {"AuthMode=OPEN", "EncrypType=NONE"});
}

// ---- the access control list ----

// The list and the number of commits once the network was taken over. Without a
// station the driver knows of no list.
using Listed = std::pair<std::optional<std::string>, int>;
Listed listAfter(const Lines &macs, const char *policy, std::optional<std::string> before,
                 std::optional<uint32_t> count) {
  WpsDevice device;
  device.buffered({{"OperationMode", "3"}, {"AccessPolicy0", policy}});
  if (before) device.buffered({{"AccessControlList0", *before}});
  device.session.status("ra0", {{34, 1}}).current({}).credential({});
  if (!macs.empty()) device.session.stations(macs, count);
  WPSAPStart();
  device.ticks(1);
  Lines writes = device.writes();
  auto commits = std::count(writes.begin(), writes.end(), "commit 1");
  return {device.setting("AccessControlList0"), static_cast<int>(commits)};
}

TEST(WpsAccessList, IsWrittenOverTheFrontOfTheList) {
  const std::string a("\x00\x01\x02\x0a\xbc\xff", 6);
  const std::string text = "00:01:02:0A:BC:FF";
  const struct {
    Lines macs;
    const char *policy;
    std::optional<std::string> before, after;
    int commits = 2;
    std::optional<uint32_t> count = {};
  } cases[] = {
      {{a}, "1", {}, text},
      {{a, a}, "1", {}, text + ";" + text},
      {{a}, "1", "x;y;z", text + ";y;z"},
      {{a, a, a}, "1", "x;", text + ";" + text + ";" + text},
      {{a}, "1", "x;y", "x;y", 2, 0},
      {{}, "1", "x;y", "x;y"},
      {{a}, "2", "x;y", "x;y", 1},
  };
  for (const auto &c : cases) {
    EXPECT_EQ(listAfter(c.macs, c.policy, c.before, c.count), Listed(c.after, c.commits));
  }
}

// 64 stations fill the driver's record: all are kept, and no more are believed.
TEST(WpsAccessList, HoldsAsManyAsTheRecordHasRoomFor) {
  Lines macs;
  std::string text;
  for (int i = 0; i < 64; i++) {
    macs.push_back(std::string("\x02\0\0\0\0", 5) + static_cast<char>(i));
    char mac[24];
    snprintf(mac, sizeof mac, "%s02:00:00:00:00:%02X", i > 0 ? ";" : "", i);
    text += mac;
  }
  for (uint32_t count : {64u, 65u, 4294967295u}) {
    EXPECT_EQ(listAfter(macs, "1", {}, count), Listed(text, 2));
  }
}

}  // namespace
