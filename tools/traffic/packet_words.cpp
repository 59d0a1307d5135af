#include "tools/traffic/packet_words.h"

#include <cctype>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace orba::tool {

namespace {

using packets::Interval;
using packets::IntervalSet;
using packets::Packet;

// A network where it is one, else its first and last address.
std::string networkText(const Interval &each) {
  const uint64_t size = each.last - each.first + 1;
  if (size == 1) return packets::addressText(each.first);
  const bool network = (size & (size - 1)) == 0 && each.first % size == 0;
  if (network) {
    return packets::addressText(each.first) + "/" + std::to_string(32 - __builtin_ctzll(size));
  }
  return packets::addressText(each.first) + "-" + packets::addressText(each.last);
}

std::string portRange(const Interval &each) {
  if (each.first == each.last) return std::to_string(each.first);
  return std::to_string(each.first) + "-" + std::to_string(each.last);
}

std::string listed(const IntervalSet &set, std::string (*one)(const Interval &)) {
  std::string text;
  for (const Interval &each : set.intervals()) text += (text.empty() ? "" : ", ") + one(each);
  return text;
}

const struct {
  const char *name;
  uint64_t number;
} kProtocols[] = {{"icmp", 1}, {"igmp", 2}, {"ipip", 4}, {"tcp", 6},   {"udp", 17},  {"ipv6", 41},
                  {"gre", 47}, {"esp", 50}, {"ah", 51},  {"ospf", 89}, {"sctp", 132}};

// In the order of their bits.
const char *const kFlags[] = {"FIN", "SYN", "RST", "PSH", "ACK", "URG"};

}  // namespace

std::string addressesText(const IntervalSet &addresses) {
  if (addresses == IntervalSet::range(0, 0xffffffff)) return "anywhere";
  return listed(addresses, networkText);
}

std::string portsText(const IntervalSet &ports) {
  if (ports == IntervalSet::range(0, 65535)) return "any port";
  return listed(ports, portRange);
}

bool hasPorts(const Packet &packet) {
  return packet[packets::kProtocol] == packets::kTcp || packet[packets::kProtocol] == packets::kUdp;
}

std::string protocolName(uint64_t protocol) {
  for (const auto &each : kProtocols) {
    if (each.number == protocol) return each.name;
  }
  return std::to_string(protocol);
}

std::optional<uint64_t> protocolNamed(const std::string &name) {
  for (const auto &each : kProtocols) {
    if (each.name == name) return each.number;
  }
  const bool digits = name.find_first_not_of("0123456789") == std::string::npos;
  if (name.empty() || name.size() > 3 || !digits || std::stoi(name) > 255) return std::nullopt;
  return std::stoull(name);
}

std::string flagsText(uint64_t flags) {
  std::string text;
  for (size_t i = 0; i < std::size(kFlags); i++) {
    if ((flags >> i & 1) != 0) text += (text.empty() ? "" : ",") + std::string(kFlags[i]);
  }
  return text.empty() ? "no flags" : text;
}

std::optional<uint64_t> flagNamed(const std::string &name) {
  for (size_t i = 0; i < std::size(kFlags); i++) {
    if (kFlags[i] == name) return uint64_t{1} << i;
  }
  return std::nullopt;
}

std::string endText(const Packet &packet, packets::Field address, packets::Field port) {
  return packets::addressText(packet[address]) +
         (hasPorts(packet) ? ":" + std::to_string(packet[port]) : "");
}

std::string packetText(const Packet &packet) {
  if (packet[packets::kEtherType] != packets::kIpv4) {
    char text[40];
    snprintf(text, sizeof(text), "a frame of type 0x%04x", int(packet[packets::kEtherType]));
    return text;
  }
  std::string text = protocolName(packet[packets::kProtocol]) + " from " +
                     endText(packet, packets::kSource, packets::kSourcePort) + " to " +
                     endText(packet, packets::kDestination, packets::kDestinationPort);
  if (packet[packets::kProtocol] == packets::kTcp) {
    text += " (" + flagsText(packet[packets::kTcpFlags]) + ")";
  } else if (packet[packets::kProtocol] == packets::kIcmp) {
    text += " (type " + std::to_string(packet[packets::kIcmpType]) + ")";
  }
  return text;
}

std::string sentText(const packets::Packet &packet, uint64_t ordinary) {
  constexpr uint64_t kBare = 40, kPing = 84;
  const uint64_t mac = packet[packets::kSourceMac], length = packet[packets::kLength];
  std::string text = packetText(packet);
  if (mac != 0 && mac != ordinary) text += " with mac " + packets::macText(mac);
  if (packet[packets::kEtherType] != packets::kIpv4) return text;
  if (length != (packet[packets::kProtocol] == packets::kIcmp ? kPing : kBare)) {
    text += " of " + std::to_string(length) + " bytes";
  }
  if (packet[packets::kState] != stateOfFirst(packet)) {
    text += std::string(", ") + stateName(static_cast<packets::State>(packet[packets::kState]));
  }
  return text;
}

nlohmann::ordered_json packetAsJson(const Packet &packet, const packets::Network &network) {
  nlohmann::ordered_json made;
  auto interface = [&](packets::Field field) {
    const uint64_t number = packet[field];
    return number < network.interfaces.size() ? network.interfaces[number].name : "";
  };
  made["in"] = interface(packets::kIn);
  made["out"] = interface(packets::kOut);
  made["state"] = stateName(static_cast<packets::State>(packet[packets::kState]));
  made["protocol"] = protocolName(packet[packets::kProtocol]);
  made["source"] = packets::addressText(packet[packets::kSource]);
  made["destination"] = packets::addressText(packet[packets::kDestination]);
  if (hasPorts(packet)) {
    made["source_port"] = packet[packets::kSourcePort];
    made["destination_port"] = packet[packets::kDestinationPort];
  }
  if (packet[packets::kProtocol] == packets::kTcp) {
    made["flags"] = flagsText(packet[packets::kTcpFlags]);
  }
  if (packet[packets::kProtocol] == packets::kIcmp) {
    made["icmp_type"] = packet[packets::kIcmpType];
  }
  made["length"] = packet[packets::kLength];
  made["source_mac"] = packets::macText(packet[packets::kSourceMac]);
  made["mark"] = packet[packets::kMark];
  return made;
}

const char *stateName(packets::State state) {
  switch (state) {
    case packets::kInvalid:
      return "invalid";
    case packets::kNew:
      return "new";
    case packets::kEstablished:
      return "established";
    case packets::kRelated:
      break;
  }
  return "related";
}

const char *verdictName(packets::Verdict verdict) {
  using packets::Verdict;
  switch (verdict) {
    case Verdict::kForwarded:
      return "forwarded";
    case Verdict::kDelivered:
      return "delivered to the router";
    case Verdict::kDropped:
      return "dropped";
    case Verdict::kRejected:
      return "rejected";
    case Verdict::kNoRoute:
      return "without a route";
    case Verdict::kMartian:
      return "refused by routing: no host has such an address";
    case Verdict::kNobody:
      return "for nobody here";
    case Verdict::kBridged:
      return "bridged";
    case Verdict::kUnknown:
      break;
  }
  return "unknown";
}

std::string placeText(const packets::Place &place) {
  return std::string(place.program == packets::Place::kIptables ? "iptables " : "ebtables ") +
         place.table + " " + place.chain;
}

}  // namespace orba::tool
