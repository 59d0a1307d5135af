// The room packets: what a router's rules do to packets. It takes the commands that make the
// rules, as they were run, and the router's interfaces, and says of one packet or of sets of
// them where they end. It knows the kernel's path and the tools' forms, and nothing of where
// the commands came from.
//
// A set of numbers, such as the ports that a rule matches.
#ifndef ORBA_PACKETS_INTERVAL_SET_H
#define ORBA_PACKETS_INTERVAL_SET_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace packets {

// All numbers from one to another, both of them included.
struct Interval {
  uint64_t first, last;

  bool operator==(const Interval &) const = default;
};

class IntervalSet {
 public:
  IntervalSet() = default;  // the empty set
  static IntervalSet one(uint64_t value) { return range(value, value); }
  // Nothing when `first` is above `last`.
  static IntervalSet range(uint64_t first, uint64_t last);

  // Joins what overlaps or touches, so that equal sets have equal intervals.
  void add(Interval interval);
  void add(const IntervalSet &other);

  bool empty() const { return intervals_.empty(); }
  // How many numbers are in it.
  uint64_t size() const;
  bool contains(uint64_t value) const;
  // Everything from 0 to `largest` that is not in it.
  IntervalSet complement(uint64_t largest) const;
  IntervalSet intersection(const IntervalSet &other) const;
  // In ascending order, with a gap between each two.
  const std::vector<Interval> &intervals() const { return intervals_; }

  bool operator==(const IntervalSet &) const = default;

 private:
  std::vector<Interval> intervals_;
};

// The values of `bits` bits that agree with `value` where `mask` has ones. As many intervals
// as the zeros above the mask's lowest one have combinations; nothing for more than `most`.
bool maskedValues(uint64_t value, uint64_t mask, int bits, size_t most, IntervalSet &values);

}  // namespace packets

#endif
