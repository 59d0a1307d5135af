// Making what WPS has received the settings of the access point.
#ifndef ORBA_WIRELESS_WPS_CREDENTIALS_H
#define ORBA_WIRELESS_WPS_CREDENTIALS_H

#include "wireless/wps_profile.h"

#pragma GCC visibility push(hidden)
namespace orba {

// Buffers the network's name, security and keys as the first network's settings;
// nothing is committed. Does not use the heap.
void storeCredential(const WscCredential &credential);

// Writes the stations that the driver lets in, or keeps out, to the front of
// AccessControlList0; nothing is committed.
void storeAccessControlList();

}  // namespace orba
#pragma GCC visibility pop

#endif
