// What a derivation leaves behind on the stack it ran on.
#include <gtest/gtest.h>
#include <string.h>
#include <ucontext.h>

#include <cstdint>
#include <string>
#include <vector>

#include "orba_util.h"

namespace {

constexpr char kPassphrase[] = "correct horse battery staple";
constexpr unsigned char kSsid[] = {'I', 'E', 'E', 'E'};

ucontext_t caller;
ucontext_t callee;

// Runs `work` on a painted stack of its own and returns that stack.
std::vector<unsigned char> stackAfter(void (*work)()) {
  std::vector<unsigned char> stack(262144, 0xA5);
  getcontext(&callee);
  callee.uc_stack.ss_sp = stack.data();
  callee.uc_stack.ss_size = stack.size();
  callee.uc_link = &caller;
  makecontext(&callee, work, 0);
  swapcontext(&caller, &callee);
  return stack;
}

using Words = std::vector<uint32_t>;

// The key after `mask`, as the schedule holds it, and the hash state after it:
// whoever has the two states needs no pass phrase.
Words padSecrets(unsigned char mask) {
  unsigned char block[64] = {};
  memcpy(block, kPassphrase, sizeof(kPassphrase));
  for (unsigned char &byte : block) byte ^= mask;
  A_SHA_CTX ctx;
  A_SHAInit(&ctx);
  A_SHAUpdate(&ctx, block, 64);
  Words words(ctx.state, ctx.state + 5);
  words.insert(words.end(), ctx.schedule, ctx.schedule + 7);
  uint32_t stored[7];
  memcpy(stored, block, sizeof(stored));
  words.insert(words.end(), stored, stored + 7);
  return words;
}

int found(const std::vector<unsigned char> &stack, const Words &secrets) {
  int count = 0;
  for (uint32_t word : secrets) {
    count += memmem(stack.data(), stack.size(), &word, sizeof(word)) != nullptr;
  }
  return count;
}

unsigned char key[40];

TEST(Wipe, NoPadAndNoKeyStaysOnTheStack) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "its red zones stretch the frames";
#endif
  // The secrets are worked out last: before, they could reach a painted stack
  // in a register that holds them still.
  const auto after_key = stackAfter([] { PasswordHash(kPassphrase, kSsid, 4, key); });
  Words secrets(20);
  memcpy(secrets.data(), key, 40);
  for (int i = 0; i < 10; ++i) secrets[10 + i] = __builtin_bswap32(secrets[i]);
  const auto after_block = stackAfter([] { F(kPassphrase, kSsid, 4, 4096, 1, key); });
  const auto after_hmac = stackAfter([] {
    unsigned char copy[sizeof(kPassphrase)];
    memcpy(copy, kPassphrase, sizeof(copy));
    hmac_sha1(kSsid, 4, copy, sizeof(copy) - 1, key);
  });
  const auto after_plain_hash = stackAfter([] { padSecrets(0x36); });
  for (unsigned char mask : {0x36, 0x5C}) {
    const Words pad = padSecrets(mask);
    secrets.insert(secrets.end(), pad.begin(), pad.end());
  }
  EXPECT_GT(found(after_plain_hash, secrets), 10) << "what is not wiped can be seen";
  EXPECT_EQ(found(after_key, secrets), 0);
  EXPECT_EQ(found(after_block, secrets), 0);
  EXPECT_EQ(found(after_hmac, secrets), 0);
}

}  // namespace
