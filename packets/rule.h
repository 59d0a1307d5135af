// A rule of the packet filter as data: what it matches and what becomes of that.
#ifndef ORBA_PACKETS_RULE_H
#define ORBA_PACKETS_RULE_H

#include <optional>
#include <string>
#include <vector>

#include "packets/interval_set.h"
#include "packets/packet.h"

namespace packets {

// A field has one of these values. Of a packet that a rule matches all conditions hold.
struct Condition {
  FieldId field;
  IntervalSet values;

  bool operator==(const Condition &) const = default;
};
using Conditions = std::vector<Condition>;

struct Target {
  enum Kind {
    kGoOn,    // none, LOG, TCPMSS, or a program's chain that only looks: the next rule
    kAccept,  //
    kDrop,    // in the bridge's broute table: it is routed, not bridged
    kReject,  // dropped, and the sender is told
    kReturn,
    kJump,
    kDnat,        // to `address`, the port stays; `port` where one is given
    kMasquerade,  // its source becomes the address of the interface that it leaves by
    kMark,        // `mark` is or-ed to its mark, and the next rule
    kUnknown,     // whatever a program that nobody here knows, or the kernel's choice, does with it
  };
  Kind kind = kGoOn;
  std::string chain;      // of kJump
  IntervalSet addresses;  // of kDnat: more than one where the kernel chooses among them
  IntervalSet ports;      // of kDnat, empty where they stay
  uint32_t mark = 0;
  // Of TCPMSS: the largest segment that a SYN may speak of, kPathSegment for what fits the
  // interfaces there and back.
  uint32_t segment = kNoSegment;
  static constexpr uint32_t kNoSegment = UINT32_MAX, kPathSegment = UINT32_MAX - 1;

  bool operator==(const Target &) const = default;
};

struct Rule {
  Conditions conditions;
  Target target;
  std::string text;    // as it was given, behind the chain's name
  size_t command = 0;  // which of the commands that were run made it, from 0
};

// Whether all conditions hold.
bool matches(const Rule &rule, const Packet &packet);

}  // namespace packets

#endif
