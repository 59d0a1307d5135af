// What a received network becomes in the settings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/wireless/wps_device.h"

namespace {

using ::testing::ElementsAreArray;

struct Received {
  Lines writes;
  std::string printed;
};

Received receive(const sim::WpsSession::Credential &credential,
                 const sim::Settings &settings = {}) {
  WpsDevice device;
  device.settings({{"OperationMode", "3"}}).settings(settings);
  device.session.status("ra0", {{34, 1}}).current({}).credential(credential);
  WPSAPStart();
  device.forget();
  device.ticks(1);
  return {device.writes(), device.printed()};
}

Lines settingsOf(const std::string &ssid, const Lines &security) {
  Lines lines = {"set 1 WscConfigured=1", "set 1 SSID1=" + ssid, "set 1 WscSSID=" + ssid};
  for (const std::string &line : security) lines.push_back("set 1 " + line);
  lines.insert(lines.end(), {"set 1 IEEE8021X=0", "commit 1"});
  return lines;
}

TEST(WpsCredentials, EveryPairOfTypesHasItsSettings) {
  // What is not known is warned of.
  const std::string no_auth = "Wsc: Warning: can't get invalid authmode\n.";
  const std::string no_encryption = "Wsc: Warning: can't get invalid encryptype\n.";
  struct Type {
    uint16_t number;
    const char *name;
    std::string warning = "";
  };
  const Type authentications[] = {
      {1, "OPEN"},          {2, "WPAPSK"},         {4, "SHARED"},         {8, "WPA"},
      {16, "WPA2"},         {32, "WPA2PSK"},       {34, "WPAPSKWPA2PSK"}, {0, "OPEN", no_auth},
      {3, "OPEN", no_auth}, {64, "OPEN", no_auth},
  };
  const Type encryptions[] = {
      {1, "NONE"},
      {2, "WEP"},
      {4, "TKIP"},
      {8, "AES"},
      {12, "TKIPAES"},
      {0, "NONE", no_encryption},
      {6, "NONE", no_encryption},
      {16, "NONE", no_encryption},
  };
  const Lines wep = {"Key1Type=1", "Key2Type=1",           "Key3Type=1",
                     "Key4Type=1", "Key3Str1=pass phrase", "DefaultKeyID=3"};
  for (const Type &authentication : authentications) {
    for (const Type &encryption : encryptions) {
      Lines security = {std::string("AuthMode=") + authentication.name,
                        std::string("EncrypType=") + encryption.name};
      uint16_t number = encryption.number;
      if (number == 2) security = security + wep;
      if (number == 4 || number == 8 || number == 12) security.push_back("WPAPSK1=pass phrase");
      if (authentication.number == 2 && number == 4) {
        security = security + Lines{"AuthMode=WPAPSKWPA2PSK", "EncrypType=TKIPAES"};
      }
      Received received = receive({"the house", authentication.number, number, "pass phrase", 3});
      EXPECT_THAT(received.writes, ElementsAreArray(settingsOf("the house", security)));
      EXPECT_EQ(received.printed, authentication.warning + encryption.warning);
    }
  }
}

TEST(WpsCredentials, AWepKeysLengthTellsItsKind) {
  const std::pair<size_t, std::string> cases[] = {{5, "1"},  {10, "0"}, {13, "1"},
                                                  {26, "0"}, {27, "1"}, {0, "1"}};
  for (const auto &[length, type] : cases) {
    std::string key(length, 'a');
    EXPECT_THAT(
        receive({"", 4, 2, key, 1}).writes,
        ElementsAreArray(settingsOf(
            "", {"AuthMode=SHARED", "EncrypType=WEP", "Key1Type=" + type, "Key2Type=" + type,
                 "Key3Type=" + type, "Key4Type=" + type, "Key1Str1=" + key, "DefaultKeyID=1"})));
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
    EXPECT_THAT(receive({"", 1, 2, "0123456789", index}, two_networks).writes,
                ElementsAreArray(settingsOf("", security)));
  }
}

// Names and keys end where their fields end, whatever length they are said to have.
TEST(WpsCredentials, LengthsAreHeldToTheirFields) {
  const std::string ssid(32, 's'), key(64, 'k');
  for (uint32_t length : {32u, 33u, 255u, 4294967295u}) {
    auto key_length = static_cast<uint16_t>(length < 64 ? 64 : length);
    EXPECT_THAT(receive({ssid, 32, 8, key, 0, length, key_length}).writes,
                ElementsAreArray(
                    settingsOf(ssid, {"AuthMode=WPA2PSK", "EncrypType=AES", "WPAPSK1=" + key})));
  }
  EXPECT_THAT(receive({"home", 1, 1, "", 0, 2}).writes,
              ElementsAreArray(settingsOf("ho", {"AuthMode=OPEN", "EncrypType=NONE"})));
}

// ---- the access control list ----

struct Listed {
  std::optional<std::string> list;
  size_t commits;
};

Listed listAfter(const Lines &macs, const sim::Settings &settings,
                 std::optional<uint32_t> count = {}) {
  WpsDevice device;
  device.settings({{"OperationMode", "3"}}).settings(settings);
  device.session.status("ra0", {{34, 1}}).current({}).credential({});
  // Without any the driver knows of no list.
  if (!macs.empty()) device.session.stations(macs, count);
  WPSAPStart();
  device.ticks(1);
  Lines writes = device.writes();
  return {device.setting("AccessControlList0"),
          static_cast<size_t>(std::count(writes.begin(), writes.end(), "commit 1"))};
}

TEST(WpsAccessList, IsWrittenOverTheFrontOfTheList) {
  const std::string a("\x00\x01\x02\x0a\xbc\xff", 6);
  const std::string text = "00:01:02:0A:BC:FF";
  const sim::Settings policy = {{"AccessPolicy0", "1"}};
  auto with = [](const char *value, const char *list) {
    return sim::Settings{{"AccessPolicy0", value}, {"AccessControlList0", list}};
  };
  const struct {
    Lines macs;
    sim::Settings settings;
    std::optional<std::string> list;
    size_t commits = 2;
    std::optional<uint32_t> count = {};
  } cases[] = {
      {{a}, policy, text},
      {{a, a}, policy, text + ";" + text},
      {{a}, with("1", "x;y;z"), text + ";y;z"},
      {{a, a, a}, with("1", "x;"), text + ";" + text + ";" + text},
      {{a}, with("1", "x;y"), "x;y", 2, 0},
      {{a}, policy, std::nullopt, 2, 0},
      {{}, with("1", "x;y"), "x;y"},
      {{a}, with("2", "x;y"), "x;y", 1},
  };
  for (const auto &c : cases) {
    Listed listed = listAfter(c.macs, c.settings, c.count);
    EXPECT_EQ(listed.list, c.list);
    EXPECT_EQ(listed.commits, c.commits);
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
    EXPECT_EQ(listAfter(macs, {{"AccessPolicy0", "1"}}, count).list, text);
  }
}

}  // namespace
