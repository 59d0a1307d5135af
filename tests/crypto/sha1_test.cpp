#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "crypto/hex.h"
#include "orba_util.h"

namespace {

std::string finish(A_SHA_CTX *ctx) {
  unsigned char digest[20];
  A_SHAFinal(ctx, digest);
  return hex(digest, sizeof(digest));
}

TEST(Sha1, KnownMessagesOnOneContextThatFinalReadies) {
  const struct {
    std::string piece;
    int times;
    const char *digest;
  } messages[] = {
      {"", 1, "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
      {"abc", 1, "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", 1,
       "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {std::string(1000, 'a'), 1000, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
  };
  A_SHA_CTX ctx;
  A_SHA_CTX fresh;
  A_SHAInit(&ctx);
  A_SHAInit(&fresh);
  for (const auto &[piece, times, digest] : messages) {
    for (int i = 0; i < times; ++i) {
      A_SHAUpdate(&ctx, bytesOf(piece), static_cast<int>(piece.size()));
    }
    EXPECT_EQ(finish(&ctx), digest);
    EXPECT_EQ(memcmp(&ctx, &fresh, sizeof(ctx)), 0) << "after " << digest;
  }
}

TEST(Sha1, MessagesOfAllLengthsInTwoPieces) {
  const std::string message(150, 'x');
  A_SHA_CTX ctx, all;
  A_SHAInit(&ctx);
  A_SHAInit(&all);
  for (int length = 0; length <= 150; ++length) {
    A_SHAUpdate(&ctx, bytesOf(message), length / 3);
    A_SHAUpdate(&ctx, nullptr, 5);
    A_SHAUpdate(&ctx, bytesOf(message), -1);
    A_SHAUpdate(&ctx, bytesOf(message), length - length / 3);
    unsigned char digest[20];
    A_SHAFinal(&ctx, digest);
    A_SHAUpdate(&all, digest, 20);
  }
  EXPECT_EQ(finish(&all), "97a54e7d469afce4d8cb84b0fd3a3a7c32f4fedc")
      << "the digest of all digests";
}

TEST(Sha1, CollectsBigEndianWordsAndCarriesTheBitLength) {
  A_SHA_CTX ctx;
  A_SHAInit(&ctx);
  ctx.bitLengthLow = 0xFFFFFFF0;
  A_SHAUpdate(&ctx, bytesOf("abcde"), 5);
  EXPECT_EQ(ctx.bitLengthLow, 24u);
  EXPECT_EQ(ctx.bitLengthHigh, 1u);
  EXPECT_EQ(ctx.schedule[0], 0x61626364u);
  EXPECT_EQ(ctx.schedule[1], 0x65u);
  EXPECT_EQ(ctx.blockBytes, 5u);

  // The last block ends with both halves, the high one first. Taken over by
  // hand, it hashes to the same digest, and the counters stay.
  A_SHA_CTX by_hand = ctx;
  by_hand.schedule[1] = 0x65800000;
  by_hand.schedule[14] = 1;
  by_hand.schedule[15] = 24;
  shaHashBlock(&by_hand);
  for (uint32_t &word : by_hand.state) word = htonl(word);
  EXPECT_EQ(finish(&ctx), hex(reinterpret_cast<unsigned char *>(by_hand.state), 20));
  EXPECT_EQ(by_hand.schedule[16], 0xC2C4C6C8u);
  EXPECT_EQ(by_hand.blockBytes, 5u);
  EXPECT_EQ(by_hand.bitLengthLow, 24u);
}

TEST(Sha1, AForeignByteCountStaysInsideTheBlock) {
  A_SHA_CTX ctx;
  memset(&ctx, 0xFF, sizeof(ctx));
  A_SHAUpdate(&ctx, bytesOf("x"), 1);
  EXPECT_EQ(ctx.blockBytes, 0u) << "63 by its low bits, so the block is full";
  ctx.blockBytes = 57 + 64;
  finish(&ctx);
  EXPECT_EQ(ctx.blockBytes, 0u);
}

}  // namespace
