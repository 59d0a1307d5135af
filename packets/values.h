// The values of the tools' options as sets of numbers. Each says why when the tool would refuse
// the text.
#ifndef ORBA_PACKETS_VALUES_H
#define ORBA_PACKETS_VALUES_H

#include <string>

#include "packets/interval_set.h"
#include "packets/network.h"

namespace packets {

// A number of C's notation up to `largest`, with blanks and a plus in front of it if need be.
Refused readNumber(const std::string &text, uint64_t largest, uint64_t &number);
// "A" or "A:B"; an end that is left out is the lowest or largest.
Refused readRange(const std::string &text, uint64_t largest, IntervalSet &values);
// One address as iptables reads it: bytes that are left out are 0 ("10.1" is 10.1.0.0), and what
// is no such text may still be one of the C library's ("0xC0A80101"). A name is no address.
Refused readHost(const std::string &text, uint64_t &address);
// "ADDRESS[/MASK]", more than one with "," between them. "any/0" is all. Sets `pieces` where
// the mask's zeros leave more intervals than a set should have.
Refused readAddresses(const std::string &text, IntervalSet &values, bool &pieces);
// "A-B"
Refused readAddressRange(const std::string &text, IntervalSet &values);
Refused readMacRange(const std::string &text, IntervalSet &values);
// "tcp", "2", "all", which is the empty text of `all`.
Refused readProtocol(const std::string &text, uint64_t &protocol, bool &all);
// "eth2.2", or "br+" for every name that begins so; the empty text is all.
IntervalSet interfacesNamed(const std::string &pattern, const Network &network);

}  // namespace packets

#endif
