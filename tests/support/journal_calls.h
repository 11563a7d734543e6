#ifndef TESTS_SUPPORT_JOURNAL_CALLS_H_
#define TESTS_SUPPORT_JOURNAL_CALLS_H_

#include <string>

namespace vam {

/// Returns the lines of a journal without what differs from run to run: its head, and the time, the
/// process and the thread of each call. Throws std::runtime_error where one of these is missing.
[[nodiscard]] std::string CallsIn(const std::string& journal);

}  // namespace vam

#endif  // TESTS_SUPPORT_JOURNAL_CALLS_H_
