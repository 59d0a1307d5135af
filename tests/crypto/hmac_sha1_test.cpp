#include <gtest/gtest.h>

#include <string>

#include "crypto/hex.h"
#include "orba_util.h"

namespace {

// The key lies in a buffer of its own; what becomes of it is part of the answer.
std::string hmac(std::string *key, const std::string &text) {
  unsigned char digest[20];
  hmac_sha1(bytesOf(text), static_cast<int>(text.size()),
            reinterpret_cast<unsigned char *>(key->data()), static_cast<int>(key->size()), digest);
  return hex(digest, sizeof(digest));
}

TEST(HmacSha1, Rfc2202AndWhatBecomesOfTheCallersKey) {
  const std::string long_key(80, '\xaa');
  const struct {
    std::string key, text;
    const char *digest;
  } cases[] = {
      {std::string(20, '\x0b'), "Hi There", "b617318655057264e28bc0b6fb378c8ef146be00"},
      {"Jefe", "what do ya want for nothing?", "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
      {long_key, "Test Using Larger Than Block-Size Key - Hash Key First",
       "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
  };
  for (const auto &[key, text, digest] : cases) {
    std::string buffer = key;
    EXPECT_EQ(hmac(&buffer, text), digest);
    if (key.size() == 80) {
      EXPECT_EQ(hex(bytesOf(buffer), 20), "4ca0ef38f1794b28a8f8ee110ee79d48ce13be25");
      EXPECT_EQ(buffer.substr(20), key.substr(20)) << "only the first 20 bytes change";
    } else {
      EXPECT_EQ(buffer, key);
    }
  }
}

TEST(HmacSha1, AKeyOfMoreThanABlockIsHashedAndNullIsEmpty) {
  for (size_t length : {64, 65}) {
    std::string key(length, 'k');
    hmac(&key, "text");
    EXPECT_EQ(key == std::string(length, 'k'), length == 64);
  }
  std::string none;
  unsigned char digest[20] = {};
  for (int length : {-1, 0, 100}) {
    hmac_sha1(nullptr, length, nullptr, length, digest);
    EXPECT_EQ(hex(digest, 20), "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d") << length;
  }
  // The text may be where the digest goes.
  const std::string before(reinterpret_cast<char *>(digest), 20);
  hmac_sha1(digest, 20, nullptr, 0, digest);
  EXPECT_EQ(hex(digest, 20), hmac(&none, before));
}

}  // namespace
