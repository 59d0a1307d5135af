// Why a record of a rule list is passed over.
#ifndef ORBA_CORE_RECORD_FAULT_H
#define ORBA_CORE_RECORD_FAULT_H

namespace orba {

struct RecordFault {
  int field;  // -1: the record as a whole
  const char *reason;
};
constexpr RecordFault kNoFault = {-1, nullptr};
inline bool faulty(const RecordFault &f) {
  return f.reason != nullptr;
}

}  // namespace orba

#endif
