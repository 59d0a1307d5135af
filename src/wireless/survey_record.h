// One network of the driver's survey list, and how the pages describe it.
#ifndef ORBA_WIRELESS_SURVEY_RECORD_H
#define ORBA_WIRELESS_SURVEY_RECORD_H

#include "core/text.h"
#include "wireless/byte_view.h"

#pragma GCC visibility push(hidden)
namespace orba {

struct NetworkDescription {
  Text<193> ssid;
  Text<28> bssid;
  Text<60> rssi;
  Text<16> channel;
  Text<32> auth;
  Text<52> encryption;
  Text<24> network_type;
};

// The record at the front of `records`: empty when what stands there is none.
// Its length leads to the next one, so a list cannot be followed beyond a
// damaged record.
ByteView firstRecord(ByteView records);

// Describes a network. False when its frequency belongs to no channel.
bool describeNetwork(ByteView record, NetworkDescription &network);

}  // namespace orba
#pragma GCC visibility pop

#endif
