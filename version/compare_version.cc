#include "version/compare_version.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "util/console_line.h"

namespace {

constexpr char kSubstringSeparator = '/';
constexpr char kPartSeparator = ',';

/// Returns the piece of `text` from `offset` to the next separator, or to the end.
std::string_view PieceAt(std::string_view text, std::size_t offset, char separator) {
  return text.substr(offset, text.find(separator, offset) - offset);
}

bool IsWildcard(std::string_view part) {
  return std::all_of(part.begin(), part.end(), [](char c) { return c == 'X'; });
}

/// Compares two substrings of the same length, part by part.
bool CompareParts(std::string_view first, std::string_view second) {
  for (std::size_t offset = 0; offset < first.size();) {
    const std::string_view part = PieceAt(first, offset, kPartSeparator);
    const std::string_view counterpart = PieceAt(second, offset, kPartSeparator);
    vam::PrintLine(part);
    vam::PrintLine(counterpart);
    if (part.empty() || counterpart.empty()) {
      vam::PrintLine("Failed to parse sub versions!");
      return false;
    }
    // A wildcard in the second version counts only at the length of the first one's part.
    const bool sameLength = part.size() == counterpart.size();
    if (IsWildcard(part) || (sameLength && IsWildcard(counterpart))) {
      vam::PrintLine("Part skiped!");
    } else if (part != counterpart) {
      vam::PrintLine("substrings part diff!");
      return false;
    }
    offset += part.size() + 1;
  }
  return true;
}

}  // namespace

bool compareVersion(std::string first, std::string second) {
  if (first.size() != second.size()) {
    vam::PrintLine("Size of versions diff!");
    return false;
  }
  for (std::size_t start = 0; start < first.size();) {
    const std::string_view substring = PieceAt(first, start, kSubstringSeparator);
    const std::string_view counterpart = PieceAt(second, start, kSubstringSeparator);
    if (substring.size() != counterpart.size()) {
      vam::PrintLine("SubString size diff!");
      return false;
    }
    if (!CompareParts(substring, counterpart)) {
      return false;
    }
    start += substring.size() + 1;
  }
  return true;
}
