#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "crypto/hex.h"
#include "orba_util.h"

// The linker puts these in front of the two functions that compute a block
// (see CMakeLists.txt), whoever calls them.
static int blocks;

extern "C" {
void __real_shaHashBlock(A_SHA_CTX *ctx);
void __wrap_shaHashBlock(A_SHA_CTX *ctx) {
  ++blocks;
  __real_shaHashBlock(ctx);
}

void __real__ZN4orba15sha1DigestBlockEPKjPj(const uint32_t start[5], uint32_t digest[5]);
void __wrap__ZN4orba15sha1DigestBlockEPKjPj(const uint32_t start[5], uint32_t digest[5]) {
  ++blocks;
  __real__ZN4orba15sha1DigestBlockEPKjPj(start, digest);
}
}

namespace {

TEST(PasswordHash, KeysOfTheStandardToTheFortiethByte) {
  const struct {
    std::string passphrase, ssid;
    const char *key;
  } vectors[] = {
      {"password", "IEEE",
       "f42c6fc52df0ebef9ebb4b90b38a5f902e83fe1b135a70e23aed762e9710a12e4888f197a3680415"},
      {"ThisIsAPassword", "ThisIsASSID",
       "0dc0d6eb90555ed6419756b9a15ec3e3209b63df707dd508d14581f8982721afcac2806de3fd47a8"},
  };
  for (const auto &[passphrase, ssid, key] : vectors) {
    unsigned char out[40];
    blocks = 0;
    EXPECT_EQ(PasswordHash(passphrase.c_str(), bytesOf(ssid), static_cast<int>(ssid.size()), out),
              1);
    EXPECT_EQ(hex(out, 40), key);
    EXPECT_EQ(blocks, 2 + 2 * 4096 * 2) << "the pads are hashed once for the whole key";
  }
}

TEST(PasswordHash, RefusesWhatIsTooLongAndLeavesTheKeyUntouched) {
  const std::string sixty_three(63, 'p'), sixty_four(64, 'p'), name(33, 'n');
  const struct {
    const char *passphrase;
    int ssid_length, result;
  } cases[] = {
      {sixty_three.c_str(), 32, 1},
      {sixty_four.c_str(), 32, 0},
      {sixty_three.c_str(), 33, 0},
      {sixty_three.c_str(), -1, 0},
      {nullptr, 4, 0},
      {"", 0, 1},
  };
  for (const auto &[passphrase, ssid_length, result] : cases) {
    unsigned char out[40] = "untouched";
    EXPECT_EQ(PasswordHash(passphrase, bytesOf(name), ssid_length, out), result);
    EXPECT_EQ(strcmp(reinterpret_cast<char *>(out), "untouched") != 0, result == 1) << ssid_length;
  }
}

TEST(F, IsOneBlockOfPbkdf2AndLeavesAConstantPassphraseAlone) {
  const struct {
    int length, iterations, block_index;
    const char *block;
  } cases[] = {
      {0, 1, 1, "1e437a1c79d75be61e91141dae20affc4892cc99"},
      {64, 2, 2, "7890eb89a538b02f1242aaaaa6d69aa0dff04aff"},
      {200, 5, 0x1020304, "154d2dc59dba6a7e01903644f3d3f37b84d57e8f"},
      {8, 0, 1, "0e8f5371b266859023cce5cad44a39875de238c7"},
  };
  unsigned char out[20];
  for (const auto &[length, iterations, block_index, block] : cases) {
    const std::string passphrase(length, 'k'), salt(length, 's');
    F(passphrase.c_str(), bytesOf(salt), length, iterations, block_index, out);
    EXPECT_EQ(hex(out, 20), block) << length << ' ' << iterations;
    EXPECT_EQ(passphrase, std::string(length, 'k'));
  }
  F(nullptr, nullptr, -1, 1, 1, out);
  EXPECT_EQ(hex(out, 20), cases[0].block) << "nothing is empty";
}

}  // namespace
