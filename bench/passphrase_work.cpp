// Derives WPA keys for whoever counts the instructions of it.
//   passphrase_work WHO TIMES   by orba_util, openssl, libgcrypt, nettle or mbedtls
// The peers are opened by name where the program runs, so that building it for another processor
// takes nothing of theirs. Ends with 77 where one is not there, with 1 where a key is another than
// ours.
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "orba_util.h"

namespace {

const char kPassphrase[] = "correct horse battery staple";
constexpr size_t kPassphraseSize = sizeof(kPassphrase) - 1;
const unsigned char kSsid[] = {'H', 'o', 'm', 'e', 'N', 'e', 't', 'w', 'o', 'r', 'k'};
constexpr int kRounds = 4096;
constexpr size_t kKeySize = 32;

template <class Function>
Function *in(void *library, const char *name) {
  void *found = dlsym(library, name);
  if (found == nullptr) exit(77);
  return reinterpret_cast<Function *>(found);
}

void orbaUtil(void *, unsigned char *key) {
  unsigned char out[40];
  PasswordHash(kPassphrase, kSsid, sizeof(kSsid), out);
  memcpy(key, out, kKeySize);
}

void openssl(void *library, unsigned char *key) {
  const void *sha1 = in<const void *()>(library, "EVP_sha1")();
  in<int(const char *, int, const unsigned char *, int, int, const void *, int, unsigned char *)>(
      library, "PKCS5_PBKDF2_HMAC")(kPassphrase, kPassphraseSize, kSsid, sizeof(kSsid), kRounds,
                                    sha1, kKeySize, key);
}

void libgcrypt(void *library, unsigned char *key) {
  constexpr int kPbkdf2 = 34, kSha1 = 2, kDisableSecmem = 37, kInitialized = 38;
  static const bool ready = [&] {
    in<const char *(const char *)>(library, "gcry_check_version")(nullptr);
    auto *control = in<unsigned(int, ...)>(library, "gcry_control");
    control(kDisableSecmem, 0);
    control(kInitialized, 0);
    return true;
  }();
  if (!ready) return;
  in<unsigned(const void *, size_t, int, int, const void *, size_t, unsigned long, size_t, void *)>(
      library, "gcry_kdf_derive")(kPassphrase, kPassphraseSize, kPbkdf2, kSha1, kSsid,
                                  sizeof(kSsid), kRounds, kKeySize, key);
}

void nettle(void *library, unsigned char *key) {
  in<void(size_t, const void *, unsigned, size_t, const void *, size_t, void *)>(
      library, "nettle_pbkdf2_hmac_sha1")(kPassphraseSize, kPassphrase, kRounds, sizeof(kSsid),
                                          kSsid, kKeySize, key);
}

void mbedtls(void *library, unsigned char *key) {
  constexpr int kSha1 = 4;
  void *context[8] = {};  // larger than theirs
  in<void(void *)>(library, "mbedtls_md_init")(context);
  const void *sha1 = in<const void *(int)>(library, "mbedtls_md_info_from_type")(kSha1);
  in<int(void *, const void *, int)>(library, "mbedtls_md_setup")(context, sha1, 1);
  in<int(void *, const void *, size_t, const void *, size_t, unsigned, uint32_t, void *)>(
      library, "mbedtls_pkcs5_pbkdf2_hmac")(context, kPassphrase, kPassphraseSize, kSsid,
                                            sizeof(kSsid), kRounds, kKeySize, key);
  in<void(void *)>(library, "mbedtls_md_free")(context);
}

const struct {
  const char *name, *file;
  void (*derive)(void *library, unsigned char *key);
} kLibraries[] = {{"orba_util", nullptr, orbaUtil},
                  {"openssl", "libcrypto.so.3", openssl},
                  {"libgcrypt", "libgcrypt.so.20", libgcrypt},
                  {"nettle", "libnettle.so.8", nettle},
                  {"mbedtls", "libmbedcrypto.so.7", mbedtls}};

}  // namespace

int main(int count, char **words) {
  if (count != 3) return 2;
  for (const auto &[name, file, derive] : kLibraries) {
    if (strcmp(name, words[1]) != 0) continue;
    void *library = file != nullptr ? dlopen(file, RTLD_NOW) : nullptr;
    if (file != nullptr && library == nullptr) {
      fprintf(stderr, "passphrase_work: %s\n", dlerror());
      return 77;
    }
    unsigned char ours[kKeySize], key[kKeySize];
    orbaUtil(nullptr, ours);
    for (int i = 0; i < atoi(words[2]); i++) {
      memset(key, 0, sizeof(key));
      derive(library, key);
      if (memcmp(key, ours, kKeySize) != 0) return 1;
    }
    return 0;
  }
  return 2;
}
