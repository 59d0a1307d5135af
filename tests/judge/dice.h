// Random numbers that a seed gives again, on every machine.
#ifndef ORBA_TESTS_JUDGE_DICE_H
#define ORBA_TESTS_JUDGE_DICE_H

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace judge {

class Dice {
 public:
  explicit Dice(uint64_t seed) : state_(seed) {}

  uint64_t number() {  // of 64 bits, by splitmix64
    uint64_t mixed = state_ += 0x9e3779b97f4a7c15;
    mixed = (mixed ^ mixed >> 30) * 0xbf58476d1ce4e5b9;
    mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111eb;
    return mixed ^ mixed >> 31;
  }
  uint64_t below(uint64_t limit) { return number() % limit; }
  uint64_t between(uint64_t first, uint64_t last) { return first + number() % (last - first + 1); }
  bool chance(unsigned int percent) { return below(100) < percent; }
  template <class List>
  auto &pick(const List &list) {
    return list[below(list.size())];
  }
  template <class Value>
  Value pick(std::initializer_list<Value> list) {
    return list.begin()[below(list.size())];
  }

 private:
  uint64_t state_;
};

}  // namespace judge

#endif
