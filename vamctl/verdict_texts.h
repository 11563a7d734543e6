#ifndef VAMCTL_VERDICT_TEXTS_H_
#define VAMCTL_VERDICT_TEXTS_H_

#include <string>

#include "report/run_record.h"
#include "report/status_reader.h"

// The verdict of a run, from its record or from the status files alone, as vamctl shows it: as text
// for people, and as one line of JSON for programs.

namespace vam {

/// Returns `verdict` in lines of text, without a newline at the end.
[[nodiscard]] std::string VerdictAsText(const Verdict& verdict);

/// Returns `verdict` as one JSON object on one line, without a newline at the end.
[[nodiscard]] std::string VerdictAsJson(const Verdict& verdict);

/// Return the same of a run's record. The outcome is the record's.
[[nodiscard]] std::string VerdictAsText(const RunRecord& record);
[[nodiscard]] std::string VerdictAsJson(const RunRecord& record);

/// Exit statuses of vam-verdict, and of `vamctl verdict`.
inline constexpr int kVerdictVerified = 0;
inline constexpr int kVerdictNotVerified = 1;
inline constexpr int kVerdictNone = 3;
inline constexpr int kVerdictNotTrusted = 4;
/// The answer could not be written.
inline constexpr int kVerdictLost = 5;

/// Return the exit status that tells the outcome.
[[nodiscard]] int VerdictStatus(const Verdict& verdict);
[[nodiscard]] int VerdictStatus(const RunRecord& record);

}  // namespace vam

#endif  // VAMCTL_VERDICT_TEXTS_H_
