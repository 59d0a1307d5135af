// One packet's way through a router, step by step.
#ifndef ORBA_PACKETS_WALK_H
#define ORBA_PACKETS_WALK_H

#include <optional>
#include <string>
#include <vector>

#include "packets/router.h"

namespace packets {

// Where a packet ends.
enum class Verdict {
  kForwarded,  // out of an interface
  kDelivered,  // to the router itself
  kDropped,
  kRejected,  // dropped, and the sender is told
  kNoRoute,   // no route leads there; the sender is told
  kMartian,   // its source or destination cannot be: dropped by routing
  kBridged,   // passed on between ports of a bridge, not routed
  kUnknown,   // a program decides that nobody here knows
};

// The first packet of a connection as it came and as it went on, for what follows it.
struct Connection {
  Packet original;
  Packet translated;  // addresses and ports after both translations
};

struct Step {
  enum Kind {
    kEnter,      // a chain is entered: `place`
    kRule,       // a rule is looked at: `rule`, `matched`
    kPolicy,     // a built-in chain's end
    kRoute,      // `route` is taken; `why` when there is none
    kBridge,     // what the bridge does with the frame: `why`
    kTranslate,  // by the connection, not by a rule
  };
  Kind kind;
  Place place = {};
  size_t rule = 0;  // its place in the chain, from 0
  bool matched = false;
  std::optional<Route> route = {};
  std::string why = {};  // which condition did not hold: "the protocol is udp"
  Packet after = {};     // the packet behind this step
};

struct Walk {
  std::vector<Step> steps;
  Verdict verdict = Verdict::kDropped;
  Packet end;                    // as it leaves or is delivered
  size_t decided_by = SIZE_MAX;  // which of `steps` gave the verdict
  std::vector<FieldId> asked;    // questions that it met, which `packet` answered
};

// The way of a packet that comes in from a wire: kBridgePort and kIn are the interface that it
// comes in through, and kIn becomes the bridge's where it is one's port. Without a connection a
// packet in state kNew is translated by the rules; any other has the addresses that it has. With
// one, it is its packet in the direction that its source says.
Walk walk(const Router &router, Packet packet, const Connection *connection = nullptr);
// The way of a packet that the router itself sends.
Walk walkFromRouter(const Router &router, Packet packet, const Connection *connection = nullptr);

// The packet with which the other side answers the first packet of a connection whose way this
// was; it comes in where that left.
Packet answerTo(const Router &router, const Packet &first, const Walk &way);

}  // namespace packets

#endif
