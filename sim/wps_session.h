// Wi-Fi Protected Setup as the 2.4 GHz driver of a simulated device tells of it.
//
//   sim::WpsSession &session = device.part<sim::WpsSession>();
//   session.status("ra0", {{3, 5}, {34, 1}});   // started for five ticks, then done
//   session.current({.state = 2}).credential({.ssid = "home", ...});
#ifndef ORBA_SIM_WPS_SESSION_H
#define ORBA_SIM_WPS_SESSION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/part.h"

namespace sim {

class Radio;

class WpsSession : public Part {
 public:
  explicit WpsSession(Device &device);

  // What the driver answers on the next `ticks` questions; the last status stays.
  struct Step {
    int status;
    int ticks;
  };
  WpsSession &status(const std::string &ifname, std::vector<Step> script);

  // What the access point works with now.
  struct Current {
    uint16_t state = 2;
    std::string ssid = "";
    uint16_t authentication = 0;
    uint16_t encryption = 0;
    uint8_t key_index = 0;
    std::string key = "";
  };
  WpsSession &current(const Current &current);

  // What it received. The lengths are those of the texts unless others are given.
  struct Credential {
    std::string ssid = "";
    uint16_t authentication = 0;
    uint16_t encryption = 0;
    std::string key = "";
    uint8_t key_index = 0;
    std::optional<uint32_t> ssid_length = {};
    std::optional<uint16_t> key_length = {};
  };
  WpsSession &credential(const Credential &credential);

  // The addresses on the access control list, six bytes each, and how many there
  // are said to be.
  WpsSession &stations(const std::vector<std::string> &macs, std::optional<uint32_t> count = {});

  WpsSession &pin(uint32_t pin);

  // What "iwpriv apcli0 stat" prints.
  WpsSession &clientStatistics(const std::string &text) { return statistics_ = text, *this; }

  std::optional<std::string> outputOf(const std::string &command) override;

 private:
  Radio &radio_;
  std::string statistics_;
};

}  // namespace sim

#endif
