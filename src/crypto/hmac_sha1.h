// HMAC-SHA1 (RFC 2104) taken apart, for a key that is used more than once.
#pragma once

#include <cstdint>

#include "orba_util.h"

#pragma GCC visibility push(hidden)
namespace orba {

constexpr int kDigestSize = 20;
constexpr int kHmacBlockSize = 64;

// A key, as the hash state after each of its two pads: hashed once, good for any
// number of messages.
struct HmacKey {
  uint32_t after_inner_pad[5];
  uint32_t after_outer_pad[5];
};

// Two block computations; a key longer than a block costs its own hash as well.
void prepareHmacKey(HmacKey *prepared, const unsigned char *key, int key_length);

// Begins a hash where one of the pads ended.
void resumeAfterPad(A_SHA_CTX *ctx, const uint32_t state[5]);

// Overwrites the stack below the caller, where the functions that it has called
// left contexts, schedules and spilled registers. They must not have been
// inlined into it.
void wipeStack();

}  // namespace orba
#pragma GCC visibility pop
