// From a WPA pass phrase and a network name to the pairwise master key:
// PBKDF2 (RFC 2898) with HMAC-SHA1, as IEEE 802.11i fixes it.
#include <limits.h>
#include <string.h>

#include "crypto/big_endian.h"
#include "crypto/hmac_sha1.h"
#include "crypto/sha1_block.h"
#include "orba_util.h"

namespace orba {
namespace {

constexpr int kIterations = 4096;
constexpr size_t kMaxPassphrase = 63;
constexpr int kMaxSsid = 32;

void preparePassphrase(HmacKey *prepared, const char *passphrase, size_t length) {
  int key_length = length < INT_MAX ? static_cast<int>(length) : INT_MAX;
  prepareHmacKey(prepared, reinterpret_cast<const unsigned char *>(passphrase), key_length);
}

void innerHashOfSalt(const HmacKey &key, const unsigned char *ssid, int ssid_length,
                     int block_index, uint32_t hash[5]) {
  unsigned char index[4];
  storeBigEndian(index, static_cast<uint32_t>(block_index));
  A_SHA_CTX ctx;
  resumeAfterPad(&ctx, key.after_inner_pad);
  A_SHAUpdate(&ctx, ssid, ssid_length);
  A_SHAUpdate(&ctx, index, sizeof(index));
  unsigned char digest[kDigestSize];
  A_SHAFinal(&ctx, digest);
  for (size_t i = 0; i < 5; ++i) hash[i] = loadBigEndian(digest + 4 * i);
}

// All but the first inner hash is over 20 bytes after a pad. So the running
// value stays in words, and each round is two block computations.
void deriveBlock(const HmacKey &key, const unsigned char *ssid, int ssid_length, int iterations,
                 int block_index, unsigned char out[kDigestSize]) {
  uint32_t running[5];
  innerHashOfSalt(key, ssid, ssid_length, block_index, running);
  sha1DigestBlock(key.after_outer_pad, running);
  uint32_t sum[5] = {running[0], running[1], running[2], running[3], running[4]};
  for (int left = iterations; left > 1; --left) {
    sha1DigestBlock(key.after_inner_pad, running);
    sha1DigestBlock(key.after_outer_pad, running);
#pragma GCC unroll 5
    for (int i = 0; i < 5; ++i) sum[i] ^= running[i];
  }
  for (size_t i = 0; i < 5; ++i) storeBigEndian(out + 4 * i, sum[i]);
}

[[gnu::noinline]] void deriveOneBlock(const char *passphrase, const unsigned char *ssid,
                                      int ssid_length, int iterations, int block_index,
                                      unsigned char out[kDigestSize]) {
  HmacKey key;
  preparePassphrase(&key, passphrase, strlen(passphrase));
  deriveBlock(key, ssid, ssid_length, iterations, block_index, out);
}

[[gnu::noinline]] void deriveMasterKey(const char *passphrase, size_t length,
                                       const unsigned char *ssid, int ssid_length,
                                       unsigned char out[2 * kDigestSize]) {
  HmacKey key;
  preparePassphrase(&key, passphrase, length);
  deriveBlock(key, ssid, ssid_length, kIterations, 1, out);
  deriveBlock(key, ssid, ssid_length, kIterations, 2, out + kDigestSize);
}

}  // namespace
}  // namespace orba

void F(const char *passphrase, const unsigned char *ssid, int ssid_length, int iterations,
       int block_index, unsigned char out[20]) {
  orba::deriveOneBlock(passphrase ? passphrase : "", ssid, ssid_length, iterations, block_index,
                       out);
  orba::wipeStack();
}

int PasswordHash(const char *passphrase, const unsigned char *ssid, int ssid_length,
                 unsigned char out[40]) {
  if (!passphrase || ssid_length < 0 || ssid_length > orba::kMaxSsid) return 0;
  size_t length = strnlen(passphrase, orba::kMaxPassphrase + 1);
  if (length > orba::kMaxPassphrase) return 0;
  orba::deriveMasterKey(passphrase, length, ssid, ssid_length, out);
  orba::wipeStack();
  return 1;
}
