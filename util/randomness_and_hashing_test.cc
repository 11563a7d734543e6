#include "util/randomness_and_hashing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

/// The results that RAND_bytes returns in place of doing its work, and the calls that it got.
struct FakeRandomness {
  std::vector<int> results;
  std::vector<std::pair<const unsigned char*, int>> calls;
};
FakeRandomness* fakeRandomness = nullptr;

/// The SHA256_ calls in their order. Each does its work, and reports failure on demand.
struct HashCalls {
  bool reportFailure = false;
  std::vector<std::string> names;
  std::vector<std::pair<const void*, std::size_t>> updates;
};
HashCalls* hashCalls = nullptr;

int Recorded(const char* name, int result) {
  if (hashCalls == nullptr) {
    return result;
  }
  hashCalls->names.emplace_back(name);
  return hashCalls->reportFailure ? 0 : result;
}

}  // namespace

// The linker's --wrap leads the calls of libcrypto's functions here.
extern "C" {
int RealRandBytes(unsigned char* buffer, int count) __asm__("__real_RAND_bytes");
int WrappedRandBytes(unsigned char* buffer, int count) __asm__("__wrap_RAND_bytes");
int RealSha256Init(SHA256_CTX* context) __asm__("__real_SHA256_Init");
int WrappedSha256Init(SHA256_CTX* context) __asm__("__wrap_SHA256_Init");
int RealSha256Update(SHA256_CTX* context, const void* data,
                     std::size_t length) __asm__("__real_SHA256_Update");
int WrappedSha256Update(SHA256_CTX* context, const void* data,
                        std::size_t length) __asm__("__wrap_SHA256_Update");
int RealSha256Final(unsigned char* digest, SHA256_CTX* context) __asm__("__real_SHA256_Final");
int WrappedSha256Final(unsigned char* digest, SHA256_CTX* context) __asm__("__wrap_SHA256_Final");

int WrappedRandBytes(unsigned char* buffer, int count) {
  if (fakeRandomness == nullptr) {
    return RealRandBytes(buffer, count);
  }
  const std::size_t index = fakeRandomness->calls.size();
  fakeRandomness->calls.emplace_back(buffer, count);
  return fakeRandomness->results.at(index);
}

int WrappedSha256Init(SHA256_CTX* context) { return Recorded("init", RealSha256Init(context)); }

int WrappedSha256Update(SHA256_CTX* context, const void* data, std::size_t length) {
  if (hashCalls != nullptr) {
    hashCalls->updates.emplace_back(data, length);
  }
  return Recorded("update", RealSha256Update(context, data, length));
}

int WrappedSha256Final(unsigned char* digest, SHA256_CTX* context) {
  return Recorded("final", RealSha256Final(digest, context));
}
}

namespace {

/// Calls GetRandomBytes(); returns its result and what it printed.
std::pair<std::int32_t, std::string> RandomBytes(unsigned char* buffer, std::uint32_t count) {
  testing::internal::CaptureStdout();
  const std::int32_t result = GetRandomBytes(buffer, count);
  return {result, testing::internal::GetCapturedStdout()};
}

class RandomBytesTest : public testing::Test {
 protected:
  void TearDown() override { fakeRandomness = nullptr; }

  void Fake(std::vector<int> results) {
    fake.results = std::move(results);
    fakeRandomness = &fake;
  }

  FakeRandomness fake;
};

TEST_F(RandomBytesTest, AnyCount_FillsThatManyBytes) {
  // Of 200 times 8 bytes each place holds another value than the guard at least once, unless
  // randomness fails: the odds are 2^-1600.
  constexpr unsigned char kGuard = 0xA5;
  std::array<bool, 8> changed{};
  for (int round = 0; round < 200; ++round) {
    std::array<unsigned char, 10> buffer{};
    buffer.fill(kGuard);
    ASSERT_THAT(RandomBytes(buffer.data(), 8), Pair(0, "Data successfully generated\n"));
    for (std::size_t i = 0; i < changed.size(); ++i) {
      changed[i] = changed[i] || buffer[i] != kGuard;
    }
    ASSERT_EQ(buffer[8], kGuard);
    ASSERT_EQ(buffer[9], kGuard);
  }
  EXPECT_THAT(changed, testing::Each(true));
}

TEST_F(RandomBytesTest, TwoCalls_GiveDifferentBytes) {
  std::array<unsigned char, 32> first{};
  std::array<unsigned char, 32> second{};
  ASSERT_THAT(RandomBytes(first.data(), 32), Pair(0, "Data successfully generated\n"));
  ASSERT_THAT(RandomBytes(second.data(), 32), Pair(0, "Data successfully generated\n"));
  EXPECT_NE(first, second);
}

TEST_F(RandomBytesTest, CountOfZero_AsksLibcryptoOnce) {
  Fake({1});
  unsigned char buffer = 0xA5;
  EXPECT_THAT(RandomBytes(&buffer, 0), Pair(0, "Data successfully generated\n"));
  EXPECT_THAT(fake.calls, ElementsAre(Pair(&buffer, 0)));
}

TEST_F(RandomBytesTest, LibcryptoFails_PrintsAndReturnsMinusOne) {
  for (const int failure : {0, -1, 2}) {
    for (const std::uint32_t count : {0U, 1U, 16U}) {
      SCOPED_TRACE(testing::Message() << "result " << failure << ", count " << count);
      fake.calls.clear();
      Fake({failure});
      std::array<unsigned char, 16> buffer{};
      EXPECT_THAT(RandomBytes(buffer.data(), count), Pair(-1, "Data generation error!\n"));
      EXPECT_THAT(fake.calls, ElementsAre(Pair(buffer.data(), static_cast<int>(count))));
    }
  }
}

/// Addresses for the largest count there is, without any memory.
class AddressRange {
 public:
  AddressRange()
      : start(mmap(nullptr, kSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
  }
  ~AddressRange() {
    if (start != MAP_FAILED) {
      munmap(start, kSize);
    }
  }
  AddressRange(const AddressRange&) = delete;
  AddressRange& operator=(const AddressRange&) = delete;
  bool Exists() const { return start != MAP_FAILED; }
  unsigned char* Start() const { return static_cast<unsigned char*>(start); }

 private:
  static constexpr std::size_t kSize = std::numeric_limits<std::uint32_t>::max();
  void* start;
};

TEST_F(RandomBytesTest, CountAboveInt_IsAskedForInParts) {
  const AddressRange range;
  ASSERT_TRUE(range.Exists());
  constexpr int kMost = std::numeric_limits<int>::max();
  Fake({1, 1, 1});
  EXPECT_THAT(RandomBytes(range.Start(), 0xFFFFFFFF), Pair(0, "Data successfully generated\n"));
  EXPECT_THAT(fake.calls,
              ElementsAre(Pair(range.Start(), kMost), Pair(range.Start() + kMost, kMost),
                          Pair(range.Start() + 2 * std::size_t{kMost}, 1)));

  fake.calls.clear();
  Fake({1});
  EXPECT_THAT(RandomBytes(range.Start(), 0x7FFFFFFF), Pair(0, "Data successfully generated\n"));
  EXPECT_THAT(fake.calls, ElementsAre(Pair(range.Start(), kMost)));

  fake.calls.clear();
  Fake({1, 0});
  EXPECT_THAT(RandomBytes(range.Start(), 0xFFFFFFFF), Pair(-1, "Data generation error!\n"));
  EXPECT_EQ(fake.calls.size(), 2U);
}

std::string Hex(const std::vector<unsigned char>& bytes) {
  std::string text;
  for (const unsigned char byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", unsigned{byte});
    text += digits;
  }
  return text;
}

std::string Repeated(std::size_t count, char character) { return std::string(count, character); }

struct PublishedHash {
  const char* name;
  std::string message;
  const char* digest;
};

// The examples that NIST publishes for SHA-256 of FIPS 180.
const PublishedHash kPublishedHashes[] = {
    {"one block", "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
    {"two blocks", "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
     "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
    {"112 bytes",
     "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnop"
     "q"
     "rsmnopqrstnopqrstu",
     "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
    {"a million times a", Repeated(1000000, 'a'),
     "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    {"byte bd", "\xbd", "68325720aabd7c82f30f554b313d0570c95accbb7dc4b5aae11204c08ffe732b"},
    {"bytes c98c8e55", "\xc9\x8c\x8e\x55",
     "7abc22c0ae5af26ce93dbb94433a0e0b2e119d014f8e7f65bd56c61ccccd9504"},
    {"55 zero bytes", Repeated(55, '\0'),
     "02779466cdec163811d078815c633f21901413081449002f24aa3e80f0b88ef7"},
    {"56 zero bytes", Repeated(56, '\0'),
     "d4817aa5497628e7c77e6b606107042bbba3130888c5f47a375e6179be789fbb"},
    {"57 zero bytes", Repeated(57, '\0'),
     "65a16cb7861335d5ace3c60718b5052e44660726da4cd13bb745381b235a1785"},
    {"64 zero bytes", Repeated(64, '\0'),
     "f5a5fd42d16a20302798ef6ed309979b43003d2320d9f0e8ea9831a92759fb4b"},
    {"1000 zero bytes", Repeated(1000, '\0'),
     "541b3e9daa09b20bf85fa273e5cbd3e80185aa4ec298e765db87742b70138a53"},
    {"1000 times A", Repeated(1000, 'A'),
     "c2e686823489ced2017f6059b8b239318b6364f6dcd835d0a519105a1eadd6e4"},
    {"1005 times U", Repeated(1005, 'U'),
     "f4d62ddec0f3dd90ea1380fa16a5ff8dc4c54b21740650f24afc4120903552b0"},
    {"a million zero bytes", Repeated(1000000, '\0'),
     "d29751f2649b32ff572b5e0a9f541ea660a50f94ff0beedfb0b692b924cc8025"},
};

class HashTest : public testing::Test {
 protected:
  void SetUp() override { hashCalls = &calls; }
  void TearDown() override { hashCalls = nullptr; }

  /// Hashes into an output of `size` bytes, of which `outputLength` are offered.
  std::int32_t Hash(const unsigned char* data, std::uint32_t length, std::size_t size = 32) {
    output.assign(size, 0xA5);
    testing::internal::CaptureStdout();
    const std::int32_t result = GetSHA256Hash(data, length, output.data(), &outputLength);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    return result;
  }

  HashCalls calls;
  std::vector<unsigned char> output;
  std::uint32_t outputLength = 32;
};

TEST_F(HashTest, PublishedMessages_GiveThePublishedHashes) {
  for (const PublishedHash& hash : kPublishedHashes) {
    SCOPED_TRACE(hash.name);
    const auto* data = reinterpret_cast<const unsigned char*>(hash.message.data());
    calls = {};
    EXPECT_EQ(Hash(data, static_cast<std::uint32_t>(hash.message.size())), 1);
    EXPECT_EQ(outputLength, 32U);
    EXPECT_EQ(Hex(output), hash.digest);
    EXPECT_THAT(calls.names, ElementsAre("init", "update", "final"));
    EXPECT_THAT(calls.updates, ElementsAre(Pair(data, hash.message.size())));
  }
}

TEST_F(HashTest, LongerOutput_KeepsItsOtherBytes) {
  outputLength = 64;
  EXPECT_EQ(Hash(reinterpret_cast<const unsigned char*>("abc"), 3, 64), 1);
  EXPECT_EQ(outputLength, 32U);
  EXPECT_EQ(Hex(output), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad" +
                             std::string("a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5") +
                             "a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5");
}

TEST_F(HashTest, LibcryptoReportsFailure_IsIgnored) {
  calls.reportFailure = true;
  EXPECT_EQ(Hash(reinterpret_cast<const unsigned char*>("abc"), 3), 1);
  EXPECT_EQ(outputLength, 32U);
  EXPECT_EQ(Hex(output), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_THAT(calls.names, ElementsAre("init", "update", "final"));
}

TEST_F(HashTest, UnusableArguments_ChangeNothing) {
  const unsigned char data[] = {'a', 'b', 'c'};
  struct Refusal {
    const char* name;
    const unsigned char* data;
    std::uint32_t length;
    bool withOutput;
    std::uint32_t outputLength;
  };
  const Refusal refusals[] = {
      {"no data", nullptr, 3, true, 32},
      {"empty data", data, 0, true, 32},
      {"no output", data, 3, false, 32},
      {"an output of 31 bytes", data, 3, true, 31},
      {"an output of no bytes", data, 3, true, 0},
      {"no output, and a size too small", data, 3, false, 31},
  };
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.name);
    output.assign(32, 0xA5);
    outputLength = refusal.outputLength;
    testing::internal::CaptureStdout();
    EXPECT_EQ(GetSHA256Hash(refusal.data, refusal.length,
                            refusal.withOutput ? output.data() : nullptr, &outputLength),
              0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(outputLength, refusal.outputLength);
    EXPECT_THAT(output, testing::Each(0xA5));
    EXPECT_THAT(calls.names, ElementsAre());
  }
}

}  // namespace
