#include "core/rule_list.h"

namespace orba {

bool Record::field(int position, Slice &out) const {
  const char *at = slice_.begin;
  const char *end = at + slice_.length;
  if (at == end || position < 0) return false;
  for (;; position--) {
    const void *comma = memchr(at, ',', static_cast<size_t>(end - at));
    const char *stop = comma != nullptr ? static_cast<const char *>(comma) : end;
    if (position == 0) {
      out = {at, static_cast<size_t>(stop - at)};
      return true;
    }
    if (stop == end) return false;
    at = stop + 1;
  }
}

bool Record::appendField(int position, TextBuffer &out) const {
  Slice slice;
  if (!field(position, slice)) return false;
  out.append(slice.begin, slice.length);
  return true;
}

RuleList::Iterator::Iterator(const RuleList &list, const char *at) : list_(list), at_(at) {
  measure();
}

void RuleList::Iterator::measure() {
  if (at_ != nullptr) length_ = static_cast<size_t>(strchrnul(at_, list_.separator_) - at_);
}

Record RuleList::Iterator::operator*() const {
  size_t longest = list_.record_size_ - 1;
  bool cut = length_ > longest;
  return Record({at_, cut ? longest : length_}, index_, cut);
}

RuleList::Iterator &RuleList::Iterator::operator++() {
  if (at_ == nullptr) return *this;
  const char *stop = at_ + length_;
  at_ = *stop != '\0' ? stop + 1 : nullptr;
  index_++;
  measure();
  return *this;
}

bool RuleList::find(int index, Record &out) const {
  for (Record record : *this) {
    if (record.index() == index) {
      out = record;
      return true;
    }
  }
  return false;
}

}  // namespace orba
