// Decodes arbitrary text. The first byte is the difference between the output's size and the size
// that the text needs.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "util/text_conversions.h"

namespace {

constexpr std::uint8_t kGuard = 0xA5;

bool IsDigit(char character) { return std::isxdigit(static_cast<unsigned char>(character)) != 0; }

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::vector<char> text(data + 1, data + size);
  const auto textLength = static_cast<std::uint32_t>(text.size());
  const auto outputSize = static_cast<std::uint32_t>(
      std::max<std::int64_t>(0, std::int64_t{textLength / 2} + static_cast<std::int8_t>(data[0])));
  std::vector<std::uint8_t> output(outputSize, kGuard);
  std::uint32_t outputLength = outputSize;
  const std::int32_t result = hex_str_2_bin(output.data(), text.data(), &outputLength, textLength);

  std::vector<std::uint8_t> expected(outputSize, kGuard);
  if (textLength % 2 != 0 || outputSize < textLength / 2) {
    vam::Require(result == -1 && outputLength == outputSize && output == expected);
    return 0;
  }
  const std::size_t valid =
      static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), IsDigit) - text.begin());
  for (std::size_t i = 0; i < valid / 2; ++i) {
    expected[i] = static_cast<std::uint8_t>(
        std::stoi(std::string(text.begin() + static_cast<std::ptrdiff_t>(2 * i),
                              text.begin() + static_cast<std::ptrdiff_t>(2 * i + 2)),
                  nullptr, 16));
  }
  if (valid % 2 != 0) {
    expected[valid / 2] =
        static_cast<std::uint8_t>(std::stoi(std::string(1, text[valid - 1]), nullptr, 16) << 4);
  }
  vam::Require(result == (valid == text.size() ? 0 : -1));
  vam::Require(outputLength == textLength / 2);
  vam::Require(output == expected);
  if (result == 0) {
    std::string lower(text.begin(), text.end());
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    vam::Require(uint8_to_hex_string(output.data(), outputLength) == lower);
  }
  return 0;
}
