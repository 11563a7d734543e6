// Makes data of arbitrary text. The first byte is the difference between the output's size and the
// size that the text needs.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "util/console_line.h"
#include "util/text_conversions.h"

namespace {

constexpr std::uint8_t kGuard = 0xA5;

std::vector<std::string> lines;

}  // namespace

// Takes the place of the console's, so that the lines can be checked.
void vam::PrintLine(std::initializer_list<std::string_view> pieces) {
  std::string& line = lines.emplace_back();
  for (const std::string_view piece : pieces) {
    line += piece;
  }
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::vector<char> text(data + 1, data + size);
  const auto textLength = static_cast<std::uint32_t>(text.size());
  const auto outputSize = static_cast<std::uint32_t>(
      std::max<std::int64_t>(0, std::int64_t{textLength / 2} + static_cast<std::int8_t>(data[0])));
  std::vector<std::uint8_t> output(outputSize, kGuard);
  lines.clear();
  const std::int32_t result = create_vam_data(output.data(), outputSize, text.data(), textLength);

  const bool valid =
      textLength % 2 == 0 &&
      std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
  std::vector<std::string> expectedLines;
  if (outputSize < textLength / 2) {
    expectedLines = {"out_size too small" + std::to_string(outputSize)};
  } else if (!valid) {
    expectedLines = {"hex_str_2_bin error"};
  } else if (outputSize != textLength / 2) {
    expectedLines = {"temp_buffer_size error"};
  }
  vam::Require(lines == expectedLines);
  vam::Require(result == (expectedLines.empty() ? 0 : -1));
  std::vector<std::uint8_t> expected(outputSize, kGuard);
  if (result == 0) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
      expected[i] = static_cast<std::uint8_t>(
          std::stoi(std::string{text[2 * i], text[2 * i + 1]}, nullptr, 16));
    }
  }
  vam::Require(output == expected);
  return 0;
}
