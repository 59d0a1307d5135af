// Rule lists: records separated by ';', fields by ','.
//
//   for (Record record : RuleList(setting("aclRules").text())) {
//     Field<32> address(record, 0);
//     if (address.missing()) continue;
//
// A list is walked once from left to right, so its cost grows with its length.
// An empty list holds no records; a separator at its end leaves an empty last
// one. Records and fields longer than their buffers are cut, as the programs
// that share these lists cut them.
#ifndef ORBA_CORE_RULE_LIST_H
#define ORBA_CORE_RULE_LIST_H

#include "core/text.h"

#pragma GCC visibility push(hidden)
namespace orba {

// A stretch of somebody else's text.
struct Slice {
  const char *begin;
  size_t length;

  bool empty() const { return length == 0; }
  bool is(const char *text) const {
    return strlen(text) == length && memcmp(begin, text, length) == 0;
  }
};

class Record {
 public:
  Record(Slice slice, int index, bool cut = false) : slice_(slice), index_(index), cut_(cut) {}

  int index() const { return index_; }
  Slice slice() const { return slice_; }
  bool empty() const { return slice_.empty(); }
  // Whether it was longer than its buffer and lost its end.
  bool cut() const { return cut_; }
  // The `position`-th (from 0) field; false past the last one.
  bool field(int position, Slice &out) const;
  // The same, behind what `out` holds.
  bool appendField(int position, TextBuffer &out) const;

 private:
  Slice slice_;
  int index_;
  bool cut_;
};

// One field of a record, cut to N - 1 characters. A missing one reads as "".
template <size_t N>
class Field : public Text<N> {
 public:
  Field(const Record &record, int position) : missing_(!record.appendField(position, *this)) {}

  bool missing() const { return missing_; }
  int number() const { return toNumber(this->text()); }

 private:
  bool missing_;
};

class RuleList {
 public:
  // Records are cut to `record_size` - 1 characters.
  explicit RuleList(const char *list, size_t record_size = 256, char separator = ';')
      : list_(list), record_size_(record_size), separator_(separator) {}

  class Iterator {
   public:
    Iterator(const RuleList &list, const char *at);
    Record operator*() const;
    Iterator &operator++();
    bool operator!=(const Iterator &other) const { return at_ != other.at_; }

   private:
    const RuleList &list_;
    const char *at_;  // null behind the last record
    size_t length_ = 0;
    int index_ = 0;
    void measure();
  };

  Iterator begin() const { return Iterator(*this, *list_ != '\0' ? list_ : nullptr); }
  Iterator end() const { return Iterator(*this, nullptr); }
  // The record at `index`, in `out`; false past the end.
  bool find(int index, Record &out) const;

 private:
  const char *list_;
  size_t record_size_;
  char separator_;
};

}  // namespace orba
#pragma GCC visibility pop

#endif
