#ifndef ORBA_FIREWALL_ACCESS_LIST_H
#define ORBA_FIREWALL_ACCESS_LIST_H

#include "core/rule_list.h"

#pragma GCC visibility push(hidden)
namespace orba {

// Where management is trusted from: one address or a range "a-b" a record, of
// at most 127 characters. No record is passed over: iptables refuses what is
// neither, and the others still apply.
inline RuleList trustedSources(const char *acl_rules) {
  return RuleList(acl_rules, 128);
}

inline bool isRange(const Record &source) {
  return memchr(source.slice().begin, '-', source.slice().length) != nullptr;
}

}  // namespace orba
#pragma GCC visibility pop

#endif
