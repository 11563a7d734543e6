// Measures the utilities beside libcrypto doing the same work on the same bytes, and the version
// comparison over growing versions. After the usual output it prints the tables of
// docs/performance.md. They give the least processor time of all repetitions, because other
// processes disturb it least.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/ec.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/obj_mac.h>
#include <openssl/sha.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "util/randomness_and_hashing.h"
#include "util/signatures_and_key_paths.h"
#include "util/text_conversions.h"
#include "version/compare_version.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes RandomBytes(std::size_t size) {
  // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same bytes in every run.
  std::mt19937 generator(20260704);
  Bytes bytes(size);
  for (std::uint8_t& byte : bytes) {
    byte = static_cast<std::uint8_t>(generator());
  }
  return bytes;
}

std::size_t Size(const benchmark::State& state) { return static_cast<std::size_t>(state.range(0)); }

template <typename Work>
void Repeat(benchmark::State& state, Work work) {
  // NOLINTNEXTLINE(clang-analyzer-deadcode.DeadStores): the loop is all that the variable is for.
  for (auto _ : state) {
    work();
  }
}

void Base64(benchmark::State& state) {
  const Bytes bytes = RandomBytes(Size(state));
  const auto* characters = reinterpret_cast<const char*>(bytes.data());
  Repeat(state, [&] {
    benchmark::DoNotOptimize(base64_encode(characters, static_cast<std::uint32_t>(bytes.size())));
  });
}

/// Encodes into a new string each time, as base64_encode() does.
void Base64OfLibcrypto(benchmark::State& state) {
  const Bytes bytes = RandomBytes(Size(state));
  Repeat(state, [&] {
    std::string text((bytes.size() + 2) / 3 * 4, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                    static_cast<int>(bytes.size()));
    benchmark::DoNotOptimize(text);
  });
}

/// Encodes into the same buffer each time.
void Base64OfLibcryptoInPlace(benchmark::State& state) {
  const Bytes bytes = RandomBytes(Size(state));
  Bytes text((bytes.size() + 2) / 3 * 4 + 1);
  Repeat(state, [&] {
    EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size()));
    benchmark::ClobberMemory();
  });
}

void HexText(benchmark::State& state) {
  const Bytes bytes = RandomBytes(Size(state));
  Repeat(state, [&] {
    benchmark::DoNotOptimize(
        uint8_to_hex_string(bytes.data(), static_cast<std::uint32_t>(bytes.size())));
  });
}

void HexTextOfLibcrypto(benchmark::State& state) {
  const Bytes bytes = RandomBytes(Size(state));
  Repeat(state, [&] {
    char* text = OPENSSL_buf2hexstr(bytes.data(), static_cast<long>(bytes.size()));
    benchmark::DoNotOptimize(text);
    OPENSSL_free(text);
  });
}

/// Hexadecimal text of `size` bytes.
std::string Text(std::size_t size) {
  const Bytes bytes = RandomBytes(size);
  return uint8_to_hex_string(bytes.data(), static_cast<std::uint32_t>(size));
}

void HexBytes(benchmark::State& state) {
  const std::string text = Text(Size(state));
  Bytes bytes(Size(state));
  Repeat(state, [&] {
    auto size = static_cast<std::uint32_t>(bytes.size());
    benchmark::DoNotOptimize(
        hex_str_2_bin(bytes.data(), text.data(), &size, static_cast<std::uint32_t>(text.size())));
    benchmark::ClobberMemory();
  });
}

void HexBytesOfLibcrypto(benchmark::State& state) {
  const std::string text = Text(Size(state));
  Repeat(state, [&] {
    long size = 0;
    unsigned char* bytes = OPENSSL_hexstr2buf(text.c_str(), &size);
    benchmark::DoNotOptimize(bytes);
    OPENSSL_free(bytes);
  });
}

void Hash(benchmark::State& state) {
  const Bytes bytes = RandomBytes(Size(state));
  unsigned char digest[SHA256_DIGEST_LENGTH];
  Repeat(state, [&] {
    std::uint32_t size = sizeof digest;
    benchmark::DoNotOptimize(
        GetSHA256Hash(bytes.data(), static_cast<std::uint32_t>(bytes.size()), digest, &size));
    benchmark::ClobberMemory();
  });
}

void HashOfLibcrypto(benchmark::State& state) {
  const Bytes bytes = RandomBytes(Size(state));
  unsigned char digest[SHA256_DIGEST_LENGTH];
  Repeat(state, [&] {
    SHA256_CTX context;
    SHA256_Init(&context);
    SHA256_Update(&context, bytes.data(), bytes.size());
    SHA256_Final(digest, &context);
    benchmark::ClobberMemory();
  });
}

/// Returns signatures of a fresh P-256 key in DER.
std::vector<Bytes> Signatures() {
  std::vector<Bytes> signatures;
  EC_KEY* key = EC_KEY_new_by_curve_name(NID_X9_62_prime256v1);
  EC_KEY_generate_key(key);
  for (int i = 0; i < 256; ++i) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(&i), sizeof i, digest);
    ECDSA_SIG* signature = ECDSA_do_sign(digest, sizeof digest, key);
    Bytes der(static_cast<std::size_t>(i2d_ECDSA_SIG(signature, nullptr)));
    unsigned char* end = der.data();
    i2d_ECDSA_SIG(signature, &end);
    ECDSA_SIG_free(signature);
    signatures.push_back(std::move(der));
  }
  EC_KEY_free(key);
  return signatures;
}

void RawSignature(benchmark::State& state) {
  const std::vector<Bytes> signatures = Signatures();
  std::size_t i = 0;
  unsigned char raw[64];
  Repeat(state, [&] {
    const Bytes& der = signatures[i++ % signatures.size()];
    std::uint32_t size = sizeof raw;
    benchmark::DoNotOptimize(
        ecSignature_der_to_raw(der.data(), static_cast<std::uint32_t>(der.size()), raw, &size));
    benchmark::ClobberMemory();
  });
}

void RawSignatureOfLibcrypto(benchmark::State& state) {
  const std::vector<Bytes> signatures = Signatures();
  std::size_t i = 0;
  unsigned char raw[64];
  Repeat(state, [&] {
    const Bytes& der = signatures[i++ % signatures.size()];
    const unsigned char* end = der.data();
    ECDSA_SIG* signature = d2i_ECDSA_SIG(nullptr, &end, static_cast<long>(der.size()));
    const BIGNUM* r = nullptr;
    const BIGNUM* s = nullptr;
    ECDSA_SIG_get0(signature, &r, &s);
    BN_bn2binpad(r, raw, 32);
    BN_bn2binpad(s, raw + 32, 32);
    ECDSA_SIG_free(signature);
    benchmark::ClobberMemory();
  });
}

/// Two equal versions of parts of a usual length, and every line of them to /dev/null.
void CompareVersion(benchmark::State& state) {
  std::string version;
  while (version.size() < Size(state)) {
    version += "S01.25,0427,R/";
  }
  version.resize(Size(state));
  std::fflush(stdout);
  const int console = dup(STDOUT_FILENO);
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(null, STDOUT_FILENO);
  Repeat(state, [&] { benchmark::DoNotOptimize(compareVersion(version, version)); });
  dup2(console, STDOUT_FILENO);
  close(null);
  close(console);
}

struct Operation {
  const char* name;
  const char* libcryptoName;
  void (*run)(benchmark::State&);
  void (*runLibcrypto)(benchmark::State&);
  std::vector<std::int64_t> sizes;
};

const Operation kOperations[] = {
    {"base64_encode", "EVP_EncodeBlock", Base64, Base64OfLibcrypto, {32, 1024, 8192, 1 << 20}},
    {"base64_encode",
     "EVP_EncodeBlock, same buffer",
     Base64,
     Base64OfLibcryptoInPlace,
     {32, 1024, 8192, 1 << 20}},
    {"uint8_to_hex_string",
     "OPENSSL_buf2hexstr",
     HexText,
     HexTextOfLibcrypto,
     {32, 1024, 8192, 1 << 20}},
    {"hex_str_2_bin",
     "OPENSSL_hexstr2buf",
     HexBytes,
     HexBytesOfLibcrypto,
     {32, 1024, 8192, 1 << 20}},
    {"GetSHA256Hash",
     "SHA256_Init, _Update, _Final",
     Hash,
     HashOfLibcrypto,
     {32, 1024, 8192, 1 << 20}},
    {"ecSignature_der_to_raw",
     "d2i_ECDSA_SIG, BN_bn2binpad",
     RawSignature,
     RawSignatureOfLibcrypto,
     {64}},
};
const std::int64_t kVersionSizes[] = {1 << 10, 1 << 14, 1 << 17, 1 << 20};

/// Keeps the least time of each benchmark and prints the tables at the end.
class TableReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration) {
        const double time = run.GetAdjustedCPUTime();
        const auto least =
            leastTimes.emplace(run.run_name.function_name + "/" + run.run_name.args, time).first;
        least->second = std::min(least->second, time);
      }
    }
  }

  void Finalize() override {
    std::printf("\n| Operation | Bytes | ns | libcrypto | ns | Times as fast |\n");
    std::printf("|---|---:|---:|---|---:|---:|\n");
    for (const Operation& operation : kOperations) {
      for (const std::int64_t size : operation.sizes) {
        const double time = Time(operation.name, size);
        const double libcryptoTime = Time(operation.libcryptoName, size);
        std::printf("| `%s` | %lld | %.1f | `%s` | %.1f | %.2f |\n", operation.name,
                    static_cast<long long>(size), time, operation.libcryptoName, libcryptoTime,
                    libcryptoTime / time);
      }
    }
    std::printf("\n| Operation | Bytes | ns | ns a byte |\n|---|---:|---:|---:|\n");
    for (const std::int64_t size : kVersionSizes) {
      const double time = Time("compareVersion", size);
      std::printf("| `compareVersion` | %lld | %.0f | %.1f |\n", static_cast<long long>(size), time,
                  time / static_cast<double>(size));
    }
  }

 private:
  double Time(const std::string& name, std::int64_t size) const {
    const auto time = leastTimes.find(name + "/" + std::to_string(size));
    return time == leastTimes.end() ? 0 : time->second;
  }

  std::map<std::string, double> leastTimes;
};

}  // namespace

int main(int argc, char** argv) {
  for (const Operation& operation : kOperations) {
    for (const std::int64_t size : operation.sizes) {
      benchmark::RegisterBenchmark(operation.name, operation.run)->Arg(size);
      benchmark::RegisterBenchmark(operation.libcryptoName, operation.runLibcrypto)->Arg(size);
    }
  }
  for (const std::int64_t size : kVersionSizes) {
    benchmark::RegisterBenchmark("compareVersion", CompareVersion)->Arg(size);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
}
