#ifndef REPORT_VAM_RESULT_H_
#define REPORT_VAM_RESULT_H_

#include <cstdint>
#include <string>

#include "report/result_codes.h"

// A result record in words.

namespace vam {

/// Returns the name of a code of the VAM service, such as "VAM_RET_INVALID_PARAM", or null for a
/// code that has none.
[[nodiscard]] const char* VamCodeName(std::int32_t code);

/// Returns the name of a code of the secure element's firmware, such as "ZELK_FW_ERROR", or null
/// for a code that has none. The firmware reports a code or its negative: both have the same name,
/// and the caller shows the sign.
[[nodiscard]] const char* ZelkCodeName(std::int32_t code);

}  // namespace vam

/// Returns `result` in words, three lines without a newline at the end: a heading, the VAM code
/// and the firmware code, each by name where it has one and in signed decimal otherwise. A
/// negative firmware code is "-" and the text of its negation. The most negative value is its own
/// negation and therefore shows two signs. Accepts every input.
std::string vamResultToStr(const VamResult& result);

#endif  // REPORT_VAM_RESULT_H_
