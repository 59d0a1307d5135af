#include "packets/rule.h"

#include <algorithm>

namespace packets {

bool matches(const Rule &rule, const Packet &packet) {
  return std::all_of(rule.conditions.begin(), rule.conditions.end(), [&](const Condition &each) {
    return each.values.contains(packet[each.field]);
  });
}

}  // namespace packets
