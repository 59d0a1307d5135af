#ifndef ORBA_FIREWALL_MAC_FILTER_H
#define ORBA_FIREWALL_MAC_FILTER_H

#include "core/record_fault.h"
#include "core/rule_list.h"

#pragma GCC visibility push(hidden)
namespace orba {

// MACFilterRules: one address a record, of at most 31 characters.
inline RuleList filteredMacs(const char *mac_filter_rules) {
  return RuleList(mac_filter_rules, 32);
}

// A fault here ends the list: the records behind it are not read.
inline RecordFault endOfMacs(const Record &mac) {
  return mac.empty() ? RecordFault{-1, "is empty and ends the list"} : kNoFault;
}

}  // namespace orba
#pragma GCC visibility pop

#endif
