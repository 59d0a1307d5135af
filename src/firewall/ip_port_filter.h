// The records of IPPortFilterRules.
#ifndef ORBA_FIREWALL_IP_PORT_FILTER_H
#define ORBA_FIREWALL_IP_PORT_FILTER_H

#include "core/record_fault.h"
#include "core/rule_list.h"
#include "core/text.h"

#pragma GCC visibility push(hidden)
namespace orba {

// One record's fields, each cut to the length that is kept of it.
struct IpPortFilter {
  struct Side {
    Text<32> address;
    Text<32> mask;
    Text<8> port;
    Text<8> port_end;
    Text<32> mac;
    Text<64> mac_end;
  };
  Side source;
  Side destination;
  Text<8> protocol;
  // The record or the first field that lost its end, if one did. That alone is
  // no reason to pass it over.
  RecordFault cut = kNoFault;
};

// Takes a record apart, checking its fields from left to right. A faulty record
// makes no rule; `filter` then holds the fields up to the fault. Prints what
// isIpNetmaskValid prints.
RecordFault readIpPortFilter(const Record &record, IpPortFilter &filter);

}  // namespace orba
#pragma GCC visibility pop

#endif
