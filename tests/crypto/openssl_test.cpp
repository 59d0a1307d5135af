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

class Inputs {
 public:
  int number(int least, int most) { return std::uniform_int_distribution(least, most)(random_); }

  std::string text(int leastByte, int most) {
    std::string text(number(0, most), '\0');
    for (char &c : text) c = static_cast<char>(number(leastByte, 255));
    return text;
  }

 private:
  std::mt19937 random_{20240229};
};

std::string pbkdf2(const std::string &passphrase, const std::string &salt, int iterations,
                   int size) {
  unsigned char out[60] = {};
  PKCS5_PBKDF2_HMAC(passphrase.data(), static_cast<int>(passphrase.size()), bytesOf(salt),
                    static_cast<int>(salt.size()), iterations, EVP_sha1(), size, out);
  return hex(out, size);
}

TEST(AgainstOpenSsl, DigestsAndBlocksOfRandomInputs) {
  Inputs inputs;
  for (int i = 0; i < 300; ++i) {
    const std::string text = inputs.text(0, 300);
    std::string key = inputs.text(0, 130);
    unsigned char digest[20];
    unsigned char expected[20];
    HMAC(EVP_sha1(), key.data(), static_cast<int>(key.size()), bytesOf(text), text.size(), expected,
         nullptr);
    hmac_sha1(bytesOf(text), static_cast<int>(text.size()),
              reinterpret_cast<unsigned char *>(key.data()), static_cast<int>(key.size()), digest);
    ASSERT_EQ(hex(digest, 20), hex(expected, 20)) << i;

    const std::string passphrase = inputs.text(1, 130);
    const std::string salt = inputs.text(0, 130);
    const int iterations = inputs.number(1, 30);
    const size_t block = inputs.number(1, 3);
    F(passphrase.c_str(), bytesOf(salt), static_cast<int>(salt.size()), iterations,
      static_cast<int>(block), digest);
    ASSERT_EQ(hex(digest, 20),
              pbkdf2(passphrase, salt, iterations, 60).substr(40 * (block - 1), 40))
        << i;
  }
}

TEST(AgainstOpenSsl, KeysOfRandomNetworks) {
  Inputs inputs;
  for (int i = 0; i < 40; ++i) {
    const std::string passphrase = inputs.text(1, 63);
    const std::string ssid = inputs.text(0, 32);
    unsigned char key[40];
    ASSERT_EQ(PasswordHash(passphrase.c_str(), bytesOf(ssid), static_cast<int>(ssid.size()), key),
              1);
    ASSERT_EQ(hex(key, 40), pbkdf2(passphrase, ssid, 4096, 40)) << i;
  }
}

}  // namespace
#endif
