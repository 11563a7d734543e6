// Compares the two halves of the input as versions. The result and every line must equal those of
// a model that follows the comparison step by step on copies.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "util/console_line.h"
#include "version/compare_version.h"

namespace {

using Lines = std::vector<std::string>;

Lines lines;

std::string Until(const std::string& text, char separator) {
  std::string piece;
  for (const char character : text) {
    if (character == separator) {
      break;
    }
    piece += character;
  }
  return piece;
}

/// Returns the result, and adds the lines to `printed`.
bool SlowComparison(const std::string& first, const std::string& second, Lines& printed) {
  if (first.size() != second.size()) {
    printed.emplace_back("Size of versions diff!");
    return false;
  }
  std::size_t position = 0;
  while (position < first.size()) {
    const std::string a = Until(first.substr(position), '/');
    const std::string b = Until(second.substr(position), '/');
    if (a.size() != b.size()) {
      printed.emplace_back("SubString size diff!");
      return false;
    }
    std::size_t offset = 0;
    while (offset < a.size()) {
      const std::string p = Until(a.substr(offset), ',');
      const std::string q = Until(b.substr(offset), ',');
      printed.push_back(p);
      printed.push_back(q);
      if (p.empty() || q.empty()) {
        printed.emplace_back("Failed to parse sub versions!");
        return false;
      }
      const std::string mask(p.size(), 'X');
      if (p == mask || q == mask) {
        printed.emplace_back("Part skiped!");
      } else if (p != q) {
        printed.emplace_back("substrings part diff!");
        return false;
      }
      offset += p.size() + 1;
    }
    position += a.size() + 1;
  }
  return true;
}

}  // namespace

// Takes the place of the console's, so that the lines can be checked.
void vam::PrintLine(std::initializer_list<std::string_view> pieces) {
  std::string& line = lines.emplace_back();
  for (const std::string_view piece : pieces) {
    line += piece;
  }
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string first(data, data + size / 2);
  const std::string second(data + size / 2, data + size);
  lines.clear();
  const bool result = compareVersion(first, second);
  Lines expectedLines;
  vam::Require(result == SlowComparison(first, second, expectedLines));
  vam::Require(lines == expectedLines);
  return 0;
}
