// The networks a radio can find, and the list in which its driver reports them.
#ifndef ORBA_SIM_NEIGHBOURHOOD_H
#define ORBA_SIM_NEIGHBOURHOOD_H

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

using Bytes = std::vector<uint8_t>;

struct Network {
  std::string ssid;
  std::string bssid;  // "00:11:22:33:44:55"
  int channel = 1;
  int signal = -60;  // dBm
  // Of WPA, WPA-PSK, WPA2, WPA2-PSK, CCKM (key management), TKIP, AES
  // (ciphers), WEP, open and ad-hoc.
  std::vector<std::string> security;

  bool has(const std::string &word) const;
};

// One network a line: the name in double quotes (\" \\ \xHH inside), the
// address, the channel, the signal in dBm and the security words. Empty lines
// and lines that begin with '#' are left out. Throws std::invalid_argument with
// the line's number for what it cannot read.
std::vector<Network> readNeighbourhood(const std::string &text);

// One record of the driver's list, and the whole list.
Bytes encodeNetwork(const Network &network);
Bytes encodeList(const std::vector<Network> &networks);
// A list of records made elsewhere; `count` is what its head says.
Bytes encodeList(const std::vector<Bytes> &records, uint32_t count);

// Little-endian numbers in driver records.
void putNumber(Bytes &bytes, size_t offset, uint32_t value, size_t width = 4);

}  // namespace sim

#endif
