#include "wireless/wps_credentials.h"

#include <sys/socket.h>

#include "core/console.h"
#include "core/file.h"
#include "core/rule_list.h"
#include "core/setting.h"
#include "orba_util.h"

namespace orba {

namespace {

struct TypeName {
  uint16_t type;
  const char *name;
};

constexpr TypeName kAuthModes[] = {
    {kAuthOpen, "OPEN"},
    {kAuthWpaPsk, "WPAPSK"},
    {kAuthShared, "SHARED"},
    {kAuthWpa, "WPA"},
    {kAuthWpa2, "WPA2"},
    {kAuthWpa2Psk, "WPA2PSK"},
    {kAuthWpaPsk | kAuthWpa2Psk, "WPAPSKWPA2PSK"},
};

constexpr TypeName kEncrypTypes[] = {
    {kEncryptNone, "NONE"},
    {kEncryptWep, "WEP"},
    {kEncryptTkip, "TKIP"},
    {kEncryptAes, "AES"},
    {kEncryptTkip | kEncryptAes, "TKIPAES"},
};

template <size_t N>
const char *nameOf(uint16_t type, const TypeName (&names)[N]) {
  for (const TypeName &entry : names) {
    if (entry.type == type) return entry.name;
  }
  return nullptr;
}

// The settings of the four WEP keys; the first record of each is the first
// network's.
struct WepKey {
  const char *type_key;
  const char *text_key;
  const char *number;
};

constexpr WepKey kWepKeys[] = {
    {"Key1Type", "Key1Str1", "1"},
    {"Key2Type", "Key2Str1", "2"},
    {"Key3Type", "Key3Str1", "3"},
    {"Key4Type", "Key4Str1", "4"},
};

void store(const char *key, const char *value) {
  nvram_bufset(kMainSpace, key, value);
}

// For settings that hold a record for each network.
void storeFirst(const char *key, const char *value) {
  STF(0, key, const_cast<char *>(value));
}

using KeyText = Text<sizeof(WscCredential::key) + 1>;

// The driver's lengths are not trusted beyond the fields that they measure.
size_t lengthWithin(uint32_t length, size_t field) {
  return length < field ? length : field;
}

void storeSsid(const WscCredential &credential) {
  Text<sizeof credential.ssid + 1> ssid;
  ssid.append(credential.ssid, lengthWithin(credential.ssid_length, sizeof credential.ssid));
  store("SSID1", ssid.text());
  store("WscSSID", ssid.text());
}

void storeAuthMode(uint16_t type) {
  const char *name = nameOf(type, kAuthModes);
  if (name == nullptr) {
    print(STDOUT_FILENO, "Wsc: Warning: can't get invalid authmode\n.");
    name = "OPEN";
  }
  storeFirst("AuthMode", name);
}

void storeWepKey(const WscCredential &credential, const KeyText &key) {
  bool hexadecimal = credential.key_length == 10 || credential.key_length == 26;
  for (const WepKey &wep : kWepKeys) storeFirst(wep.type_key, hexadecimal ? "0" : "1");
  if (credential.key_index < 1 || credential.key_index > 4) return;
  const WepKey &wep = kWepKeys[credential.key_index - 1];
  storeFirst(wep.text_key, key.text());
  storeFirst("DefaultKeyID", wep.number);
}

void storeEncryption(const WscCredential &credential) {
  const char *name = nameOf(credential.encryption, kEncrypTypes);
  if (name == nullptr) {
    print(STDOUT_FILENO, "Wsc: Warning: can't get invalid encryptype\n.");
    storeFirst("EncrypType", "NONE");
    return;
  }
  storeFirst("EncrypType", name);
  if (credential.encryption == kEncryptNone) return;

  KeyText key;
  key.append(credential.key, lengthWithin(credential.key_length, sizeof credential.key));
  if (credential.encryption == kEncryptWep) {
    storeWepKey(credential, key);
  } else {
    store("WPAPSK1", key.text());
  }
}

// ---- the access control list ----

constexpr int kAccessListOid = 0x052A;
constexpr char kAccessListKey[] = "AccessControlList0";

struct AccessEntry {
  uint8_t mac[6];
  uint8_t unused[2];
};

struct AccessList {
  uint32_t policy;
  uint32_t count;
  AccessEntry entries[64];
};
static_assert(sizeof(AccessEntry) == 8);
static_assert(sizeof(AccessList) == 520);
static_assert(offsetof(AccessList, count) == 4);
static_assert(offsetof(AccessList, entries) == 8);

constexpr size_t kMostEntries = sizeof(AccessList::entries) / sizeof(AccessEntry);

// All zero when the driver does not answer.
void queryAccessList(AccessList &list) {
  list = {};
  Descriptor driver(socket(AF_INET, SOCK_DGRAM, 0));
  if (!driver) return;
  if (ApOidQueryInformation(kAccessListOid, driver.get(), "ra0", &list, sizeof list) < 0) list = {};
}

}  // namespace

void storeCredential(const WscCredential &credential) {
  storeSsid(credential);
  storeAuthMode(credential.authentication);
  storeEncryption(credential);
  // An access point that WPS configured for WPA-PSK with TKIP takes newer
  // stations too: it is always widened to mixed mode.
  if (credential.authentication == kAuthWpaPsk && credential.encryption == kEncryptTkip) {
    storeFirst("AuthMode", "WPAPSKWPA2PSK");
    storeFirst("EncrypType", "TKIPAES");
  }
  storeFirst("IEEE8021X", "0");
}

void storeAccessControlList() {
  AccessList list;
  queryAccessList(list);
  size_t count = lengthWithin(list.count, kMostEntries);
  if (count == 0) return;

  // Replaced from the front like any record, but all at once: the list may be
  // longer than the eight records that STF can edit.
  Text<4096> edited;
  for (size_t i = 0; i < count; i++) {
    const uint8_t *mac = list.entries[i].mac;
    edited.format("%s%02X:%02X:%02X:%02X:%02X:%02X", i > 0 ? ";" : "", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
  }
  for (Record record : RuleList(setting(kAccessListKey).text())) {
    if (static_cast<size_t>(record.index()) < count) continue;
    if (edited.length() + 1 + record.slice().length >= edited.size()) break;
    edited.append(";").append(record.slice().begin, record.slice().length);
  }
  store(kAccessListKey, edited.text());
}

}  // namespace orba
