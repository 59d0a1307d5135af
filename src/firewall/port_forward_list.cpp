#include "firewall/port_forward_list.h"

#include <arpa/inet.h>

namespace orba {

namespace {

constexpr int kHighestPort = 65535;

RecordFault firstPortFault(const Field<8> &port, int field) {
  if (port.missing()) return {field, "is missing"};
  if (port.number() == 0 || port.number() > kHighestPort) return {field, "is 0 or above 65535"};
  return kNoFault;
}

RecordFault lastPortFault(const Field<8> &port, int field) {
  if (port.missing()) return {field, "is missing"};
  if (port.number() > kHighestPort) return {field, "is above 65535"};
  return kNoFault;
}

bool isAddress(const TextBuffer &text) {
  struct in_addr ignored;
  return text.is("any") || text.is("any/0") || inet_aton(text.text(), &ignored) != 0;
}

bool isProtocolCode(int code) {
  return code >= kTcp && code <= kTcpAndUdp;
}

int protocolsNamed(const char *name, int otherwise) {
  if (same(name, "TCP")) return kTcp;
  if (same(name, "UDP")) return kUdp;
  if (same(name, "TCP&UDP")) return kTcpAndUdp;
  return otherwise;
}

}  // namespace

RecordFault PortFields::fault() const {
  RecordFault fault = firstPortFault(first, at);
  if (!faulty(fault)) fault = lastPortFault(last, at + 1);
  if (!faulty(fault) && protocol.missing()) fault = protocolFault("is missing");
  return fault;
}

PortForward::PortForward(const Record &record, int protocols_before)
    : lan_address(record, kAddress),
      ports(record, 1),
      protocols(protocolsNamed(ports.protocol.text(), protocols_before)) {}

RecordFault PortForward::fault() const {
  if (lan_address.missing()) return {kAddress, "is missing"};
  if (!isAddress(lan_address)) return {kAddress, "is not an IPv4 address"};
  RecordFault fault = ports.fault();
  if (!faulty(fault) && protocols == 0) {
    fault = ports.protocolFault("names no protocol, and no rule before does");
  }
  return fault;
}

RecordFault SuperDmzForward::fault() const {
  RecordFault fault = ports.fault();
  if (!faulty(fault) && !isProtocolCode(protocols())) {
    fault = ports.protocolFault("is not a protocol code from 1 to 3");
  }
  return fault;
}

RecordFault SuperDmzSinglePort::fault() const {
  RecordFault fault = firstPortFault(port, 1);
  if (!faulty(fault) && !isProtocolCode(protocols())) {
    fault = {3, "is not a protocol code from 1 to 3"};
  }
  return fault;
}

bool RedirectingForward::covers(int port) const {
  int first = ports.first.number();
  return port == first || (first < port && port <= ports.last.number());
}

RecordFault RedirectingForward::fault() const {
  RecordFault fault = ports.fault();
  int code = ports.protocol.number();
  if (!faulty(fault) && code != kTcp && code != kTcpAndUdp) {
    fault = ports.protocolFault("is neither 1 nor 3");
  }
  return fault;
}

}  // namespace orba
