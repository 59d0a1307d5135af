// SHA-1's compression function in two shapes: shaHashBlock, small, on a
// caller's context; and sha1DigestBlock, unrolled, for the thousands of
// 20-byte messages behind one key.
#include "crypto/sha1_block.h"

#include <cstddef>
#include <utility>

#include "orba_util.h"

namespace orba {
namespace {

constexpr uint32_t rotateLeft(uint32_t word, int bits) {
  return word << bits | word >> (32 - bits);
}

// What rounds 20 x `phase` to 20 x `phase` + 19 add besides the word of the message.
template <unsigned phase>
[[gnu::always_inline]] constexpr uint32_t roundTerm(uint32_t b, uint32_t c, uint32_t d) {
  if constexpr (phase == 0) return (d ^ (b & (c ^ d))) + 0x5A827999;
  if constexpr (phase == 1) return (b ^ c ^ d) + 0x6ED9EBA1;
  if constexpr (phase == 2) return (b & (c ^ d)) + (c & d) + 0x8F1BBCDC;
  if constexpr (phase == 3) return (b ^ c ^ d) + 0xCA62C1D6;
}

// Twenty rounds as the standard words them: the five values move up one place a round.
template <unsigned phase>
void twentyRounds(uint32_t value[5], const uint32_t *words) {
  for (unsigned t = 20 * phase; t < 20 * phase + 20; ++t) {
    uint32_t next = rotateLeft(value[0], 5) + roundTerm<phase>(value[1], value[2], value[3]) +
                    value[4] + words[t];
    value[4] = value[3];
    value[3] = value[2];
    value[2] = rotateLeft(value[1], 30);
    value[1] = value[0];
    value[0] = next;
  }
}

// Unrolled, nothing has to move: the places rotate instead, and so do the last
// sixteen words of the schedule. Every index is a constant, so the compiler
// keeps the values in registers and works out ahead what the padding determines.
template <unsigned t>
[[gnu::always_inline]] inline void unrolledRound(uint32_t value[5], uint32_t words[16]) {
  uint32_t &word = words[t % 16];
  if constexpr (t >= 16) {
    word = rotateLeft(words[(t + 13) % 16] ^ words[(t + 8) % 16] ^ words[(t + 2) % 16] ^ word, 1);
  }
  constexpr unsigned kFirst = 80 - t;
  uint32_t a = value[kFirst % 5];
  uint32_t &b = value[(kFirst + 1) % 5];
  uint32_t c = value[(kFirst + 2) % 5];
  uint32_t d = value[(kFirst + 3) % 5];
  uint32_t &e = value[(kFirst + 4) % 5];
  e += roundTerm<t / 20>(b, c, d) + word;
  e += rotateLeft(a, 5);
  b = rotateLeft(b, 30);
}

template <size_t... t>
[[gnu::always_inline]] inline void unrolledRounds(uint32_t value[5], uint32_t words[16],
                                                  std::index_sequence<t...>) {
  (unrolledRound<t>(value, words), ...);
}

}  // namespace

void sha1DigestBlock(const uint32_t start[5], uint32_t digest[5]) {
  constexpr uint32_t kEndOfMessage = 0x80000000;
  constexpr uint32_t kMessageBits = (64 + 20) * 8;
  uint32_t value[5] = {start[0], start[1], start[2], start[3], start[4]};
  uint32_t words[16] = {digest[0], digest[1], digest[2], digest[3], digest[4], kEndOfMessage};
  words[15] = kMessageBits;
  unrolledRounds(value, words, std::make_index_sequence<80>());
#pragma GCC unroll 5  // a loop would need the values in memory
  for (int i = 0; i < 5; ++i) digest[i] = start[i] + value[i];
}

}  // namespace orba

void shaHashBlock(A_SHA_CTX *ctx) {
  using namespace orba;
  uint32_t *words = ctx->schedule;
  for (int t = 16; t < 80; ++t) {
    words[t] = rotateLeft(words[t - 3] ^ words[t - 8] ^ words[t - 14] ^ words[t - 16], 1);
  }
  uint32_t value[5] = {ctx->state[0], ctx->state[1], ctx->state[2], ctx->state[3], ctx->state[4]};
  twentyRounds<0>(value, words);
  twentyRounds<1>(value, words);
  twentyRounds<2>(value, words);
  twentyRounds<3>(value, words);
  for (int i = 0; i < 5; ++i) ctx->state[i] += value[i];
}
