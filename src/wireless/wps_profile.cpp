// Asking the driver about WPS.
#include "wireless/wps_profile.h"

#include <unistd.h>

#include <cstring>

#include "core/console.h"
#include "core/text.h"
#include "orba_util.h"
#include "wireless/driver_oid.h"

namespace orba {

namespace {

// The driver's private request for commands in words.
constexpr int kTextRequest = 0x8BF2;
constexpr char kCurrentProfileCommand[] = "get_wsc_profile";

constexpr int kProfileOid = 0x0750;

// The driver's number behind an OID; 0, and a trace, when it gives none.
uint32_t queryNumber(Oid oid, const char *ifname, const char *failure) {
  uint32_t number = 0;
  if (wirelessRequest(kOidRequest, ifname, &number, sizeof number, oid) < 0) {
    debug("%s", failure);
    return 0;
  }
  return number;
}

bool fetchCurrentProfile(const char *ifname, void *record, size_t length) {
  if (length < sizeof kCurrentProfileCommand) return false;
  memcpy(record, kCurrentProfileCommand, sizeof kCurrentProfileCommand);
  return wirelessRequest(kTextRequest, ifname, record, static_cast<int>(length), 0) >= 0;
}

struct BitName {
  uint16_t bit;
  const char *name;
};

constexpr BitName kAuthenticationNames[] = {
    {kAuthOpen, "Open"}, {kAuthWpaPsk, "WPA-PSK"}, {kAuthShared, "Shared"},
    {kAuthWpa, "WPA"},   {kAuthWpa2, "WPA2"},      {kAuthWpa2Psk, "WPA2-PSK"},
};

constexpr BitName kEncryptionNames[] = {
    {kEncryptNone, "None"},
    {kEncryptWep, "WEP"},
    {kEncryptTkip, "TKIP"},
    {kEncryptAes, "AES"},
};

// The names follow each other without a separator; the pages expect it so.
template <size_t N>
char *appendNames(char *out, unsigned int bits, const BitName (&names)[N]) {
  if (bits == 0) return strcat(out, "N/A");
  for (const BitName &name : names) {
    if ((bits & name.bit) != 0) strcat(out, name.name);
  }
  return out;
}

// A caller's record as far as its fields of bits reach.
CurrentWscProfile bitsOf(const void *record) {
  CurrentWscProfile profile = {};
  memcpy(static_cast<void *>(&profile), record, offsetof(CurrentWscProfile, key_index));
  return profile;
}

}  // namespace

}  // namespace orba

unsigned int getAPPIN(const char *ifname) {
  return orba::queryNumber(orba::RT_OID_WSC_PIN_CODE, ifname,
                           "ioctl: RT_OID_WSC_PIN_CODE is failed\n");
}

int getWscStatus(const char *ifname) {
  return static_cast<int>(orba::queryNumber(orba::RT_OID_WSC_QUERY_STATUS, ifname,
                                            "ioctl: RT_OID_WSC_QUERY_STATUS is failed\n"));
}

int getCurrentWscProfile(const char *ifname, void *record, int length) {
  size_t room = length > 0 ? static_cast<size_t>(length) : 0;
  if (orba::fetchCurrentProfile(ifname, record, room)) return 0;

  orba::CurrentWscProfile unknown = {};
  unknown.state = orba::kWscUnknown;
  orba::copyText(unknown.ssid, sizeof unknown.ssid, "N/A");
  if (room > 0) memset(record, 0, room);
  memcpy(record, &unknown, room < sizeof unknown ? room : sizeof unknown);
  return -1;
}

int getWscProfile(const char *ifname, void *record) {
  int result = orba::wirelessRequest(orba::kOidRequest, ifname, record, sizeof(orba::WscProfile),
                                     orba::kProfileOid);
  if (result >= 0) return 0;
  orba::print(STDOUT_FILENO, "ioctl error, getWscProfile:%m\n");
  return -1;
}

char *getWPSAuthMode(const void *record, char *out) {
  return orba::appendNames(out, orba::bitsOf(record).authentication, orba::kAuthenticationNames);
}

char *getWPSEncrypType(const void *record, char *out) {
  return orba::appendNames(out, orba::bitsOf(record).encryption, orba::kEncryptionNames);
}
