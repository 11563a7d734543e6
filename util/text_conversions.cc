#include "util/text_conversions.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "util/console_line.h"

namespace {

using Pair = std::array<char, 2>;

/// Returns the two characters of every number that has two digits of `kBits` bits.
template <unsigned kBits>
constexpr auto Pairs(std::string_view digits) {
  constexpr std::size_t kCount = std::size_t{1} << (2 * kBits);
  std::array<Pair, kCount> pairs{};
  for (std::size_t number = 0; number < kCount; ++number) {
    pairs[number] = {digits[number >> kBits], digits[number % (1U << kBits)]};
  }
  return pairs;
}

// Two characters at a time: half the look-ups and half the writes.
constexpr auto kBase64Pairs =
    Pairs<6>("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
constexpr auto kHexPairs = Pairs<4>("0123456789abcdef");

/// Returns the value of a character taken as an unsigned byte.
constexpr std::uint32_t Bits(char character) { return static_cast<std::uint8_t>(character); }

/// Writes the four Base64 characters of 24 bits.
void PutBase64(char* to, std::uint32_t bits) {
  std::memcpy(to, &kBase64Pairs[bits >> 12], sizeof(Pair));
  std::memcpy(to + 2, &kBase64Pairs[bits & 0xFFF], sizeof(Pair));
}

constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> DigitValues() {
  std::array<std::uint8_t, 256> values{};
  for (std::uint8_t& value : values) {
    value = kNoDigit;
  }
  for (std::uint8_t digit = 0; digit < 10; ++digit) {
    values[std::size_t{'0'} + digit] = digit;
  }
  for (std::uint8_t digit = 10; digit < 16; ++digit) {
    values[std::size_t{'a'} + digit - 10] = digit;
    values[std::size_t{'A'} + digit - 10] = digit;
  }
  return values;
}

constexpr std::array<std::uint8_t, 256> kDigitValues = DigitValues();

std::uint8_t DigitValue(char character) { return kDigitValues[Bits(character)]; }

/// Decodes `count` bytes and returns 0. Returns -1 at the first character that is not a digit;
/// `output` then holds what was decoded before it, a high half included.
std::int32_t DecodeHex(std::uint8_t* output, const char* hexText, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t high = DigitValue(hexText[2 * i]);
    if (high == kNoDigit) {
      return -1;
    }
    output[i] = static_cast<std::uint8_t>(high << 4);
    const std::uint8_t low = DigitValue(hexText[2 * i + 1]);
    if (low == kNoDigit) {
      return -1;
    }
    output[i] = static_cast<std::uint8_t>(output[i] | low);
  }
  return 0;
}

}  // namespace

std::string base64_encode(const char* bytes, std::uint32_t length) {
  const std::size_t groups = length / 3;
  const std::uint32_t rest = length % 3;
  std::string text((groups + (rest != 0 ? 1 : 0)) * 4, '\0');

  char* to = text.data();
  for (std::size_t group = 0; group < groups; ++group, bytes += 3, to += 4) {
    PutBase64(to, Bits(bytes[0]) << 16 | Bits(bytes[1]) << 8 | Bits(bytes[2]));
  }
  if (rest == 1) {
    PutBase64(to, Bits(bytes[0]) << 16);
    to[2] = '=';
    to[3] = '=';
  } else if (rest == 2) {
    PutBase64(to, Bits(bytes[0]) << 16 | Bits(bytes[1]) << 8);
    to[3] = '=';
  }
  return text;
}

std::string string_to_hex_string(std::string text) {
  std::string hex;
  for (const char character : text) {
    const std::uint32_t bits = Bits(character);
    const Pair& pair = kHexPairs[bits];
    if (bits >= 0x80) {
      hex += "ffffff";
    }
    if (bits >= 0x10) {
      hex += pair[0];
    }
    hex += pair[1];
  }
  return hex;
}

std::string uint8_to_hex_string(const std::uint8_t* bytes, std::uint32_t length) {
  if (static_cast<std::int32_t>(length) <= 0) {
    return {};
  }
  std::string hex(std::size_t{length} * 2, '\0');
  char* to = hex.data();
  for (std::size_t i = 0; i < length; ++i) {
    std::memcpy(to + 2 * i, &kHexPairs[bytes[i]], sizeof(Pair));
  }
  return hex;
}

std::string unsigned_char_to_hex_string(const unsigned char* bytes, std::uint32_t length) {
  return uint8_to_hex_string(bytes, length);
}

std::int32_t hex_str_2_bin(std::uint8_t* output, const char* hexText, std::uint32_t* outputLength,
                           std::uint32_t hexLength) {
  if (hexLength % 2 != 0 || *outputLength < hexLength / 2) {
    return -1;
  }
  *outputLength = hexLength / 2;
  return DecodeHex(output, hexText, hexLength / 2);
}

std::int32_t create_vam_data(std::uint8_t* output, std::uint32_t outputSize, const char* hexText,
                             std::uint32_t hexLength) {
  const std::uint32_t count = hexLength / 2;
  if (outputSize < count) {
    vam::PrintLine({"out_size too small", std::to_string(outputSize)});
    return -1;
  }
  // Only as large as the text can fill, so that a large output does not cost its size twice.
  std::vector<std::uint8_t> scratch(count);
  if (hexLength % 2 != 0 || DecodeHex(scratch.data(), hexText, count) != 0) {
    vam::PrintLine("hex_str_2_bin error");
    return -1;
  }
  if (count != outputSize) {
    vam::PrintLine("temp_buffer_size error");
    return -1;
  }
  std::copy(scratch.begin(), scratch.end(), output);
  return 0;
}
