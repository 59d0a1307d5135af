#include "net/policy_rule.h"

#include "net/record_cut.h"

namespace orba {

PolicyRule::PolicyRule(const Record &record)
    : netmask(record, 0),
      address(record, 1),
      port(record, 2),
      mac(record, 3),
      protocol(record, 4),
      side(record, 5),
      ifname(record, 6),
      name(record, kName),
      cut(cutOf(record, {&netmask, &address, &port, &mac, &protocol, &side, &ifname, &name})) {}

RecordFault PolicyRule::fault() const {
  return name.missing() ? RecordFault{-1, "has fewer than 8 fields"} : kNoFault;
}

}  // namespace orba
