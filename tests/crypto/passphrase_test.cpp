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

// PBKDF2 as the standard words it: one HMAC a round.
std::string composed(std::string key, std::string salt, int iterations, int blockIndex) {
  for (int shift = 24; shift >= 0; shift -= 8) salt += static_cast<char>(blockIndex >> shift);
  auto *keyBytes = reinterpret_cast<unsigned char *>(key.data());
  auto keyLen = static_cast<int>(key.size());
  unsigned char u[20];
  hmac_sha1(bytesOf(salt), static_cast<int>(salt.size()), keyBytes, keyLen, u);
  if (keyLen > 64) keyLen = 20;  // shortened in place
  unsigned char sum[20];
  memcpy(sum, u, 20);
  for (int round = 2; round <= iterations; ++round) {
    hmac_sha1(u, 20, keyBytes, keyLen, u);
    for (int i = 0; i < 20; ++i) sum[i] ^= u[i];
  }
  return hex(sum, 20);
}

std::string derived(const std::string &passphrase, const std::string &ssid, int iterations,
                    int blockIndex) {
  unsigned char out[20];
  F(passphrase.c_str(), bytesOf(ssid), static_cast<int>(ssid.size()), iterations, blockIndex, out);
  return hex(out, 20);
}

TEST(PasswordHash, KeysOfTheStandardToTheFortiethByte) {
  const struct {
    std::string passphrase;
    std::string ssid;
    const char *key;
  } vectors[] = {
      {"password", "IEEE",
       "f42c6fc52df0ebef9ebb4b90b38a5f902e83fe1b135a70e23aed762e9710a12e4888f197a3680415"},
      {"ThisIsAPassword", "ThisIsASSID",
       "0dc0d6eb90555ed6419756b9a15ec3e3209b63df707dd508d14581f8982721afcac2806de3fd47a8"},
      {std::string(32, 'a'), std::string(32, 'Z'),
       "becb93866bb8c3832cb777c2f559807c8c59afcb6eae734885001300a981cc621d20bd880f552cbb"},
  };
  for (const auto &[passphrase, ssid, key] : vectors) {
    unsigned char out[40];
    EXPECT_EQ(PasswordHash(passphrase.c_str(), bytesOf(ssid), static_cast<int>(ssid.size()), out),
              1);
    EXPECT_EQ(hex(out, 40), key);
  }
}

TEST(PasswordHash, HashesThePadsOnceForTheWholeKey) {
  unsigned char key[40];
  const std::string ssid(32, 'Z');
  blocks = 0;
  PasswordHash("password", bytesOf(ssid), 32, key);
  EXPECT_EQ(blocks, 2 + 2 * 4096 * 2);

  blocks = 0;
  const std::string plain =
      composed("password", ssid, 4096, 1) + composed("password", ssid, 4096, 2);
  EXPECT_EQ(blocks, 2 * 4096 * 4);
  EXPECT_EQ(hex(key, 40), plain);
}

TEST(PasswordHash, RefusesWhatIsTooLongAndLeavesTheKeyUntouched) {
  const std::string sixtyThree(63, 'p');
  const std::string sixtyFour(64, 'p');
  const std::string name(33, 'n');
  const struct {
    const char *passphrase;
    int ssidLen;
    int result;
  } cases[] = {
      {sixtyThree.c_str(), 32, 1},
      {sixtyFour.c_str(), 32, 0},
      {sixtyThree.c_str(), 33, 0},
      {sixtyThree.c_str(), -1, 0},
      {nullptr, 4, 0},
  };
  for (const auto &[passphrase, ssidLen, result] : cases) {
    unsigned char out[40] = "untouched";
    EXPECT_EQ(PasswordHash(passphrase, bytesOf(name), ssidLen, out), result);
    EXPECT_EQ(strcmp(reinterpret_cast<char *>(out), "untouched") != 0, result == 1) << ssidLen;
  }
  unsigned char out[40];
  EXPECT_EQ(PasswordHash("", nullptr, 0, out), 1);
  EXPECT_EQ(hex(out, 40), composed("", "", 4096, 1) + composed("", "", 4096, 2));
}

TEST(F, IsThePlainCompositionForEveryLengthAndLeavesAConstantPassphraseAlone) {
  for (int length : {0, 1, 63, 64, 65, 200}) {
    const std::string passphrase(length, 'k');
    for (int iterations : {1, 2, 5}) {
      for (int blockIndex : {1, 0x01020304}) {
        EXPECT_EQ(derived(passphrase, std::string(length, 's'), iterations, blockIndex),
                  composed(passphrase, std::string(length, 's'), iterations, blockIndex))
            << length << ' ' << iterations;
      }
    }
    EXPECT_EQ(passphrase, std::string(length, 'k'));
  }
}

TEST(F, NoRoundsMeanTheFirstAndNoSaltIsEmpty) {
  EXPECT_EQ(derived("password", "IEEE", 0, 1), derived("password", "IEEE", 1, 1));
  EXPECT_EQ(derived("password", "IEEE", -7, 1), derived("password", "IEEE", 1, 1));
  unsigned char out[20];
  F(nullptr, nullptr, -1, 2, 1, out);
  EXPECT_EQ(hex(out, 20), composed("", "", 2, 1));
}

}  // namespace
