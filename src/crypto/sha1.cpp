// SHA-1 (FIPS 180-1), fed a piece at a time.
#include <cstddef>

#include "crypto/big_endian.h"
#include "orba_util.h"

static_assert(sizeof(A_SHA_CTX) == 352);
static_assert(offsetof(A_SHA_CTX, state) == 0);
static_assert(offsetof(A_SHA_CTX, schedule) == 20);
static_assert(offsetof(A_SHA_CTX, blockBytes) == 340);
static_assert(offsetof(A_SHA_CTX, bitLengthHigh) == 344);
static_assert(offsetof(A_SHA_CTX, bitLengthLow) == 348);

void A_SHAInit(A_SHA_CTX *ctx) {
  *ctx = {};
  ctx->state[0] = 0x67452301;
  ctx->state[1] = 0xEFCDAB89;
  ctx->state[2] = 0x98BADCFE;
  ctx->state[3] = 0x10325476;
  ctx->state[4] = 0xC3D2E1F0;
}

void A_SHAUpdate(A_SHA_CTX *ctx, const unsigned char *data, int len) {
  if (!data) return;
  for (int i = 0; i < len; ++i) {
    // The context is the caller's memory: whatever count it holds, stay inside the block.
    uint32_t at = ctx->blockBytes % 64;
    uint32_t &word = ctx->schedule[at / 4];
    word = word << 8 | data[i];
    ctx->blockBytes = at + 1;
    if (ctx->blockBytes == 64) {
      shaHashBlock(ctx);
      ctx->blockBytes = 0;
    }
    ctx->bitLengthLow += 8;
    if (ctx->bitLengthLow < 8) ++ctx->bitLengthHigh;
  }
}

void A_SHAFinal(A_SHA_CTX *ctx, unsigned char digest[20]) {
  unsigned char length[8];
  orba::storeBigEndian(length, ctx->bitLengthHigh);
  orba::storeBigEndian(length + 4, ctx->bitLengthLow);

  constexpr unsigned char kEndOfMessage = 0x80;
  const unsigned char zero = 0;
  A_SHAUpdate(ctx, &kEndOfMessage, 1);
  while (ctx->blockBytes != 56) A_SHAUpdate(ctx, &zero, 1);
  A_SHAUpdate(ctx, length, 8);

  for (size_t i = 0; i < 5; ++i) orba::storeBigEndian(digest + 4 * i, ctx->state[i]);
  A_SHAInit(ctx);
}
