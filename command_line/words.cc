#include "command_line/words.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace vam {

namespace {

constexpr std::size_t kLongestWord = 100;
constexpr std::size_t kShortestPrefix = 3;

std::uint8_t Byte(std::string_view text, std::size_t at) {
  return at < text.size() ? static_cast<std::uint8_t>(text[at]) : std::uint8_t{0};
}

/// Returns how many bytes the printable character at `at` has; 0 where there is none.
std::size_t PrintableCharacter(std::string_view text, std::size_t at) {
  const std::uint8_t first = Byte(text, at);
  if (first < 0x80) {
    return first >= 0x20 && first != 0x7F ? 1 : 0;
  }
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) {
    return 0;
  }
  std::uint32_t character = first & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    const std::uint8_t next = Byte(text, at + i);
    if ((next & 0xC0U) != 0x80) {
      return 0;
    }
    character = character << 6 | (next & 0x3FU);
  }
  constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
  // Up to U+009F come controls, and from U+202A to U+202E what turns the direction of a line.
  const bool isControl = character < 0xA0 || (character >= 0x2028 && character <= 0x202E) ||
                         (character >= 0x2066 && character <= 0x2069);
  return character < kSmallest[length] || character > 0x10FFFF || isSurrogate || isControl ? 0
                                                                                           : length;
}

/// Returns how many slips lead from `one` to `other`.
std::size_t Slips(std::string_view one, std::string_view other) {
  std::vector<std::size_t> beforeLast(other.size() + 1);
  std::vector<std::size_t> last(other.size() + 1);
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= one.size(); ++i) {
    beforeLast.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const std::size_t wrong = one[i - 1] == other[j - 1] ? 0 : 1;
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + wrong});
      if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
      }
    }
  }
  return row[other.size()];
}

}  // namespace

std::string OneLine(const std::string& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string line;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = PrintableCharacter(text, at);
    if (length == 0) {
      const std::uint8_t byte = Byte(text, at);
      line += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xF]};
    } else {
      line.append(text, at, length);
    }
    at += std::max(length, std::size_t{1});
  }
  return line;
}

std::string Quoted(const std::string& word) {
  if (word.size() <= kLongestWord) {
    return "'" + OneLine(word) + "'";
  }
  std::size_t end = kLongestWord;
  // Up to the start of a character.
  while (end > kLongestWord - 3 && (Byte(word, end) & 0xC0U) == 0x80) {
    --end;
  }
  return "'" + OneLine(word.substr(0, end)) + "...'";
}

std::string Closest(const std::string& word, const std::vector<std::string>& candidates) {
  const auto starts = [&word](const std::string& candidate) {
    return candidate.compare(0, word.size(), word) == 0;
  };
  if (word.size() >= kShortestPrefix &&
      std::count_if(candidates.begin(), candidates.end(), starts) == 1) {
    return *std::find_if(candidates.begin(), candidates.end(), starts);
  }
  std::string closest;
  std::size_t fewest = word.size() / 3 + 1;
  for (const std::string& candidate : candidates) {
    const std::size_t difference =
        std::max(candidate.size(), word.size()) - std::min(candidate.size(), word.size());
    if (difference < fewest) {
      const std::size_t slips = Slips(word, candidate);
      if (slips < fewest) {
        fewest = slips;
        closest = candidate;
      }
    }
  }
  return closest;
}

std::string Suggestion(const std::string& word, const std::vector<std::string>& candidates) {
  const std::string closest = Closest(word, candidates);
  return closest.empty() ? "" : "; did you mean " + closest + "?";
}

}  // namespace vam
