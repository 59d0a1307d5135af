#include "packets/values.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "packets/packet.h"

namespace packets {

namespace {

constexpr uint64_t kAddresses = 0xffffffff;
constexpr size_t kMostPieces = 4096;

}  // namespace

Refused readNumber(const std::string &text, uint64_t largest, uint64_t &number) {
  // The tools' own reading passes over blanks and a plus in front.
  size_t first = 0;
  while (first < text.size() && isspace(static_cast<unsigned char>(text[first]))) first++;
  if (first < text.size() && text[first] == '+') first++;
  if (first == text.size() || !isdigit(static_cast<unsigned char>(text[first]))) {
    return "'" + text + "' is no number";
  }
  char *end;
  number = strtoull(text.c_str(), &end, 0);
  if (*end != '\0') return "'" + text + "' is no number";
  if (number > largest) return text + " is above " + std::to_string(largest);
  return std::nullopt;
}

Refused readRange(const std::string &text, uint64_t largest, IntervalSet &values) {
  const size_t colon = text.find(':');
  uint64_t first = 0, last = largest;
  const std::string one = text.substr(0, colon);
  if (colon == std::string::npos || !one.empty()) {
    if (Refused why = readNumber(one, largest, first)) return why;
  }
  if (colon == std::string::npos) {
    last = first;
  } else if (colon + 1 < text.size()) {
    if (Refused why = readNumber(text.substr(colon + 1), largest, last)) return why;
  }
  if (first > last) return text + ": the first is above the last";
  values = IntervalSet::range(first, last);
  return std::nullopt;
}

namespace {

// The four bytes of an address; of one with fewer the rest are 0, of a mask none may be left out.
bool readBytes(const std::string &text, bool whole, uint64_t &address) {
  std::istringstream bytes(text);
  int count = 0;
  address = 0;
  for (std::string byte; std::getline(bytes, byte, '.'); count++) {
    uint64_t number;
    if (count == 4 || readNumber(byte, 255, number)) return false;
    address |= number << (24 - 8 * count);
  }
  return (count == 4 || (!whole && count > 0)) && text.back() != '.';
}

Refused readMask(const std::string &text, uint64_t &mask) {
  if (readBytes(text, true, mask)) return std::nullopt;
  uint64_t prefix;
  if (readNumber(text, 32, prefix)) return "'" + text + "' is no netmask";
  mask = prefix == 0 ? 0 : kAddresses << (32 - prefix) & kAddresses;
  return std::nullopt;
}

}  // namespace

Refused readHost(const std::string &text, uint64_t &address) {
  if (readBytes(text, false, address)) return std::nullopt;
  in_addr other;
  if (inet_aton(text.c_str(), &other) == 0 || text.find(' ') != std::string::npos) {
    return "'" + text + "' is no address";
  }
  address = ntohl(other.s_addr);
  return std::nullopt;
}

Refused readAddresses(const std::string &text, IntervalSet &values, bool &pieces) {
  values = {};
  pieces = false;
  if (text.empty() || text.back() == ',') return "an address is missing";
  std::istringstream parts(text);
  for (std::string part; std::getline(parts, part, ',');) {
    const size_t slash = part.rfind('/');
    uint64_t mask = kAddresses, address = 0;
    if (slash != std::string::npos) {
      if (Refused why = readMask(part.substr(slash + 1), mask)) return why;
    }
    if (mask != 0) {  // else whatever the address is
      if (Refused why = readHost(part.substr(0, slash), address)) return why;
    }
    IntervalSet some;
    if (!maskedValues(address, mask, 32, kMostPieces, some)) pieces = true;
    for (const Interval &each : some.intervals()) values.add(each);
  }
  return std::nullopt;
}

Refused readAddressRange(const std::string &text, IntervalSet &values) {
  const size_t dash = text.find('-');
  uint64_t first, last;
  if (!readBytes(text.substr(0, dash), false, first)) return "'" + text + "' is no range";
  last = first;
  if (dash != std::string::npos && !readBytes(text.substr(dash + 1), false, last)) {
    return "'" + text + "' is no range";
  }
  // Of a reversed range the kernel finds nothing.
  values = IntervalSet::range(first, last);
  return std::nullopt;
}

Refused readMacRange(const std::string &text, IntervalSet &values) {
  const size_t dash = text.find('-');
  uint64_t first, last;
  if (dash == std::string::npos || !readMac(text.substr(0, dash), first) ||
      !readMac(text.substr(dash + 1), last)) {
    return "'" + text + "' is no range of MAC addresses";
  }
  values = IntervalSet::range(first, last);
  return std::nullopt;
}

Refused readProtocol(const std::string &text, uint64_t &protocol, bool &all) {
  std::string lower;
  for (char c : text) lower += static_cast<char>(tolower(static_cast<unsigned char>(c)));
  all = lower == "all" || lower == "0";
  protocol = 0;
  if (all) return std::nullopt;
  for (uint64_t known : {kIcmp, kIgmp, kTcp, kUdp}) {
    if (lower == protocolText(known)) {
      protocol = known;
      return std::nullopt;
    }
  }
  // Of the others the tools know these without a file.
  static const std::pair<const char *, uint64_t> kNames[] = {
      {"esp", 50}, {"ah", 51}, {"sctp", 132}, {"udplite", 136}};
  for (const auto &[name, number] : kNames) {
    if (lower != name) continue;
    protocol = number;
    return std::nullopt;
  }
  if (readNumber(text, 255, protocol)) return "'" + text + "' is no protocol";
  return std::nullopt;
}

IntervalSet interfacesNamed(const std::string &pattern, const Network &network) {
  if (pattern.empty() || pattern == "+") return IntervalSet::range(0, largestOf(kIn));
  const bool prefix = pattern.back() == '+';
  const std::string name = prefix ? pattern.substr(0, pattern.size() - 1) : pattern;
  IntervalSet numbers;
  for (uint64_t i = 0; i < network.interfaces.size(); i++) {
    const std::string &each = network.interfaces[i].name;
    if (prefix ? each.compare(0, name.size(), name) == 0 : each == name) numbers.add({i, i});
  }
  return numbers;
}

}  // namespace packets
