#ifndef ORBA_FIREWALL_WEB_FILTER_H
#define ORBA_FIREWALL_WEB_FILTER_H

#include "core/record_fault.h"
#include "core/rule_list.h"

#pragma GCC visibility push(hidden)
namespace orba {

// A record of websURLFilters or websHostFilters.
inline RecordFault webFilterFault(const Record &record) {
  return record.empty() ? RecordFault{-1, "is empty"} : kNoFault;
}

}  // namespace orba
#pragma GCC visibility pop

#endif
