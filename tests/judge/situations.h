// Routers to be judged: settings at random, what the library makes of them, and the interfaces
// that they have then.
#ifndef ORBA_TESTS_JUDGE_SITUATIONS_H
#define ORBA_TESTS_JUDGE_SITUATIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "packets/network.h"
#include "platform/nvram/store_format.h"

namespace judge {

struct Situation {
  uint64_t seed = 0;
  std::vector<nvram::Setting> settings;
  packets::Network network;         // as it is before the first line runs
  std::vector<std::string> lines;   // for a shell, in order
  std::vector<std::string> tables;  // of routes: "202 pf_office"
};

// The same for the same seed. The examples in that folder are the first, as they stand. With
// sessions PPPoE is what it is on a router, for a kernel that has it: carried by another
// interface's frames; and most routers dial, and let hosts dial through them.
Situation situation(uint64_t seed, const std::string &examples, bool sessions = false);

}  // namespace judge

#endif
