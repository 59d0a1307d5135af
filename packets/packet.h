// A packet as the rules see it: one number a field.
#ifndef ORBA_PACKETS_PACKET_H
#define ORBA_PACKETS_PACKET_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace packets {

// The fields that rules look at. Behind kFields come the router's own: one for each question
// that no model can answer, such as whether a limit is reached (Router::unknowns), which is 1
// where the answer is yes.
enum Field : uint16_t {
  kIn,               // the interface that IP sees: its place in Network::interfaces
  kBridgePort,       // the port of a bridge that it came in through; where there is none, kIn
  kEtherType,        // 0x0800 for IPv4
  kState,            // State
  kProtocol,         // 1 ICMP, 2 IGMP, 6 TCP, 17 UDP
  kTcpFlags,         // TcpFlag, 0 for other protocols
  kIcmpType,         // 0 for other protocols
  kDestination,      // address, the first byte the highest
  kDestinationPort,  // of TCP and UDP, 0 for other protocols
  kSource,           //
  kSourcePort,       //
  kLength,           // of the IP packet in bytes, the header included
  kSegmentSize,      // the option of TCP's SYN; 0 without one
  kSourceMac,        // of the frame that it came in with, the first byte the highest
  kDestinationMac,   //
  kMark,             // what the bridge has marked it with
  kOut,              // the interface that it leaves by, in Network::interfaces; kNoInterface
  kBridgePortOut,    // the port of the bridge that it leaves by
  kFields
};
using FieldId = uint16_t;  // a Field, or one behind kFields

inline constexpr uint64_t kNoInterface = 255;
inline constexpr uint64_t kIpv4 = 0x0800, kPppoeSession = 0x8864;  // as kEtherType

inline constexpr uint64_t kGroupBit = uint64_t{1} << 40;  // of the MAC address of a group

// The largest value of a field.
uint64_t largestOf(FieldId field);

enum State : uint8_t { kInvalid, kNew, kEstablished, kRelated };

enum TcpFlag : uint8_t {
  kFin = 1,
  kSyn = 2,
  kReset = 4,
  kPush = 8,
  kAcknowledge = 16,
  kUrgent = 32
};

enum Protocol : uint8_t { kIcmp = 1, kIgmp = 2, kTcp = 6, kUdp = 17 };

class Packet {
 public:
  Packet();  // IPv4, the first of a connection, 40 bytes long

  uint64_t &operator[](FieldId field) {
    if (field < kFields) return values_[field];
    const size_t question = field - kFields;
    if (question >= answers_.size()) answers_.resize(question + 1);
    return answers_[question];
  }
  uint64_t operator[](FieldId field) const {
    if (field < kFields) return values_[field];
    const size_t question = field - kFields;
    return question < answers_.size() ? answers_[question] : 0;
  }

  bool operator==(const Packet &) const = default;

 private:
  std::array<uint64_t, kFields> values_ = {};
  std::vector<uint64_t> answers_;  // to the questions; most packets have none, and so no heap
};

// What connection tracking makes of a packet that belongs to no connection it knows: kNew, or
// kInvalid for flags that begin none and for ICMP that is neither a request nor about a known
// connection.
State stateOfFirst(const Packet &packet);

std::string addressText(uint64_t address);                     // "192.168.1.1"
bool readAddress(const std::string &text, uint64_t &address);  // of that form only
std::string macText(uint64_t mac);                             // "00:0C:43:28:60:2A"
bool readMac(const std::string &text, uint64_t &mac);          // of one or two digits a byte
std::string protocolText(uint64_t protocol);                   // "tcp", "47"

}  // namespace packets

#endif
