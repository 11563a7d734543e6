#ifndef VAMCTL_VERDICT_TEXTS_H_
#define VAMCTL_VERDICT_TEXTS_H_

#include <string>

#include "report/status_reader.h"

// The verdict of the status files as vamctl shows it: as text for people, and as one line of JSON
// for programs.

namespace vam {

/// Returns `verdict` in lines of text, without a newline at the end.
[[nodiscard]] std::string VerdictAsText(const Verdict& verdict);

/// Returns `verdict` as one JSON object on one line, without a newline at the end.
[[nodiscard]] std::string VerdictAsJson(const Verdict& verdict);

}  // namespace vam

#endif  // VAMCTL_VERDICT_TEXTS_H_
