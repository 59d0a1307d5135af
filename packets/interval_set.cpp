#include "packets/interval_set.h"

#include <algorithm>

namespace packets {

IntervalSet IntervalSet::range(uint64_t first, uint64_t last) {
  IntervalSet set;
  if (first <= last) set.intervals_.push_back({first, last});
  return set;
}

void IntervalSet::add(Interval interval) {
  if (interval.first > interval.last) return;
  // The first that reaches up to the one before `interval`.
  auto begin = std::lower_bound(
      intervals_.begin(), intervals_.end(), interval.first,
      [](const Interval &each, uint64_t first) { return first != 0 && each.last < first - 1; });
  auto end = begin;
  while (end != intervals_.end() &&
         (end->first <= interval.last || end->first == interval.last + 1)) {
    interval.first = std::min(interval.first, end->first);
    interval.last = std::max(interval.last, end->last);
    ++end;
  }
  intervals_.insert(intervals_.erase(begin, end), interval);
}

void IntervalSet::add(const IntervalSet &other) {
  for (const Interval &each : other.intervals_) add(each);
}

uint64_t IntervalSet::size() const {
  uint64_t size = 0;
  for (const Interval &each : intervals_) size += each.last - each.first + 1;
  return size;
}

bool IntervalSet::contains(uint64_t value) const {
  auto found =
      std::lower_bound(intervals_.begin(), intervals_.end(), value,
                       [](const Interval &each, uint64_t wanted) { return each.last < wanted; });
  return found != intervals_.end() && found->first <= value;
}

IntervalSet IntervalSet::complement(uint64_t largest) const {
  IntervalSet set;
  uint64_t next = 0;
  for (const Interval &each : intervals_) {
    if (each.first > largest) break;
    if (each.first > next) set.intervals_.push_back({next, each.first - 1});
    if (each.last >= largest) return set;
    next = each.last + 1;
  }
  set.intervals_.push_back({next, largest});
  return set;
}

IntervalSet IntervalSet::intersection(const IntervalSet &other) const {
  IntervalSet set;
  for (auto one = intervals_.begin(), two = other.intervals_.begin();
       one != intervals_.end() && two != other.intervals_.end();) {
    Interval both = {std::max(one->first, two->first), std::min(one->last, two->last)};
    if (both.first <= both.last) set.intervals_.push_back(both);
    (one->last < two->last ? one : two)++;
  }
  return set;
}

bool maskedValues(uint64_t value, uint64_t mask, int bits, size_t most, IntervalSet &values) {
  const uint64_t all = bits == 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
  mask &= all;
  value &= mask;
  // Below the mask's lowest one everything matches; above it each zero doubles the pieces.
  const uint64_t low = mask == 0 ? all : (mask & (~mask + 1)) - 1;
  const uint64_t free = all & ~mask & ~low;
  if (__builtin_popcountll(free) > 20 || (size_t{1} << __builtin_popcountll(free)) > most) {
    return false;
  }
  values = {};
  // Every subset of the free bits, in ascending order.
  for (uint64_t subset = 0;; subset = (subset - free) & free) {
    values.add({value | subset, value | subset | low});
    if (subset == free) return true;
  }
}

}  // namespace packets
