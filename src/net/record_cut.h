// What of a route record does not fit the buffers that it is read into.
#ifndef ORBA_NET_RECORD_CUT_H
#define ORBA_NET_RECORD_CUT_H

#include "core/record_fault.h"
#include "core/rule_list.h"

namespace orba {

// The record as a whole when it lost its end, otherwise the first of its fields
// (all of them, in order) that did. A cut record is used all the same.
template <size_t N>
RecordFault cutOf(const Record &record, const TextBuffer *const (&fields)[N]) {
  const char *reason = "is too long and loses its end";
  Slice slice = record.slice();
  char next = slice.begin[slice.length];
  if (next != ';' && next != '\0') return {-1, reason};
  for (size_t i = 0; i < N; i++) {
    if (!fields[i]->fits()) return {static_cast<int>(i), reason};
  }
  return kNoFault;
}

}  // namespace orba

#endif
