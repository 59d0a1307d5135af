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

[[gnu::noinline]] void hmac(const unsigned char *text, int textLen, unsigned char *key, int keyLen,
                            unsigned char digest[kDigestSize]) {
  if (!key) keyLen = 0;
  // Meant, and callers know it: a long key is shortened where the caller keeps it.
  if (keyLen > kHmacBlockSize) {
    digestOf(key, keyLen, key);
    keyLen = kDigestSize;
  }
  HmacKey prepared;
  prepareHmacKey(&prepared, key, keyLen);
  A_SHA_CTX ctx;
  resumeAfterPad(&ctx, prepared.afterInnerPad);
  A_SHAUpdate(&ctx, text, textLen);
  A_SHAFinal(&ctx, digest);
  resumeAfterPad(&ctx, prepared.afterOuterPad);
  A_SHAUpdate(&ctx, digest, kDigestSize);
  A_SHAFinal(&ctx, digest);
}

}  // namespace

void prepareHmacKey(HmacKey *prepared, const unsigned char *key, int keyLen) {
  unsigned char block[kHmacBlockSize] = {};
  if (keyLen > kHmacBlockSize) {
    digestOf(key, keyLen, block);
  } else {
    for (int i = 0; i < keyLen; ++i) block[i] = key[i];
  }
  constexpr unsigned char innerMask = 0x36;
  constexpr unsigned char outerMask = 0x5C;
  hashPad(block, innerMask, prepared->afterInnerPad);
  hashPad(block, innerMask ^ outerMask, prepared->afterOuterPad);
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

void hmac_sha1(const unsigned char *text, int textLen, unsigned char *key, int keyLen,
               unsigned char digest[20]) {
  orba::hmac(text, textLen, key, keyLen, digest);
  orba::wipeStack();
}
