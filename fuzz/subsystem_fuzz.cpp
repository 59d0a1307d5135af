// Plays situations on the entry points of one subsystem, ORBA_SUBSYSTEM.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fuzz/mutator.h"
#include "fuzz/progress.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t room);

namespace {

using namespace orba::fuzz;

Mutator &mutator() {
  static Mutator mutator(ORBA_SUBSYSTEM);
  return mutator;
}

Situation situationOf(const uint8_t *data, size_t size) {
  return readSituation({reinterpret_cast<const char *>(data), size});
}

size_t put(const Situation &situation, uint8_t *data, size_t room) {
  std::string text = print(situation);
  if (text.size() > room) text.resize(text.rfind('\n', room) + 1);
  if (text.size() > room) text.clear();
  memcpy(data, text.data(), text.size());
  return text.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Situation situation = situationOf(data, size);
  Outcome outcome = play(situation);
  for (const std::string &finding : outcome.findings) fprintf(stderr, "%s\n", finding.c_str());
  if (!outcome.findings.empty()) abort();
  mutator().learn(situation, outcome);
  countPlayed();
  return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t room, unsigned seed) {
  Situation situation = situationOf(data, size);
  mutator().mutate(situation, seed, LLVMFuzzerMutate);
  return put(situation, data, room);
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t *a, size_t a_size, const uint8_t *b,
                                            size_t b_size, uint8_t *out, size_t room,
                                            unsigned seed) {
  return put(Mutator::cross(situationOf(a, a_size), situationOf(b, b_size), seed), out, room);
}
