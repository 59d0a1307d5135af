// SHA-1's compression function for the messages that key derivation is made of.
#pragma once

#include <cstdint>

#pragma GCC visibility push(hidden)
namespace orba {

// Ends a hash that stands at `start` after exactly one block (the pad of an
// HMAC) with the 20-byte message in `digest`, as words, and puts the result in
// its place. One block computation, as shaHashBlock is, without a context to keep.
void sha1DigestBlock(const uint32_t start[5], uint32_t digest[5]);

}  // namespace orba
#pragma GCC visibility pop
