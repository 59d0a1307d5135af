// The names of the policy rules' routing tables, "202 pf_office", in a file
// that iproute2 and other programs share.
#ifndef ORBA_NET_POLICY_TABLE_NAMES_H
#define ORBA_NET_POLICY_TABLE_NAMES_H

#include "core/rule_list.h"

#pragma GCC visibility push(hidden)
namespace orba {

constexpr char kTableNames[] = "/etc/iproute2/rt_tables";

// A name ends with its line, and counts up to 63 characters where it is looked for.
constexpr size_t kLongestTableName = 63;
size_t tableNameLength(const char *name);

// All leave every other line as it is, and the file its owner, group, mode and
// links; the whole old file stays when they return false.
bool addTableName(int number, const char *name);
// Removes every line that holds this number and name anywhere; false when there is no file.
bool removeTableName(int number, const char *name);
// Does the same for the tables from `first` on, all in one go, and names them
// anew. One without a name (`begin` null) is passed over.
bool renewTableNames(int first, const Slice *names, int count);

}  // namespace orba
#pragma GCC visibility pop

#endif
