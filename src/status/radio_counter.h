// The traffic counters of the 2.4 GHz driver.
#ifndef ORBA_STATUS_RADIO_COUNTER_H
#define ORBA_STATUS_RADIO_COUNTER_H

#include <cstdint>

#include "core/file.h"

#pragma GCC visibility push(hidden)
namespace orba {

// What the driver fills in.
struct RadioCounters {
  uint32_t received_packets;
  uint32_t sent_packets;
  uint32_t received_bytes;
  uint32_t sent_bytes;
  uint32_t not_read_here[4];
};
static_assert(sizeof(RadioCounters) == 32);

class RadioSocket {
 public:
  RadioSocket();
  // False when the driver refuses.
  bool read(const char *ifname, RadioCounters &counters) const;

 private:
  Descriptor socket_;
};

}  // namespace orba
#pragma GCC visibility pop

#endif
