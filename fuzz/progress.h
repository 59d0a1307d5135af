// How far a fuzzer is, for fuzz/run.sh.
#ifndef ORBA_FUZZ_PROGRESS_H
#define ORBA_FUZZ_PROGRESS_H

#include <cstdio>
#include <ctime>

namespace orba::fuzz {

// To be called for each input: now and then prints how many there were, and the
// milliseconds of the processor's time that all of it took.
inline void countPlayed() {
  static unsigned long long count = 0;
  if (++count % 500 != 0) return;
  fprintf(stderr, "played %llu in %lld ms\n", count, clock() * 1000LL / CLOCKS_PER_SEC);
}

}  // namespace orba::fuzz

#endif
