// The Ethernet switch: its registers, as the driver of eth2 and the switch tool
// reach them, and the MAC table that the search registers walk.
#ifndef ORBA_SIM_SWITCH_H
#define ORBA_SIM_SWITCH_H

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "sim/part.h"

namespace sim {

class Switch : public Part {
 public:
  using Part::Part;

  Switch &set(uint32_t reg, uint32_t value) { return registers_[reg] = value, *this; }
  uint32_t get(uint32_t reg) const;
  // A traffic counter of port 0 to 3, by its offset in the port's block.
  Switch &counter(int port, uint32_t offset, uint32_t value) {
    return set(0x4000 + 0x100 * static_cast<uint32_t>(port) + offset, value);
  }

  // The MAC table, entry by entry. Behind the last one the search finds an
  // invalid entry with the end flag.
  Switch &learn(const std::string &mac, std::initializer_list<int> ports);
  // A valid entry that carries the end flag itself.
  Switch &learnLast(const std::string &mac, std::initializer_list<int> ports);
  // The search needs so many looks before it comes to the next entry.
  Switch &slow(int looks);
  // The table is walked again and again, without an end.
  Switch &endless() { return endless_ = true, *this; }
  // Every request of the driver fails from now on.
  Switch &breakDown() { return broken_ = true, *this; }

  // How many registers were read by requests.
  int reads() const { return reads_; }

  std::optional<int> request(unsigned long number, void *argument) override;
  std::optional<std::string> outputOf(const std::string &command) override;

 private:
  struct Entry {
    uint64_t mac;
    uint32_t ports;  // one bit a port
    bool last;
    int looks;  // that find nothing yet
  };
  Switch &add(const std::string &mac, std::initializer_list<int> ports, bool last);
  void write(uint32_t reg, uint32_t value);
  uint32_t read(uint32_t reg);
  void showEntry();

  std::map<uint32_t, uint32_t> registers_;
  std::vector<Entry> table_;
  size_t at_ = 0;
  int looks_left_ = 0;
  int looks_of_next_ = 0;
  bool endless_ = false;
  bool broken_ = false;
  int reads_ = 0;
};

}  // namespace sim

#endif
