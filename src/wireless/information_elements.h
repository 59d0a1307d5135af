// What a network's information elements say about its security.
#ifndef ORBA_WIRELESS_INFORMATION_ELEMENTS_H
#define ORBA_WIRELESS_INFORMATION_ELEMENTS_H

#include "wireless/byte_view.h"

#pragma GCC visibility push(hidden)
namespace orba {

// A network may offer several of each.
struct Security {
  bool tkip = false;
  bool aes = false;
  bool cckm = false;
  // What the older element offers, and what the RSN element does.
  struct Keys {
    bool enterprise = false;
    bool psk = false;
    bool none = false;
  } wpa, wpa2;
};

// `elements` are what a survey record carries: twelve fixed bytes, then the
// elements one behind the other. A damaged element ends the walk; what the ones
// before it said counts.
void readSecurity(ByteView elements, bool infrastructure, Security &security);

}  // namespace orba
#pragma GCC visibility pop

#endif
