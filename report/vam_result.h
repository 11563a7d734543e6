#ifndef REPORT_VAM_RESULT_H_
#define REPORT_VAM_RESULT_H_

#include <cstdint>
#include <string>

#include "report/result_codes.h"

// The two-level result of a command of the trusted application, and its text.

/// Result of one command: a code of the VAM service in the secure world and one of the secure
/// element's firmware below it. 0 in both is success. Received from the trusted application as 8
/// bytes, two 32-bit little-endian integers in this order.
struct VamResult {
  /// A VAM_RET_ code.
  std::int32_t vamCode;
  /// A ZELK_ code, reported either as the code or as its negative.
  std::int32_t fwCode;
};
static_assert(sizeof(VamResult) == 8, "VamResult travels as an 8-byte block");

/// Returns `result` in words, three lines without a newline at the end: a heading, the VAM code
/// and the firmware code, each by name where it has one and in signed decimal otherwise. A
/// negative firmware code is "-" and the text of its negation; the most negative value, being its
/// own negation, therefore shows two signs. Accepts every input.
std::string vamResultToStr(const VamResult& result);

#endif  // REPORT_VAM_RESULT_H_
