#ifndef TESTS_JUDGED_OUTCOME_H_
#define TESTS_JUDGED_OUTCOME_H_

#include <string>

namespace vam {

/// Returns by name how a run of the update tool ended that exited with `status` and left these
/// status files.
[[nodiscard]] std::string JudgedOutcome(int status, const std::string& okFile,
                                        const std::string& errorFile);

}  // namespace vam

#endif  // TESTS_JUDGED_OUTCOME_H_
