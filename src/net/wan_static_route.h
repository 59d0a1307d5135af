// The records of StaticRoutingRules, whose routes name a WAN by its number.
#ifndef ORBA_NET_WAN_STATIC_ROUTE_H
#define ORBA_NET_WAN_STATIC_ROUTE_H

#include "core/record_fault.h"
#include "core/rule_list.h"

#pragma GCC visibility push(hidden)
namespace orba {

struct WanStaticRoute {
  static constexpr size_t kRecordSize = 128;

  explicit WanStaticRoute(const Record &record);

  Field<2> enabled;
  Field<64> name;  // kept for the web pages
  Field<32> destination;
  Field<32> netmask;
  Field<32> gateway;
  Field<5> side;  // "br0" or the number of a WAN
  RecordFault cut;

  // Why the route is not installed.
  RecordFault fault() const;
};

}  // namespace orba
#pragma GCC visibility pop

#endif
