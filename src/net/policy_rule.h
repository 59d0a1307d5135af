// The records of PolicyRoutingRules: which traffic goes out through which side.
#ifndef ORBA_NET_POLICY_RULE_H
#define ORBA_NET_POLICY_RULE_H

#include <cstdint>

#include "core/record_fault.h"
#include "core/rule_list.h"

#pragma GCC visibility push(hidden)
namespace orba {

struct PolicyRule {
  static constexpr size_t kRecordSize = 128;
  static constexpr int kName = 7;

  explicit PolicyRule(const Record &record);

  Field<32> netmask;
  Field<32> address;
  Field<8> port;
  Field<32> mac;
  Field<8> protocol;
  Field<64> side;
  Field<64> ifname;  // what the rule was installed with
  Field<64> name;
  RecordFault cut;

  // Why the rule is passed over.
  RecordFault fault() const;
};

// What the rule at position `n` (from 1) is known by in the kernel. The mark is
// the top three bits alone, so the rules from the 7th on share those of others
// and do not route as they should.
constexpr int kRulesWithOwnMark = 6;

constexpr uint32_t markOfPolicy(int n) {
  return (static_cast<uint32_t>(n) + 1) << 29;
}

// The number of its routing table, and the priority of the rule that leads there.
constexpr int tableOfPolicy(int n) {
  return 201 + n;
}

}  // namespace orba
#pragma GCC visibility pop

#endif
