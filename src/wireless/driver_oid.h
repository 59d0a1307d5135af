// Talking to the 2.4 GHz driver past its shell commands: every value of the
// driver has a number, its object identifier (OID), and travels in the kernel's
// wireless request block.
#ifndef ORBA_WIRELESS_DRIVER_OID_H
#define ORBA_WIRELESS_DRIVER_OID_H

#include <linux/wireless.h>

#include <cstdint>

#include "orba_util.h"

#pragma GCC visibility push(hidden)
namespace orba {

// Under the driver's own names, so that its sources can be searched for them.
enum Oid : int {
  OID_802_11_BSSID_LIST_SCAN = 0x0508,
  OID_802_11_SSID = 0x0509,
  OID_802_11_BSSID = 0x050A,
  RT_OID_802_11_RADIO = 0x050B,
  OID_802_11_BSSID_LIST = 0x0609,
  OID_GEN_MEDIA_CONNECT_STATUS = 0x060B,
  RT_OID_WE_VERSION_COMPILED = 0x0622,
  RT_OID_WSC_QUERY_STATUS = 0x0751,
  RT_OID_WSC_PIN_CODE = 0x0752,
};

// The driver's private request for OIDs; OIDs to be set carry kOidSet.
constexpr int kOidRequest = SIOCIWFIRSTPRIV + 1;
constexpr int kOidSet = 0x8000;
static_assert(kOidRequest == 0x8BE1);

// Issues a wireless request whose answer, or data, is in the `length` bytes at
// `buffer`. Returns the ioctl's result: 0, or negative with errno. A name
// beyond 15 characters is cut, a length is held to what its field can carry.
int wirelessRequest(int request, int socket, const char *ifname, void *buffer, int length,
                    int flags);

// The same through a socket of its own; -1 as well when there is none.
int wirelessRequest(int request, const char *ifname, void *buffer, int length, int flags);

// Queries one OID of fixed size through `socket`.
template <typename Value>
int queryOid(Oid oid, int socket, const char *ifname, Value &value) {
  return OidQueryInformation(oid, socket, ifname, &value, sizeof value);
}

}  // namespace orba
#pragma GCC visibility pop

#endif
