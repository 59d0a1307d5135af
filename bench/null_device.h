// A device that costs as little as can be: what the library asks of the system
// is answered from a few tables, commands are counted and go nowhere. What is
// measured on it is the library's own work.
#ifndef ORBA_BENCH_NULL_DEVICE_H
#define ORBA_BENCH_NULL_DEVICE_H

#include <cstdint>
#include <string>
#include <vector>

namespace null_device {

// What the library has done since the last reset.
struct Counts {
  long commands = 0;     // lines given to system()
  long allocations = 0;  // its calls of malloc, calloc and strdup
};
extern Counts counts;

// Forgets settings, files and networks too.
void reset();
void setting(const std::string &key, const std::string &value, int space = 1);
void file(const std::string &path, const std::string &content);
// What the radio's survey answers, as the driver writes it.
void survey(const std::vector<uint8_t> &list);

}  // namespace null_device

#endif
