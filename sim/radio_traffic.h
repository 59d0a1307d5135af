// The traffic counters of the 2.4 GHz driver.
#ifndef ORBA_SIM_RADIO_TRAFFIC_H
#define ORBA_SIM_RADIO_TRAFFIC_H

#include <cstdint>
#include <map>
#include <string>

#include "sim/part.h"

namespace sim {

class RadioTraffic : public Part {
 public:
  using Part::Part;

  struct Counters {
    uint32_t received_packets, sent_packets, received_bytes, sent_bytes;
  };
  // An interface that has none refuses the request.
  RadioTraffic &set(const std::string &interface, const Counters &counters);
  int requests() const { return requests_; }

  std::optional<int> request(unsigned long number, void *argument) override;

 private:
  std::map<std::string, Counters> by_interface_;
  int requests_ = 0;
};

}  // namespace sim

#endif
