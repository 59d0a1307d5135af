// How the lists of forwarded ports are read.
//
// Three readers share PortForwardRules and take its records apart differently:
// each belongs to another layout that the list's writers have stored in it.
// A record that a reader passes over has a fault that says why.
#ifndef ORBA_FIREWALL_PORT_FORWARD_LIST_H
#define ORBA_FIREWALL_PORT_FORWARD_LIST_H

#include "core/record_fault.h"
#include "core/rule_list.h"

#pragma GCC visibility push(hidden)
namespace orba {

// The protocols of a record: bits, and the codes that stand in the lists.
constexpr int kTcp = 1;
constexpr int kUdp = 2;
constexpr int kTcpAndUdp = kTcp | kUdp;

// First port, last port (0: only the first) and protocol, in this order from
// field `at` on.
struct PortFields {
  PortFields(const Record &record, int from)
      : at(from), first(record, from), last(record, from + 1), protocol(record, from + 2) {}

  int at;
  Field<8> first;
  Field<8> last;
  Field<8> protocol;

  RecordFault fault() const;
  RecordFault protocolFault(const char *reason) const { return {at + 2, reason}; }
};

// PortForwardRules as the NAT rules are built from it: "192.168.1.10,80,0,TCP".
struct PortForward {
  // A protocol that is none of "TCP", "UDP" and "TCP&UDP" repeats the one of
  // the rule before (0: there was none), which callers hand on.
  PortForward(const Record &record, int protocols_before);

  static constexpr int kAddress = 0;

  Field<32> lan_address;
  PortFields ports;
  int protocols;

  RecordFault fault() const;
};

// PortForwardRules as the super DMZ is told of it: ports from the second field on,
// the protocol a code.
struct SuperDmzForward {
  explicit SuperDmzForward(const Record &record) : ports(record, 1) {}

  PortFields ports;

  int protocols() const { return ports.protocol.number(); }
  RecordFault fault() const;
};

// SinglePortForwardRules, which only the super DMZ is told of.
struct SuperDmzSinglePort {
  explicit SuperDmzSinglePort(const Record &record) : port(record, 1), protocol(record, 3) {}

  Field<8> port;
  Field<8> protocol;

  int protocols() const { return protocol.number(); }
  RecordFault fault() const;
};

// PortForwardRules as the notes of redirected services read it: ports from
// the fourth field on, the protocol a code. A record for UDP alone redirects no service,
// SNMP neither.
struct RedirectingForward {
  explicit RedirectingForward(const Record &record) : ports(record, 3) {}

  PortFields ports;

  bool covers(int port) const;
  RecordFault fault() const;
};

}  // namespace orba
#pragma GCC visibility pop

#endif
