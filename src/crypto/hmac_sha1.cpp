#include "crypto/hmac_sha1.h"

namespace orba {
namespace {

void digestOf(const unsigned char *data, int len, unsigned char digest[kDigestSize]) {
  A_SHA_CTX ctx;
  A_SHAInit(&ctx);
  A_SHAUpdate(&ctx, data, len);
  A_SHAFinal(&ctx, digest);
}

void hashPad(unsigned char block[kHmacBlockSize], unsigned char mask, uint32_t state[5]) {
  A_SHA_CTX ctx;
  A_SHAInit(&ctx);
  for (int i = 0; i < kHmacBlockSize; ++i) block[i] ^= mask;
  A_SHAUpdate(&ctx, block, kHmacBlockSize);
  for (int i = 0; i < 5; ++i) state[i] = ctx.state[i];
}

[[gnu::noinline]] void hmac(const unsigned char *text, int text_length, unsigned char *key,
                            int key_length, unsigned char digest[kDigestSize]) {
  if (!key) key_length = 0;
  // Meant, and callers know it: a long key is shortened where the caller keeps it.
  if (key_length > kHmacBlockSize) {
    digestOf(key, key_length, key);
    key_length = kDigestSize;
  }
  HmacKey prepared;
  prepareHmacKey(&prepared, key, key_length);
  A_SHA_CTX ctx;
  resumeAfterPad(&ctx, prepared.after_inner_pad);
  A_SHAUpdate(&ctx, text, text_length);
  A_SHAFinal(&ctx, digest);
  resumeAfterPad(&ctx, prepared.after_outer_pad);
  A_SHAUpdate(&ctx, digest, kDigestSize);
  A_SHAFinal(&ctx, digest);
}

}  // namespace

void prepareHmacKey(HmacKey *prepared, const unsigned char *key, int key_length) {
  unsigned char block[kHmacBlockSize] = {};
  if (key_length > kHmacBlockSize) {
    digestOf(key, key_length, block);
  } else {
    for (int i = 0; i < key_length; ++i) block[i] = key[i];
  }
  constexpr unsigned char kInnerMask = 0x36;
  constexpr unsigned char kOuterMask = 0x5C;
  hashPad(block, kInnerMask, prepared->after_inner_pad);
  hashPad(block, kInnerMask ^ kOuterMask, prepared->after_outer_pad);
}

void resumeAfterPad(A_SHA_CTX *ctx, const uint32_t state[5]) {
  A_SHAInit(ctx);
  for (int i = 0; i < 5; ++i) ctx->state[i] = state[i];
  ctx->bitLengthLow = kHmacBlockSize * 8;
}

[[gnu::noinline]] void wipeStack() {
  // The deepest chain of calls takes about half of this. By hand, because a
  // first call into the C library has the dynamic linker store the registers
  // on the stack, out of reach.
  volatile uint32_t below[512];
  for (volatile uint32_t &word : below) word = 0;
}

}  // namespace orba

void hmac_sha1(const unsigned char *text, int text_length, unsigned char *key, int key_length,
               unsigned char digest[20]) {
  orba::hmac(text, text_length, key, key_length, digest);
  orba::wipeStack();
}
