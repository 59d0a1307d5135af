// What a received network becomes in the settings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/wireless/wps_device.h"

namespace {

using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

using Lines = std::vector<std::string>;
using Credential = sim::WpsSession::Credential;

struct Received {
  Lines writes;
  std::string printed;
};

Received receive(const Credential &credential, const sim::Settings &settings = {}) {
  WpsDevice device;
  device.settings({{"OperationMode", "3"}}).settings(settings);
  device.session.status("ra0", {{34, 1}}).current({.state = 2}).credential(credential);
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
  struct Type {
    uint16_t number;
    const char *name;  // null: not known
  };
  const Type authentications[] = {
      {1, "OPEN"},     {2, "WPAPSK"},         {4, "SHARED"}, {8, "WPA"},   {16, "WPA2"},
      {32, "WPA2PSK"}, {34, "WPAPSKWPA2PSK"}, {0, nullptr},  {3, nullptr}, {64, nullptr},
  };
  const Type encryptions[] = {
      {1, "NONE"},     {2, "WEP"},   {4, "TKIP"},  {8, "AES"},
      {12, "TKIPAES"}, {0, nullptr}, {6, nullptr}, {16, nullptr},
  };
  for (const Type &authentication : authentications) {
    for (const Type &encryption : encryptions) {
      SCOPED_TRACE(std::to_string(authentication.number) + " with " +
                   std::to_string(encryption.number));
      std::string warnings;
      Lines security;
      if (authentication.name == nullptr) {
        warnings += "Wsc: Warning: can't get invalid authmode\n.";
        security.push_back("AuthMode=OPEN");
      } else {
        security.push_back(std::string("AuthMode=") + authentication.name);
      }
      if (encryption.name == nullptr) {
        warnings += "Wsc: Warning: can't get invalid encryptype\n.";
        security.push_back("EncrypType=NONE");
      } else {
        security.push_back(std::string("EncrypType=") + encryption.name);
      }
      if (encryption.number == 2) {
        security.insert(security.end(), {"Key1Type=1", "Key2Type=1", "Key3Type=1", "Key4Type=1",
                                         "Key3Str1=pass phrase", "DefaultKeyID=3"});
      }
      if (encryption.number == 4 || encryption.number == 8 || encryption.number == 12) {
        security.push_back("WPAPSK1=pass phrase");
      }
      if (authentication.number == 2 && encryption.number == 4) {
        security.insert(security.end(), {"AuthMode=WPAPSKWPA2PSK", "EncrypType=TKIPAES"});
      }

      Received received = receive({.ssid = "the house",
                                   .authentication = authentication.number,
                                   .encryption = encryption.number,
                                   .key = "pass phrase",
                                   .key_index = 3});
      EXPECT_THAT(received.writes, ElementsAreArray(settingsOf("the house", security)));
      EXPECT_EQ(received.printed, warnings);
    }
  }
}

TEST(WpsCredentials, AWepKeysLengthTellsItsKind) {
  struct {
    size_t length;
    const char *type;
  } cases[] = {{5, "1"}, {10, "0"}, {13, "1"}, {26, "0"}, {27, "1"}, {0, "1"}};
  for (const auto &c : cases) {
    std::string type = c.type;
    std::string key(c.length, 'a');
    Credential credential = {.authentication = 4, .encryption = 2, .key = key, .key_index = 1};
    EXPECT_THAT(
        receive(credential).writes,
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
  for (int index : {0, 1, 2, 3, 4, 5, 255}) {
    std::string number = std::to_string(index);
    std::string other = index == 2 ? ";other" : "";
    Lines security = {"AuthMode=OPEN", "EncrypType=WEP", "Key1Type=0",
                      "Key2Type=0;1",  "Key3Type=0",     "Key4Type=0"};
    if (index >= 1 && index <= 4) {
      security.push_back("Key" + number + "Str1=0123456789" + other);
      security.push_back("DefaultKeyID=" + number + ";4");
    }
    Credential credential = {.authentication = 1,
                             .encryption = 2,
                             .key = "0123456789",
                             .key_index = static_cast<uint8_t>(index)};
    EXPECT_THAT(receive(credential, two_networks).writes,
                ElementsAreArray(settingsOf("", security)));
  }
}

// Names and keys end where their fields end, whatever length they are said to have.
TEST(WpsCredentials, LengthsAreHeldToTheirFields) {
  std::string ssid(32, 's');
  std::string key(64, 'k');
  for (uint32_t length : {32u, 33u, 255u, 4294967295u}) {
    Credential credential = {.ssid = ssid,
                             .authentication = 32,
                             .encryption = 8,
                             .key = key,
                             .ssid_length = length,
                             .key_length = static_cast<uint16_t>(length < 64 ? 64 : length)};
    EXPECT_THAT(receive(credential).writes,
                ElementsAreArray(
                    settingsOf(ssid, {"AuthMode=WPA2PSK", "EncrypType=AES", "WPAPSK1=" + key})));
  }
  EXPECT_THAT(
      receive({.ssid = "home", .authentication = 1, .encryption = 1, .ssid_length = 2}).writes,
      ElementsAreArray(settingsOf("ho", {"AuthMode=OPEN", "EncrypType=NONE"})));
}

// ---- the access control list ----

struct Listed {
  size_t count;  // commits
  std::optional<std::string> list;
};

Listed listAfter(const std::vector<std::string> &macs, std::optional<uint32_t> count,
                 const sim::Settings &settings) {
  WpsDevice device;
  device.settings({{"OperationMode", "3"}}).settings(settings);
  device.session.status("ra0", {{34, 1}})
      .current({.state = 2})
      .credential({})
      .stations(macs, count);
  WPSAPStart();
  device.ticks(1);
  size_t commits = 0;
  for (const std::string &write : device.writes()) commits += write == "commit 1";
  return {commits, device.setting("AccessControlList0")};
}

TEST(WpsAccessList, IsWrittenOverTheFrontOfTheList) {
  const std::string a("\x00\x01\x02\x0a\xbc\xff", 6);
  const std::string text = "00:01:02:0A:BC:FF";
  const sim::Settings policy = {{"AccessPolicy0", "1"}};
  EXPECT_EQ(listAfter({a}, {}, policy).list, text);
  EXPECT_EQ(listAfter({a, a}, {}, policy).list, text + ";" + text);
  EXPECT_EQ(listAfter({a}, {}, {{"AccessPolicy0", "1"}, {"AccessControlList0", "x;y;z"}}).list,
            text + ";y;z");
  EXPECT_EQ(listAfter({a, a, a}, {}, {{"AccessPolicy0", "1"}, {"AccessControlList0", "x;"}}).list,
            text + ";" + text + ";" + text);

  Listed none = listAfter({}, {}, policy);
  EXPECT_EQ(none.list, std::nullopt);
  EXPECT_EQ(none.count, 2u);
  Listed another_policy = listAfter({a}, {}, {{"AccessPolicy0", "2"}});
  EXPECT_EQ(another_policy.list, std::nullopt);
  EXPECT_EQ(another_policy.count, 1u);
}

// 64 stations fill the driver's record: all are kept, and no more are believed.
TEST(WpsAccessList, HoldsAsManyAsTheRecordHasRoomFor) {
  std::vector<std::string> macs;
  std::string text;
  for (int i = 0; i < 64; i++) {
    macs.push_back(std::string("\x02\0\0\0\0", 5) + static_cast<char>(i));
    char mac[24];
    snprintf(mac, sizeof mac, "%s02:00:00:00:00:%02X", i > 0 ? ";" : "", i);
    text += mac;
  }
  const sim::Settings policy = {{"AccessPolicy0", "1"}};
  EXPECT_EQ(listAfter(macs, {}, policy).list, text);
  EXPECT_EQ(listAfter(macs, 65, policy).list, text);
  EXPECT_EQ(listAfter(macs, 4294967295u, policy).list, text);
}

TEST(WpsAccessList, ADriverWithoutOneLeavesTheListAlone) {
  WpsDevice device;
  device.settings({{"OperationMode", "3"}, {"AccessPolicy0", "1"}, {"AccessControlList0", "x;y"}});
  device.session.status("ra0", {{34, 1}}).current({.state = 2}).credential({});
  WPSAPStart();
  device.ticks(1);
  EXPECT_EQ(device.setting("AccessControlList0"), "x;y");
}

}  // namespace
