// The driver's WPS records. Packed, so that they can lie on any byte of the
// buffer that somebody else provides.
#ifndef ORBA_WIRELESS_WPS_PROFILE_H
#define ORBA_WIRELESS_WPS_PROFILE_H

#include <cstddef>
#include <cstdint>

namespace orba {

enum WscState : uint16_t { kWscConfigured = 2, kWscUnknown = 3 };

enum WscAuthentication : uint16_t {
  kAuthOpen = 0x01,
  kAuthWpaPsk = 0x02,
  kAuthShared = 0x04,
  kAuthWpa = 0x08,
  kAuthWpa2 = 0x10,
  kAuthWpa2Psk = 0x20,
};

enum WscEncryption : uint16_t {
  kEncryptNone = 0x01,
  kEncryptWep = 0x02,
  kEncryptTkip = 0x04,
  kEncryptAes = 0x08,
};

// What the access point works with now.
struct __attribute__((packed)) CurrentWscProfile {
  uint16_t state;
  char ssid[33];
  uint16_t authentication;
  uint16_t encryption;
  uint8_t key_index;
  char key[65];
};
static_assert(sizeof(CurrentWscProfile) == 105);
static_assert(offsetof(CurrentWscProfile, ssid) == 2);
static_assert(offsetof(CurrentWscProfile, authentication) == 35);
static_assert(offsetof(CurrentWscProfile, encryption) == 37);
static_assert(offsetof(CurrentWscProfile, key_index) == 39);
static_assert(offsetof(CurrentWscProfile, key) == 40);

// One network as WPS hands it over. Texts have a length and no terminator.
struct __attribute__((packed)) WscCredential {
  uint32_t ssid_length;
  char ssid[32];
  uint16_t authentication;
  uint16_t encryption;
  char key[64];
  uint16_t key_length;
  uint8_t mac[6];
  uint8_t key_index;
  uint8_t unused[3];
};

struct __attribute__((packed)) WscProfile {
  uint32_t count;
  uint32_t applied;
  WscCredential first;
  WscCredential others[7];
};
static_assert(sizeof(WscProfile) == 936);
static_assert(offsetof(WscProfile, first.ssid_length) == 8);
static_assert(offsetof(WscProfile, first.ssid) == 12);
static_assert(offsetof(WscProfile, first.authentication) == 44);
static_assert(offsetof(WscProfile, first.encryption) == 46);
static_assert(offsetof(WscProfile, first.key) == 48);
static_assert(offsetof(WscProfile, first.key_length) == 112);
static_assert(offsetof(WscProfile, first.key_index) == 120);

}  // namespace orba

#endif
