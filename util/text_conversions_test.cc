#include "util/text_conversions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kGuard = 0xA5;

std::uint32_t Length(const std::string& text) { return static_cast<std::uint32_t>(text.size()); }

std::string Base64(const std::string& bytes) { return base64_encode(bytes.data(), Length(bytes)); }

/// Byte runs of every length up to 300 and some longer ones, the same in every run.
const std::vector<Bytes>& RandomRuns() {
  static const std::vector<Bytes> kRuns = [] {
    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same bytes in every run.
    std::mt19937 generator(20260704);
    std::vector<std::size_t> lengths(301);
    for (std::size_t length = 0; length < lengths.size(); ++length) {
      lengths[length] = length;
    }
    lengths.insert(lengths.end(), {1023, 1024, 1025, 8192, 65535, 100000});
    std::vector<Bytes> runs;
    for (const std::size_t length : lengths) {
      Bytes run(length);
      for (std::uint8_t& byte : run) {
        byte = static_cast<std::uint8_t>(generator());
      }
      runs.push_back(std::move(run));
    }
    return runs;
  }();
  return kRuns;
}

std::string AsText(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

TEST(Base64Encode, PublishedBytes_GiveThePublishedTexts) {
  const std::pair<std::string, std::string> texts[] = {
      {"\x4d\x61\x6e", "TWFu"},
      {"\x4d\x61", "TWE="},
      {"\x4d", "TQ=="},
      // The test vectors of RFC 4648.
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
  };
  for (const auto& [bytes, text] : texts) {
    SCOPED_TRACE(text);
    EXPECT_EQ(Base64(bytes), text);
  }
}

TEST(Base64Encode, SixBitValues_GiveTheWholeAlphabet) {
  // The six-bit values 0 to 63 in their order.
  const std::string bytes(
      "\x00\x10\x83\x10\x51\x87\x20\x92\x8b\x30\xd3\x8f\x41\x14\x93\x51"
      "\x55\x97\x61\x96\x9b\x71\xd7\x9f\x82\x18\xa3\x92\x59\xa7\xa2\x9a"
      "\xab\xb2\xdb\xaf\xc3\x1c\xb3\xd3\x5d\xb7\xe3\x9e\xbb\xf3\xdf\xbf",
      48);
  EXPECT_EQ(Base64(bytes), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64Encode, NoBytes_ReadsNothing) { EXPECT_EQ(base64_encode(nullptr, 0), ""); }

TEST(Base64Encode, AnyBytes_AgreesWithLibcrypto) {
  for (const Bytes& run : RandomRuns()) {
    std::vector<unsigned char> expected(run.size() / 3 * 4 + 5);
    const int length = EVP_EncodeBlock(expected.data(), run.data(), static_cast<int>(run.size()));
    ASSERT_EQ(Base64(AsText(run)), std::string(expected.begin(), expected.begin() + length))
        << run.size() << " bytes";
  }
}

TEST(StringToHexString, BytesOfEachKind_AreWidenedAsSigned) {
  const std::pair<std::string, std::string> texts[] = {
      {"", ""},
      {"\x41\x0a\x80", "41affffff80"},
      {std::string("\0", 1), "0"},
      {"\x0f\x10", "f10"},
      {"\x7f", "7f"},
      {"\xff", "ffffffff"},
      {std::string("a\0b", 3), "61062"},
  };
  for (const auto& [bytes, text] : texts) {
    SCOPED_TRACE(text);
    EXPECT_EQ(string_to_hex_string(bytes), text);
  }
}

TEST(StringToHexString, EveryByte_IsThatOfASignedInteger) {
  for (int value = -128; value < 128; ++value) {
    char expected[9];
    std::snprintf(expected, sizeof expected, "%x", static_cast<unsigned>(value));
    EXPECT_EQ(string_to_hex_string(std::string(1, static_cast<char>(value))), expected);
  }
}

TEST(Uint8ToHexString, AnyBytes_GiveTwoDigitsEach) {
  const Bytes bytes = {0x00, 0xAB, 0x10};
  EXPECT_EQ(uint8_to_hex_string(bytes.data(), 3), "00ab10");
  EXPECT_EQ(unsigned_char_to_hex_string(bytes.data(), 3), "00ab10");
}

TEST(Uint8ToHexString, CountNotPositiveAsSigned_IsEmpty) {
  const Bytes bytes = {0x00, 0xAB, 0x10};
  for (const std::uint32_t count : {0U, 0x80000000U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(count);
    EXPECT_EQ(uint8_to_hex_string(bytes.data(), count), "");
    EXPECT_EQ(unsigned_char_to_hex_string(bytes.data(), count), "");
  }
}

/// Returns libcrypto's hexadecimal text, which is in upper case with a colon between two bytes.
std::string LibcryptoHex(const Bytes& bytes) {
  const std::unique_ptr<char, void (*)(char*)> text(
      OPENSSL_buf2hexstr(bytes.data(), static_cast<long>(bytes.size())),
      [](char* memory) { OPENSSL_free(memory); });
  std::string hex;
  for (const char* character = text.get(); *character != '\0'; ++character) {
    if (*character != ':') {
      hex += static_cast<char>(std::tolower(*character));
    }
  }
  return hex;
}

TEST(Uint8ToHexString, AnyBytes_AgreesWithLibcrypto) {
  for (const Bytes& run : RandomRuns()) {
    if (run.empty()) {
      continue;  // The versions of libcrypto differ here.
    }
    const std::string expected = LibcryptoHex(run);
    const auto length = static_cast<std::uint32_t>(run.size());
    ASSERT_EQ(uint8_to_hex_string(run.data(), length), expected) << run.size() << " bytes";
    ASSERT_EQ(unsigned_char_to_hex_string(run.data(), length), expected) << run.size() << " bytes";
  }
}

struct Decoding {
  const char* name;
  std::string text;
  std::uint32_t outputLength;
  std::int32_t result;
  /// What both outputs hold afterwards; there are four bytes of output.
  std::uint32_t lengthAfter;
  Bytes output;
};

const Decoding kDecodings[] = {
    {"digits of both cases", "0aFf", 2, 0, 2, {0x0A, 0xFF, kGuard, kGuard}},
    {"with room left", "0aFf", 4, 0, 2, {0x0A, 0xFF, kGuard, kGuard}},
    {"no text", "", 4, 0, 0, {kGuard, kGuard, kGuard, kGuard}},
    {"no text and no output", "", 0, 0, 0, {kGuard, kGuard, kGuard, kGuard}},
    {"output too small", "0aFf", 1, -1, 1, {kGuard, kGuard, kGuard, kGuard}},
    {"odd length", "0aF", 4, -1, 4, {kGuard, kGuard, kGuard, kGuard}},
    {"odd length of one", "0", 4, -1, 4, {kGuard, kGuard, kGuard, kGuard}},
    {"wrong low digit of the first byte", "0g", 4, -1, 1, {0x00, kGuard, kGuard, kGuard}},
    {"wrong low digit keeps the high one", "ag", 4, -1, 1, {0xA0, kGuard, kGuard, kGuard}},
    {"wrong high digit", "ga", 4, -1, 1, {kGuard, kGuard, kGuard, kGuard}},
    {"wrong low digit of a later byte", "12345z78", 4, -1, 4, {0x12, 0x34, 0x50, kGuard}},
    {"wrong high digit of a later byte", "1234x678", 4, -1, 4, {0x12, 0x34, kGuard, kGuard}},
    {"zero byte", std::string("0\0", 2), 4, -1, 1, {0x00, kGuard, kGuard, kGuard}},
    {"byte above 0x7f", "0\xC1", 4, -1, 1, {0x00, kGuard, kGuard, kGuard}},
};

TEST(HexStr2Bin, InvalidCharacter_EndsTheDecoding) {
  for (const Decoding& decoding : kDecodings) {
    SCOPED_TRACE(decoding.name);
    Bytes output(4, kGuard);
    std::uint32_t outputLength = decoding.outputLength;
    testing::internal::CaptureStdout();
    const std::int32_t result =
        hex_str_2_bin(output.data(), decoding.text.data(), &outputLength, Length(decoding.text));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(result, decoding.result);
    EXPECT_EQ(outputLength, decoding.lengthAfter);
    EXPECT_EQ(output, decoding.output);
  }
}

TEST(HexStr2Bin, EveryCharacter_IsADigitOrRefused) {
  for (int value = 0; value < 256; ++value) {
    const auto character = static_cast<char>(value);
    const bool digit = std::string("0123456789abcdefABCDEF").find(character) != std::string::npos;
    for (const std::string& text : {std::string("7") + character, character + std::string("7")}) {
      std::uint8_t output = kGuard;
      std::uint32_t outputLength = 1;
      EXPECT_EQ(hex_str_2_bin(&output, text.data(), &outputLength, 2), digit ? 0 : -1) << value;
      if (digit) {
        EXPECT_EQ(output, std::stoi(text, nullptr, 16)) << value;
      }
    }
  }
}

TEST(HexStr2Bin, AnyDigits_AgreesWithLibcrypto) {
  for (const Bytes& run : RandomRuns()) {
    if (run.empty()) {
      continue;
    }
    std::string text = LibcryptoHex(run);
    std::transform(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(run.size()),
                   text.begin(), [](unsigned char c) { return std::toupper(c); });
    long expectedLength = 0;
    const std::unique_ptr<unsigned char, void (*)(unsigned char*)> expected(
        OPENSSL_hexstr2buf(text.c_str(), &expectedLength),
        [](unsigned char* memory) { OPENSSL_free(memory); });
    ASSERT_EQ(expectedLength, static_cast<long>(run.size()));
    Bytes output(run.size());
    auto outputLength = static_cast<std::uint32_t>(output.size());
    ASSERT_EQ(hex_str_2_bin(output.data(), text.data(), &outputLength, Length(text)), 0);
    ASSERT_EQ(outputLength, run.size());
    ASSERT_TRUE(std::equal(output.begin(), output.end(), expected.get())) << run.size();
  }
}

struct Creation {
  const char* name;
  std::string text;
  std::uint32_t outputSize;
  std::string line;
  /// All four bytes of output.
  Bytes output;
};

const Creation kCreations[] = {
    {"all of the output", "0a0B0c0D", 4, "", {0x0A, 0x0B, 0x0C, 0x0D}},
    {"all of a smaller output", "0a0b", 2, "", {0x0A, 0x0B, kGuard, kGuard}},
    {"no text and no output", "", 0, "", {kGuard, kGuard, kGuard, kGuard}},
    {"text too short", "0a0b0c", 4, "temp_buffer_size error\n", Bytes(4, kGuard)},
    {"no text", "", 4, "temp_buffer_size error\n", Bytes(4, kGuard)},
    {"no text for the largest output", "", 0xFFFFFFFF, "temp_buffer_size error\n",
     Bytes(4, kGuard)},
    {"text too long", "0a0b0c", 2, "out_size too small2\n", Bytes(4, kGuard)},
    {"text too long, larger size", std::string(34, '0'), 16, "out_size too small16\n",
     Bytes(4, kGuard)},
    {"text for no output", "0a", 0, "out_size too small0\n", Bytes(4, kGuard)},
    {"text too long, odd and invalid", "0a0b0cz", 2, "out_size too small2\n", Bytes(4, kGuard)},
    {"odd length", "0a0", 4, "hex_str_2_bin error\n", Bytes(4, kGuard)},
    {"odd length, half of it rounded down as long as the output", "0a0b0", 2,
     "hex_str_2_bin error\n", Bytes(4, kGuard)},
    {"wrong last digit", "0a0b0c0g", 4, "hex_str_2_bin error\n", Bytes(4, kGuard)},
    {"wrong first digit", "g00b0c0d", 4, "hex_str_2_bin error\n", Bytes(4, kGuard)},
    {"wrong digit in a text too short", "0a0g", 4, "hex_str_2_bin error\n", Bytes(4, kGuard)},
};

TEST(CreateVamData, AnyText_WritesTheOutputOnlyOnFullSuccess) {
  for (const Creation& creation : kCreations) {
    SCOPED_TRACE(creation.name);
    Bytes output(4, kGuard);
    testing::internal::CaptureStdout();
    const std::int32_t result = create_vam_data(output.data(), creation.outputSize,
                                                creation.text.data(), Length(creation.text));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), creation.line);
    EXPECT_EQ(result, creation.line.empty() ? 0 : -1);
    EXPECT_EQ(output, creation.output);
  }
}

TEST(CreateVamData, TextOfUint8ToHexString_GivesItsBytes) {
  for (const Bytes& run : RandomRuns()) {
    const auto size = static_cast<std::uint32_t>(run.size());
    const std::string text = uint8_to_hex_string(run.data(), size);
    Bytes output(run.size());
    ASSERT_EQ(create_vam_data(output.data(), size, text.data(), Length(text)), 0);
    ASSERT_EQ(output, run);
  }
}

}  // namespace
