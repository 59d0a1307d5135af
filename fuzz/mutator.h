// How situations are changed to find new ones: a line at a time, with what the
// entry points have been seen to ask for and what the corpus holds already.
#ifndef ORBA_FUZZ_MUTATOR_H
#define ORBA_FUZZ_MUTATOR_H

#include <functional>
#include <random>

#include "fuzz/situation.h"

namespace orba::fuzz {

class Mutator {
 public:
  // Changes at most `size` bytes of `data` anyhow, within `room`; gives the new size.
  using Bytes = std::function<size_t(uint8_t *data, size_t size, size_t room)>;

  explicit Mutator(const std::string &subsystem);

  // Remembers what is worth putting into others.
  void learn(const Situation &situation, const Outcome &outcome);
  void mutate(Situation &situation, unsigned seed, const Bytes &bytes);
  static Situation cross(const Situation &a, const Situation &b, unsigned seed);

 private:
  size_t below(size_t limit) { return random_() % limit; }
  template <typename List>
  const auto &any(const List &list) {
    return list[below(list.size())];
  }
  void change(std::string &text, const Bytes &bytes);
  Line newLine();

  std::minstd_rand random_;
  Situation calls_;                 // typical ones of the subsystem
  std::vector<std::string> texts_;  // values and pieces of values
  std::vector<Line> lines_;         // of a usual device and of earlier situations
  std::set<std::pair<int, std::string>> known_;
  std::vector<std::string> keys_;
};

}  // namespace orba::fuzz

#endif
