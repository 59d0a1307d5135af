// The names of the policy rules' routing tables, "202 pf_office", in a file
// that iproute2 and other programs share.
#ifndef ORBA_NET_POLICY_TABLE_NAMES_H
#define ORBA_NET_POLICY_TABLE_NAMES_H

namespace orba {

constexpr char kTableNames[] = "/etc/iproute2/rt_tables";

// Both leave every other line as it is, and the whole old file in place when
// they return false.
bool addTableName(int number, const char *name);
// Removes every line that holds this number and name anywhere; false when there
// is no file.
bool removeTableName(int number, const char *name);

}  // namespace orba

#endif
