#ifndef JOURNAL_JOURNAL_TEXT_H_
#define JOURNAL_JOURNAL_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vam {

/// Returns `bytes` as a JSON string of ASCII alone, with a character for each byte: U+0000 to
/// U+00FF. So any bytes come back, and a line stays a line.
[[nodiscard]] std::string QuotedText(std::string_view bytes);

/// Returns `value` in decimal.
[[nodiscard]] std::string InDecimal(std::int64_t value);

/// Returns `count` bytes in hexadecimal, two small digits a byte.
[[nodiscard]] std::string InHexadecimal(const void* bytes, std::size_t count);

}  // namespace vam

#endif  // JOURNAL_JOURNAL_TEXT_H_
