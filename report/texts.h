#ifndef REPORT_TEXTS_H_
#define REPORT_TEXTS_H_

#include <string>

namespace vam {

/// Returns `bytes` with everything but printable ASCII, and the backslash, as \xNN, so that a
/// terminal and a JSON reader take any bytes. What is longer than 200 bytes is cut and ends in
/// "...".
[[nodiscard]] std::string Printable(const std::string& bytes);

/// Returns what printf() would print.
[[nodiscard]] std::string Formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace vam

#endif  // REPORT_TEXTS_H_
