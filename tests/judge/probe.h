// Packets that are tried, and what came of them.
#ifndef ORBA_TESTS_JUDGE_PROBE_H
#define ORBA_TESTS_JUDGE_PROBE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "packets/network.h"
#include "packets/walk.h"

namespace judge {

inline constexpr uint64_t kProtocols[] = {
    packets::kTcp, packets::kUdp, packets::kIcmp, packets::kIgmp, 47, 50, 89};

// Of frames that are no IPv4, those that are tried: PPPoE's two and one for trials.
inline constexpr uint64_t kPppoeDiscovery = 0x8863, kTrial = 0x88b5;
inline constexpr uint64_t kEtherTypes[] = {kPppoeDiscovery, packets::kPppoeSession, kTrial};

// Where programs of the router listen, all with TCP.
inline constexpr uint64_t kListening[] = {22, 23, 80, 443, 2323, 7547, 8080, 8443};

struct Probe {
  enum Role : uint8_t {
    kFirst,     // of no connection before
    kRepeated,  // the first once more, before there is a reply
    kReply,     // the other side's to a first packet
    kSecond,    // one more in the first's direction, behind the reply
    kError,     // ICMP from the other side about the first
  };
  static constexpr uint32_t kNone = UINT32_MAX;

  packets::Packet packet;  // as it comes in; with no kBridgePort the router itself sends it
  Role role = kFirst;
  uint32_t first = kNone;        // the place of the connection's first packet among the probes
  packets::Packet about = {};    // of kError: the packet that it is about, as it left
  uint16_t echo = 0;             // the number in an ICMP echo
  bool first_of_sender = false;  // which is told of no route that often that it must hear of it
  std::string content;           // without blanks
};

// What was seen of a packet behind the router.
struct Arrival {
  bool forwarded = false, bridged = false, delivered = false;
  // What the router itself told the sender, and where.
  enum Told : uint8_t { kNothing, kReset, kOpened, kNoPort, kNoRoute };
  Told told = kNothing;
  uint64_t told_out = packets::kNoInterface;
  uint64_t out = packets::kNoInterface;  // where it came out; the bridge, for its ports
  uint64_t ports = 0;                    // of those interfaces a bit each
  uint64_t segment = 0;                  // that a SYN spoke of then
  uint32_t source = 0, destination = 0;
  uint16_t source_port = 0, destination_port = 0;
  uint32_t mark = 0;  // of what was delivered

  bool operator==(const Arrival &) const = default;
};

// A host's own.
inline uint64_t macOfHost(uint64_t address) {
  return 0x020100000000 | address;
}

// What the model says of a packet; of one that is not the first, with its connection.
packets::Walk wayOf(packets::Walker &walker, const Probe &probe,
                    const packets::Connection *connection);
// What follows that first packet belongs to this.
packets::Connection connectionOf(packets::Walker &walker, const Probe &first);

// Whether it is what was seen, where answers to questions that nobody can foresee may be any;
// `way` is the model's. Says why not.
enum class Agreement { kAgrees, kByAnAnswer, kDiffers };
Agreement judged(const packets::Router &router, packets::Walker &walker, const packets::Walk &way,
                 const Probe &probe, const packets::Connection *connection, const Arrival &arrival,
                 std::string &why);

// What the model makes of lines.
packets::Router routerOf(const packets::Network &network, const std::vector<std::string> &lines);

// Where the model and the tools do not refuse the same lines, in words. Forms that only one of
// them knows are told apart and counted.
struct Refusals {
  std::vector<std::string> differences;
  uint64_t both = 0;
  uint64_t reversed = 0;  // ports of UDP that only the device's iptables refuses; none match
  uint64_t content = 0;   // of pages, for which the present iptables has no match
};
Refusals compareRefusals(const packets::Router &router, const std::vector<std::string> &lines,
                         const std::map<size_t, std::string> &refused);

std::string text(const Arrival &arrival, const packets::Network &network);
std::string text(const Probe &probe, const packets::Network &network);

}  // namespace judge

#endif
