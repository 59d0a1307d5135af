// One WPA key, by this library and by each crypto library that is installed.
// Every one derives the same 40 bytes: two blocks of 4096 rounds.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "orba_util.h"
#ifdef BENCH_LIBCRYPTO
#include <openssl/evp.h>
#endif
#ifdef BENCH_MBEDTLS
#include <mbedtls/pkcs5.h>
#include <mbedtls/version.h>
#endif
#ifdef BENCH_NETTLE
#include <nettle/pbkdf2.h>
#endif
#ifdef BENCH_LIBGCRYPT
#include <gcrypt.h>
#endif

namespace {

const char kOurs[] = "orba_util";
const char kPassphrase[] = "correct horse battery staple";
constexpr size_t kPassphraseSize = sizeof(kPassphrase) - 1;
const unsigned char kSsid[] = {'H', 'o', 'm', 'e', 'N', 'e', 't', 'w', 'o', 'r', 'k'};
constexpr int kRounds = 4096;
constexpr size_t kKeySize = 40;

using Derive = void (*)(unsigned char key[kKeySize]);

void orbaUtil(unsigned char *key) {
  PasswordHash(kPassphrase, kSsid, sizeof(kSsid), key);
}

#ifdef BENCH_LIBCRYPTO
void openssl(unsigned char *key) {
  PKCS5_PBKDF2_HMAC(kPassphrase, kPassphraseSize, kSsid, sizeof(kSsid), kRounds, EVP_sha1(),
                    kKeySize, key);
}
#endif

#ifdef BENCH_MBEDTLS
void mbedtls(unsigned char *key) {
  auto *passphrase = reinterpret_cast<const unsigned char *>(kPassphrase);
#if MBEDTLS_VERSION_NUMBER >= 0x03030000
  mbedtls_pkcs5_pbkdf2_hmac_ext(MBEDTLS_MD_SHA1, passphrase, kPassphraseSize, kSsid, sizeof(kSsid),
                                kRounds, kKeySize, key);
#else
  mbedtls_md_context_t sha1;
  mbedtls_md_init(&sha1);
  mbedtls_md_setup(&sha1, mbedtls_md_info_from_type(MBEDTLS_MD_SHA1), 1);
  mbedtls_pkcs5_pbkdf2_hmac(&sha1, passphrase, kPassphraseSize, kSsid, sizeof(kSsid), kRounds,
                            kKeySize, key);
  mbedtls_md_free(&sha1);
#endif
}
#endif

#ifdef BENCH_NETTLE
void nettle(unsigned char *key) {
  nettle_pbkdf2_hmac_sha1(kPassphraseSize, reinterpret_cast<const uint8_t *>(kPassphrase), kRounds,
                          sizeof(kSsid), kSsid, kKeySize, key);
}
#endif

#ifdef BENCH_LIBGCRYPT
void libgcrypt(unsigned char *key) {
  gcry_kdf_derive(kPassphrase, kPassphraseSize, GCRY_KDF_PBKDF2, GCRY_MD_SHA1, kSsid, sizeof(kSsid),
                  kRounds, kKeySize, key);
}
#endif

struct Library {
  const char *name;
  Derive derive;
};

const Library kLibraries[] = {
    {kOurs, orbaUtil},
#ifdef BENCH_LIBCRYPTO
    {"openssl", openssl},
#endif
#ifdef BENCH_MBEDTLS
    {"mbedtls", mbedtls},
#endif
#ifdef BENCH_NETTLE
    {"nettle", nettle},
#endif
#ifdef BENCH_LIBGCRYPT
    {"libgcrypt", libgcrypt},
#endif
};

void measure(benchmark::State &state, Derive derive) {
  unsigned char ours[kKeySize];
  orbaUtil(ours);
  unsigned char key[kKeySize] = {};
  while (state.KeepRunning()) {
    derive(key);
    benchmark::DoNotOptimize(key);
  }
  if (memcmp(key, ours, kKeySize) != 0) state.SkipWithError("a different key");
}

// The usual report, which also keeps the medians to compare them at the end.
class Comparison : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      if (run.aggregate_name != "median") continue;
      medians_[run.run_name.function_name] = run.GetAdjustedCPUTime();
    }
  }

  void print() const {
    auto ours = medians_.find(kOurs);
    if (ours == medians_.end()) return;
    printf("\n%s / peer, median CPU time (below 1: ahead)\n", kOurs);
    for (const auto &[name, time] : medians_) {
      if (name != kOurs) printf("  %-10s %.2f\n", name.c_str(), ours->second / time);
    }
  }

 private:
  std::map<std::string, double> medians_;
};

}  // namespace

int main(int argc, char **argv) {
#ifdef BENCH_LIBGCRYPT
  gcry_check_version(nullptr);
  gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
  gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
#endif
  // Interleaved repetitions, so that a busy machine is busy for everyone.
  std::vector<char *> arguments(argv, argv + argc);
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  arguments.insert(arguments.begin() + 1, interleave);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  for (const Library &library : kLibraries) {
    benchmark::RegisterBenchmark(library.name, measure, library.derive)
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.1)
        ->Repetitions(15)
        ->DisplayAggregatesOnly();
  }
  Comparison comparison;
  benchmark::RunSpecifiedBenchmarks(&comparison);
  comparison.print();
}
