// A few hundred random inputs against a library that many eyes have read.
#ifdef ORBA_HAVE_OPENSSL
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <random>
#include <string>

#include "crypto/hex.h"
#include "orba_util.h"

namespace {

TEST(AgainstOpenSsl, DigestsAndBlocksOfRandomInputs) {
  std::mt19937 random(20240229);
  const auto number = [&](int least, int most) {
    return std::uniform_int_distribution(least, most)(random);
  };
  const auto text = [&](int least_byte) {
    std::string bytes(number(0, 130), '\0');
    for (char &c : bytes) c = static_cast<char>(number(least_byte, 255));
    return bytes;
  };
  for (int i = 0; i < 300; ++i) {
    const std::string message = text(0), salt = text(0), passphrase = text(1);
    std::string key = text(0);
    unsigned char digest[20], expected[60];
    HMAC(EVP_sha1(), key.data(), static_cast<int>(key.size()), bytesOf(message), message.size(),
         expected, nullptr);
    hmac_sha1(bytesOf(message), static_cast<int>(message.size()),
              reinterpret_cast<unsigned char *>(key.data()), static_cast<int>(key.size()), digest);
    ASSERT_EQ(hex(digest, 20), hex(expected, 20)) << i;

    const int salt_length = static_cast<int>(salt.size());
    const int iterations = number(1, 30), block = number(1, 3);
    PKCS5_PBKDF2_HMAC(passphrase.data(), static_cast<int>(passphrase.size()), bytesOf(salt),
                      salt_length, iterations, EVP_sha1(), 60, expected);
    F(passphrase.c_str(), bytesOf(salt), salt_length, iterations, block, digest);
    ASSERT_EQ(hex(digest, 20), hex(expected + 20 * (block - 1), 20)) << i;
  }
}

}  // namespace
#endif
