#ifndef REPORT_TEXTS_H_
#define REPORT_TEXTS_H_

#include <string>

namespace vam {

/// Returns `bytes` as a terminal and a JSON reader take them: the backslash, and every byte that is
/// not printable ASCII, as \xNN.
[[nodiscard]] std::string Escaped(const std::string& bytes);

/// The same for lines of text: of more than 200 bytes it shows the first 200 and "...".
[[nodiscard]] std::string Printable(const std::string& bytes);

/// Returns what printf() would print.
[[nodiscard]] std::string Formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace vam

#endif  // REPORT_TEXTS_H_
