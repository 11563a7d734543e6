#include "util/signatures_and_key_paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/ecdsa.h>
#include <openssl/obj_mac.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<unsigned char>;

constexpr unsigned char kGuard = 0xA5;

/// A conversion's result. The output is exactly as long as the caller said.
struct Conversion {
  std::int32_t code;
  std::uint32_t rawLength;
  Bytes raw;
};

Conversion Convert(const Bytes& der, std::uint32_t rawLength = 64) {
  Conversion conversion{1, rawLength, Bytes(rawLength, kGuard)};
  testing::internal::CaptureStdout();
  conversion.code = ecSignature_der_to_raw(der.data(), static_cast<std::uint32_t>(der.size()),
                                           conversion.raw.data(), &conversion.rawLength);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  return conversion;
}

/// Returns `length` bytes, the first one `first` and the others from 1 on.
Bytes Counted(unsigned char first, std::size_t length) {
  Bytes bytes(length);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
  if (!bytes.empty()) {
    bytes[0] = first;
  }
  return bytes;
}

Bytes Joined(std::initializer_list<Bytes> parts) {
  Bytes bytes;
  for (const Bytes& part : parts) {
    bytes.insert(bytes.end(), part.begin(), part.end());
  }
  return bytes;
}

Bytes Der(const Bytes& r, const Bytes& s) {
  return Joined({{0x30, static_cast<unsigned char>(r.size() + s.size() + 4)},
                 {0x02, static_cast<unsigned char>(r.size())},
                 r,
                 {0x02, static_cast<unsigned char>(s.size())},
                 s});
}

TEST(EcSignatureDerToRaw, ComponentsOfEveryLength_AreRightAligned) {
  for (std::size_t rLength = 0; rLength <= 33; ++rLength) {
    for (std::size_t sLength = 0; sLength <= 33; ++sLength) {
      SCOPED_TRACE(testing::Message() << "r of " << rLength << ", s of " << sLength << " bytes");
      const Bytes r = Counted(rLength == 33 ? 0x00 : 0x41, rLength);
      const Bytes s = Counted(sLength == 33 ? 0x00 : 0x42, sLength);
      const auto padded = [](const Bytes& integer) {
        return integer.size() == 33 ? Bytes(integer.begin() + 1, integer.end())
                                    : Joined({Bytes(32 - integer.size(), 0), integer});
      };
      const Conversion conversion = Convert(Der(r, s));
      EXPECT_EQ(conversion.code, 0);
      EXPECT_EQ(conversion.rawLength, 64U);
      EXPECT_EQ(conversion.raw, Joined({padded(r), padded(s)}));
    }
  }
}

TEST(EcSignatureDerToRaw, ComponentOf33Bytes_LosesItsFirstByte) {
  Bytes expected = Counted(0, 33);
  expected.erase(expected.begin());
  const Conversion conversion = Convert(Der(Counted(0xFF, 33), Counted(0x01, 33)));
  EXPECT_EQ(conversion.code, 0);
  EXPECT_EQ(conversion.raw, Joined({expected, expected}));
}

TEST(EcSignatureDerToRaw, OddSequenceLengthAndTail_AreIgnored) {
  const Bytes expected = Joined({Counted(0x41, 32), Counted(0x42, 32)});
  for (const int sequenceLength : {0x00, 0x01, 0x44, 0x46}) {
    Bytes der = Joined({Der(Counted(0x41, 32), Counted(0x42, 32)), {0xFF, 0xFF}});
    der[1] = static_cast<unsigned char>(sequenceLength);
    const Conversion conversion = Convert(der);
    EXPECT_EQ(conversion.code, 0);
    EXPECT_EQ(conversion.raw, expected);
  }
}

TEST(EcSignatureDerToRaw, LongerOutput_KeepsItsOtherBytes) {
  const Conversion conversion = Convert(Der(Counted(0x41, 32), Counted(0x42, 32)), 70);
  EXPECT_EQ(conversion.code, 0);
  EXPECT_EQ(conversion.rawLength, 64U);
  EXPECT_EQ(conversion.raw, Joined({Counted(0x41, 32), Counted(0x42, 32), Bytes(6, kGuard)}));
}

TEST(EcSignatureDerToRaw, OutputOverInput_Converts) {
  Bytes bytes = Der(Counted(0x41, 32), Counted(0x42, 32));
  std::uint32_t rawLength = 64;
  EXPECT_EQ(ecSignature_der_to_raw(bytes.data(), 70, bytes.data(), &rawLength), 0);
  bytes.resize(64);
  EXPECT_EQ(bytes, Joined({Counted(0x41, 32), Counted(0x42, 32)}));
}

struct Failure {
  const char* name;
  Bytes der;
  std::uint32_t rawLength;
  std::int32_t code;
};

Bytes WithByte(Bytes der, std::size_t offset, unsigned char value) {
  der[offset] = value;
  return der;
}

const Bytes kWhole = Der(Counted(0x41, 32), Counted(0x42, 32));
const Bytes kLongest = Der(Counted(0x00, 33), Counted(0x00, 33));

const Failure kFailures[] = {
    {"no bytes", {}, 64, -1},
    {"a sequence without a length", {0x30}, 64, -1},
    {"73 bytes", Joined({kLongest, {0x00}}), 64, -1},
    {"another tag than a sequence", WithByte(kWhole, 0, 0x31), 64, -1},
    {"a sequence of 71 bytes", WithByte(kWhole, 1, 0x47), 64, -1},
    {"a sequence and nothing in it", {0x30, 0x00}, 64, -2},
    {"another tag than r's", WithByte(kWhole, 2, 0x03), 64, -2},
    {"r without a length", {0x30, 0x01, 0x02}, 64, -3},
    {"r of no bytes and nothing behind it", {0x30, 0x02, 0x02, 0x00}, 64, -3},
    {"half of s's head", {0x30, 0x03, 0x02, 0x00, 0x02}, 64, -3},
    {"r that leaves one byte", WithByte(kWhole, 3, 65), 64, -3},
    {"r of 255 bytes", WithByte(kWhole, 3, 255), 64, -3},
    {"r of 34 bytes", WithByte(kWhole, 3, 34), 64, -4},
    {"r that leaves two bytes", WithByte(kWhole, 3, 64), 64, -4},
    {"another tag than s's", WithByte(kWhole, 36, 0x00), 64, -5},
    {"s one byte beyond the end", WithByte(kWhole, 37, 33), 64, -6},
    {"s of 255 bytes", WithByte(kWhole, 37, 255), 64, -6},
    {"s of 34 bytes", Joined({WithByte(kWhole, 37, 34), {0x00, 0x00}}), 64, -7},
    {"an output of 63 bytes", kWhole, 63, -8},
    {"an output of no bytes", kWhole, 0, -8},
    {"the first failing check counts", WithByte(WithByte(kWhole, 36, 0), 37, 255), 0, -5},
};

TEST(EcSignatureDerToRaw, FailingCheck_ReturnsItsCodeAndWritesNothing) {
  for (const Failure& failure : kFailures) {
    SCOPED_TRACE(failure.name);
    const Conversion conversion = Convert(failure.der, failure.rawLength);
    EXPECT_EQ(conversion.code, failure.code);
    EXPECT_EQ(conversion.rawLength, failure.rawLength);
    EXPECT_EQ(conversion.raw, Bytes(failure.rawLength, kGuard));
  }
}

struct FreeSignature {
  void operator()(ECDSA_SIG* signature) const { ECDSA_SIG_free(signature); }
};
using Signature = std::unique_ptr<ECDSA_SIG, FreeSignature>;

Bytes LibcryptoDer(const ECDSA_SIG* signature) {
  Bytes der(static_cast<std::size_t>(i2d_ECDSA_SIG(signature, nullptr)));
  unsigned char* end = der.data();
  i2d_ECDSA_SIG(signature, &end);
  return der;
}

/// Returns the raw form as libcrypto parses and pads it.
Bytes LibcryptoRaw(const Bytes& der) {
  const unsigned char* end = der.data();
  const Signature signature(d2i_ECDSA_SIG(nullptr, &end, static_cast<long>(der.size())));
  const BIGNUM* r = nullptr;
  const BIGNUM* s = nullptr;
  ECDSA_SIG_get0(signature.get(), &r, &s);
  Bytes raw(64);
  EXPECT_EQ(BN_bn2binpad(r, raw.data(), 32), 32);
  EXPECT_EQ(BN_bn2binpad(s, raw.data() + 32, 32), 32);
  return raw;
}

TEST(EcSignatureDerToRaw, SignaturesOfAKey_AgreesWithLibcrypto) {
  const std::unique_ptr<EC_KEY, void (*)(EC_KEY*)> key(
      EC_KEY_new_by_curve_name(NID_X9_62_prime256v1), EC_KEY_free);
  ASSERT_EQ(EC_KEY_generate_key(key.get()), 1);
  int shortR = 0;
  int shortS = 0;
  // One component in 256 has a byte less; there are as many rounds as it takes to have seen some.
  for (int round = 0; round < 10000 || shortR == 0 || shortS == 0; ++round) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(&round), sizeof round, digest);
    const Signature signature(ECDSA_do_sign(digest, sizeof digest, key.get()));
    ASSERT_NE(signature, nullptr);
    const Bytes der = LibcryptoDer(signature.get());
    std::uint32_t rawLength = 64;
    Bytes raw(64);
    ASSERT_EQ(ecSignature_der_to_raw(der.data(), static_cast<std::uint32_t>(der.size()), raw.data(),
                                     &rawLength),
              0);
    ASSERT_EQ(raw, LibcryptoRaw(der));
    shortR += raw[0] == 0 ? 1 : 0;
    shortS += raw[32] == 0 ? 1 : 0;
  }
  RecordProperty("ShortR", shortR);
  RecordProperty("ShortS", shortS);
}

/// Sets a number of exactly `bits` bits, 0 for none.
bool SetRandom(BIGNUM* number, int bits) {
  return BN_rand(number, bits, bits == 0 ? BN_RAND_TOP_ANY : BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) ==
         1;
}

TEST(EcSignatureDerToRaw, ComponentsOfEveryNumberOfBits_AgreesWithLibcrypto) {
  for (int rBits = 0; rBits <= 256; ++rBits) {
    for (int sBits = 0; sBits <= 256; sBits += 8) {
      const Signature signature(ECDSA_SIG_new());
      BIGNUM* r = BN_new();
      BIGNUM* s = BN_new();
      ASSERT_TRUE(SetRandom(r, rBits));
      ASSERT_TRUE(SetRandom(s, sBits));
      ASSERT_EQ(ECDSA_SIG_set0(signature.get(), r, s), 1);
      const Bytes der = LibcryptoDer(signature.get());
      const Conversion conversion = Convert(der);
      ASSERT_EQ(conversion.code, 0) << rBits << " and " << sBits << " bits";
      ASSERT_EQ(conversion.raw, LibcryptoRaw(der)) << rBits << " and " << sBits << " bits";
    }
  }
}

/// The conversion written the slow way. A missing byte differs from every byte.
struct Expected {
  std::int32_t code = 0;
  Bytes raw;
};

Expected SlowConversion(const Bytes& der) {
  const auto at = [&der](std::size_t offset) -> std::optional<unsigned> {
    return offset < der.size() ? std::optional<unsigned>(der[offset]) : std::nullopt;
  };
  const auto component = [&der](std::size_t offset, std::size_t length) {
    Bytes bytes(33, 0);
    std::copy_n(der.begin() + static_cast<std::ptrdiff_t>(offset), length,
                bytes.end() - static_cast<std::ptrdiff_t>(length));
    return Bytes(bytes.begin() + 1, bytes.end());
  };
  if (der.size() > 72 || at(0) != 0x30U || !at(1) || *at(1) > 70) {
    return {-1, {}};
  }
  if (at(2) != 0x02U) {
    return {-2, {}};
  }
  if (!at(3) || !at(*at(3) + 5)) {
    return {-3, {}};
  }
  const unsigned rLength = *at(3);
  if (rLength > 33) {
    return {-4, {}};
  }
  if (at(rLength + 4) != 0x02U) {
    return {-5, {}};
  }
  const unsigned sLength = *at(rLength + 5);
  if (sLength > 0 && !at(rLength + 5 + sLength)) {
    return {-6, {}};
  }
  if (sLength > 33) {
    return {-7, {}};
  }
  return {0, Joined({component(4, rLength), component(rLength + 6, sLength)})};
}

void ExpectAsSlowly(const Bytes& der) {
  const Expected expected = SlowConversion(der);
  std::uint32_t rawLength = 64;
  Bytes raw(64, kGuard);
  ASSERT_EQ(ecSignature_der_to_raw(der.data(), static_cast<std::uint32_t>(der.size()), raw.data(),
                                   &rawLength),
            expected.code);
  ASSERT_EQ(rawLength, 64U);
  ASSERT_EQ(raw, expected.code == 0 ? expected.raw : Bytes(64, kGuard));
}

TEST(EcSignatureDerToRaw, CutsAndChangedBytes_AgreesWithTheSlowForm) {
  const Bytes signatures[] = {kWhole, kLongest, Der(Counted(0x41, 31), Counted(0x00, 33)),
                              Der(Counted(0x01, 1), Counted(0x01, 1)), Der({}, {})};
  for (const Bytes& signature : signatures) {
    for (std::size_t length = 0; length <= signature.size(); ++length) {
      // A vector of its own, so that a sanitizer sees a read past the cut.
      const Bytes cut(signature.begin(), signature.begin() + static_cast<std::ptrdiff_t>(length));
      ExpectAsSlowly(cut);
      for (std::size_t offset = 0; offset < length; ++offset) {
        for (int value = 0; value < 256; ++value) {
          ExpectAsSlowly(WithByte(cut, offset, static_cast<unsigned char>(value)));
          if (HasFatalFailure()) {
            FAIL() << "cut to " << length << ", byte " << offset << " set to " << value;
          }
        }
      }
    }
  }
}

const Bytes kPath = {0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x01, 0x00, 0x80, 0x00,
                     0x00, 0x00, 0x12, 0x34, 0x56, 0x78, 0xff, 0xff, 0xff, 0xff};

TEST(BufferToHdParamS, TwentyBytes_GiveFiveBigEndianIndexes) {
  hd_path_param record{{9, 9, 9, 9, 9}};
  EXPECT_EQ(BufferToHdParamS(kPath.data(), 20, &record), 0);
  EXPECT_THAT(record.indexes, ElementsAre(1U, 256U, 2147483648U, 305419896U, 4294967295U));
}

TEST(BufferToHdParamS, AnyAddress_IsRead) {
  const Bytes shifted = Joined({{0xFF}, kPath});
  hd_path_param record{};
  EXPECT_EQ(BufferToHdParamS(shifted.data() + 1, 20, &record), 0);
  EXPECT_THAT(record.indexes, ElementsAre(1U, 256U, 2147483648U, 305419896U, 4294967295U));
}

TEST(BufferToHdParamS, OtherLengthOrNoRecord_WritesNothing) {
  for (const std::uint32_t length : {0U, 4U, 19U, 21U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(length);
    hd_path_param record{{9, 9, 9, 9, 9}};
    EXPECT_EQ(BufferToHdParamS(kPath.data(), length, &record), -1);
    EXPECT_THAT(record.indexes, ElementsAre(9U, 9U, 9U, 9U, 9U));
  }
  EXPECT_EQ(BufferToHdParamS(kPath.data(), 20, nullptr), -1);
  EXPECT_EQ(BufferToHdParamS(nullptr, 19, nullptr), -1);
}

TEST(GetHdPathIndex, LevelAboveFour_CountsAsFour) {
  const hd_path_param record{{10, 11, 12, 13, 14}};
  EXPECT_EQ(getHDPathIndex(record, 0), 10U);
  EXPECT_EQ(getHDPathIndex(record, 1), 11U);
  EXPECT_EQ(getHDPathIndex(record, 2), 12U);
  EXPECT_EQ(getHDPathIndex(record, 3), 13U);
  for (const std::uint32_t level : {4U, 5U, 7U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(getHDPathIndex(record, level), 14U) << level;
  }
}

}  // namespace
