#include "journal/journal_text.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace vam {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

}  // namespace

std::string QuotedText(std::string_view bytes) {
  std::string text = "\"";
  for (const char byte : bytes) {
    if (byte >= ' ' && byte <= '~' && byte != '"' && byte != '\\') {
      text += byte;
    } else {
      const auto number = static_cast<unsigned char>(byte);
      text += "\\u00";
      text += kDigits[number >> 4];
      text += kDigits[number & 0xF];
    }
  }
  return text + "\"";
}

std::string InDecimal(std::int64_t value) {
  // Longer than any, and without the tables of std::to_string().
  char text[24];
  std::snprintf(text, sizeof text, "%lld", static_cast<long long>(value));
  return text;
}

std::string InHexadecimal(const void* bytes, std::size_t count) {
  const auto* byte = static_cast<const std::uint8_t*>(bytes);
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += kDigits[byte[i] >> 4];
    text += kDigits[byte[i] & 0xF];
  }
  return text;
}

}  // namespace vam
