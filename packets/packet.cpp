#include "packets/packet.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstdio>

namespace packets {

uint64_t largestOf(FieldId field) {
  constexpr uint64_t kAddress = 0xffffffff, kMac = 0xffffffffffff, kSmall = 255, kHalf = 65535;
  switch (field) {
    case kState:
      return kRelated;
    case kTcpFlags:
      return kFin | kSyn | kReset | kPush | kAcknowledge | kUrgent;
    case kIn:
    case kBridgePort:
    case kOut:
    case kBridgePortOut:
    case kProtocol:
    case kIcmpType:
      return kSmall;
    case kEtherType:
    case kDestinationPort:
    case kSourcePort:
    case kLength:
    case kSegmentSize:
      return kHalf;
    case kDestination:
    case kSource:
    case kMark:
      return kAddress;
    case kSourceMac:
    case kDestinationMac:
      return kMac;
    default:
      return 1;  // a question
  }
}

Packet::Packet() {
  values_[kEtherType] = 0x0800;
  values_[kState] = kNew;
  values_[kLength] = 40;
  values_[kIn] = values_[kBridgePort] = values_[kOut] = values_[kBridgePortOut] = kNoInterface;
}

State stateOfFirst(const Packet &packet) {
  if (packet[kProtocol] == kTcp) {
    const uint64_t flags = packet[kTcpFlags] & ~uint64_t{kPush};
    switch (flags) {
      case kSyn:
      case kSyn | kUrgent:
      case kAcknowledge:  // one that began before the router did
      case kAcknowledge | kUrgent:
        return kNew;
      default:
        return kInvalid;
    }
  }
  if (packet[kProtocol] == kIcmp) {
    switch (packet[kIcmpType]) {
      case 8:   // echo,
      case 13:  // timestamp,
      case 15:  // information
      case 17:  // and address mask request
        return kNew;
      default:
        return kInvalid;
    }
  }
  return kNew;
}

std::string addressText(uint64_t address) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += (text.empty() ? "" : ".") + std::to_string(address >> shift & 255);
  }
  return text;
}

bool readAddress(const std::string &text, uint64_t &address) {
  in_addr read;
  if (inet_pton(AF_INET, text.c_str(), &read) != 1) return false;
  address = ntohl(read.s_addr);
  return true;
}

std::string macText(uint64_t mac) {
  char text[18];
  snprintf(text, sizeof(text), "%02X:%02X:%02X:%02X:%02X:%02X", int(mac >> 40 & 255),
           int(mac >> 32 & 255), int(mac >> 24 & 255), int(mac >> 16 & 255), int(mac >> 8 & 255),
           int(mac & 255));
  return text;
}

bool readMac(const std::string &text, uint64_t &mac) {
  mac = 0;
  int bytes = 0, digits = 0;
  unsigned int byte = 0;
  for (size_t i = 0; i <= text.size(); i++) {
    if (i == text.size() || text[i] == ':') {
      if (digits == 0) return false;
      mac = mac << 8 | byte;
      bytes++;
      digits = 0;
      byte = 0;
      continue;
    }
    const char digit = static_cast<char>(tolower(static_cast<unsigned char>(text[i])));
    if (!isxdigit(static_cast<unsigned char>(digit)) || ++digits > 2) return false;
    byte = byte * 16 + static_cast<unsigned int>(digit <= '9' ? digit - '0' : digit - 'a' + 10);
  }
  return bytes == 6;
}

std::string protocolText(uint64_t protocol) {
  switch (protocol) {
    case kIcmp:
      return "icmp";
    case kIgmp:
      return "igmp";
    case kTcp:
      return "tcp";
    case kUdp:
      return "udp";
    default:
      return std::to_string(protocol);
  }
}

}  // namespace packets
