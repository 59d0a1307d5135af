// One packet's way through a router, step by step.
#ifndef ORBA_PACKETS_WALK_H
#define ORBA_PACKETS_WALK_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "packets/router.h"

namespace packets {

// Where a packet ends.
enum class Verdict {
  kForwarded,  // out of an interface
  kDelivered,  // to the router itself
  kDropped,    // by a rule or a policy
  kRejected,   // dropped, and the sender is told
  kNoRoute,    // no route leads there; the sender is told
  kMartian,    // its source or destination cannot be: dropped by routing
  kNobody,     // to a group that the router is not in, or in a frame to all stations and not
               // for the router: dropped by routing; or past the bridge and for another station;
               // or of a session whose frames the bridge has
  kBridged,    // passed on between ports of a bridge, not routed
  kUnknown,    // a program decides that nobody here knows, or the kernel chooses
};

// The first packet of a connection as it came and as it went on, for what follows it.
struct Connection {
  Packet original;
  Packet translated;  // addresses and ports after both translations
};

struct Step {
  enum Kind {
    kEnter,      // a chain is entered: `at.place`
    kRule,       // a rule is looked at: `at`, `matched`
    kPolicy,     // the end of a chain that is not gone back from
    kRoute,      // `route` is taken, nothing when there is none
    kBridge,     // the frame is for the router (`matched`), or it is not
    kTranslate,  // by the connection, not by a rule
  };
  Kind kind;
  RuleAt at = {};
  bool matched = false;
  std::optional<Route> route = {};
  Packet packet = {};  // as it is behind this step
};

struct Walk {
  Verdict verdict = Verdict::kDropped;
  Packet end;                           // as it leaves, is delivered or was dropped
  std::optional<RuleAt> decided_by;     // nothing where routing or the bridge decided
  std::optional<RuleAt> translated_by;  // the rule that gave it another destination
  std::vector<Step> steps;              // when they were asked for
  std::vector<FieldId> asked;           // the questions that it met; the packet answered them
};

enum class Detail { kVerdict, kSteps };

// The way of a packet that comes in from the wire of the interface kBridgePort, which may be a
// port of a bridge.
//
// - At a port, by the destination MAC: the bridge's, the port's or one of a group is for the
//   router, any other is bridged (kBridgePortOut is for the caller to say, the bridge's table of
//   addresses is not modelled). broute's DROP hands it to the router past the bridge, where only
//   the port's or one of a group is for the router. iptables sees nothing of what is bridged.
// - A session's packets do not come in where the interface below it is a port of a bridge, unless
//   broute drops its frames.
// - What is not IPv4 and for the router is delivered.
// - A packet in state kNew goes through nat PREROUTING. Any other has the addresses that it has;
//   with a connection, it is that connection's packet in the direction that its source says.
// - Routing: from a group, 255.255.255.255 or, when it has a route, an address of the router it
//   is a martian (where there are rules for routing, from any address that is no host's too), from
//   0.0.0.0 as well unless it is for everybody or a group; to 0.0.0.0, from or to 127.0.0.0/8 too,
//   unless it is for everybody. A group is nobody's here but 224.0.0.1. What is for the router or a
//   whole network goes to INPUT. What came in a frame to a group of stations is not sent on.
// - filter INPUT or FORWARD, and for what leaves nat POSTROUTING in state kNew. The hosts behind
//   a bridge are not behind a port that rules of the bridge keep them from.
//
// Fragments are joined before the rules see them; the time to live is not looked at.
Walk walk(const Router &router, const Packet &packet, const Connection *connection = nullptr,
          Detail detail = Detail::kSteps);
// The way of a packet that the router itself sends.
Walk walkFromRouter(const Router &router, const Packet &packet,
                    const Connection *connection = nullptr, Detail detail = Detail::kSteps);

// Walks many packets through one router, which must outlive it and stay as it is. What all of
// them need of chains and routes is worked out once, and most take no memory from the heap.
class Walker {
 public:
  explicit Walker(const Router &router);
  ~Walker();

  Walk walk(const Packet &packet, const Connection *connection = nullptr,
            Detail detail = Detail::kSteps);
  Walk walkFromRouter(const Packet &packet, const Connection *connection = nullptr,
                      Detail detail = Detail::kSteps);

  // Whether what the router sends into a bridge leaves it by a port.
  bool leavesBridge(const Packet &packet, uint64_t port);

  struct Known;

 private:
  std::unique_ptr<Known> known_;
};

// The packet with which the other side answers a first packet that was forwarded, as it comes
// in where that left; or the router one that it was delivered.
Packet answerTo(const Router &router, const Packet &first, const Walk &way);

// What the router tells the sender of a packet whose way that was, as it sets out (to be walked
// from the router, but for kNoRoute as a packet of the connection).
enum class Message {
  kRefused,  // by a REJECT: a TCP reset, of others that the port cannot be reached
  kNoRoute,  // that no route leads there
  kOpened,   // TCP's SYN and ACK of a program that listens
  kClosed,   // TCP's reset where none does
  kNobody,   // that nobody listens at a port of UDP
};
Packet messageTo(const Router &router, const Walk &way, Message message);

}  // namespace packets

#endif
