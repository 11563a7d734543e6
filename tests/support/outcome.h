#ifndef TESTS_SUPPORT_OUTCOME_H_
#define TESTS_SUPPORT_OUTCOME_H_

#include <optional>
#include <string>

namespace vam {

/// What a run of the update tool leaves.
struct Outcome {
  std::string console;
  int status = 0;
  /// What "/tmp/VAM_OK" and "/tmp/VAM_FAIL" got; none: nothing.
  std::optional<std::string> okFile;
  std::optional<std::string> errorFile;
};

/// Returns the outcome that `text` holds in the form that scripts/outcome prints. Throws
/// std::runtime_error, with the number of the line, when it is of another form.
[[nodiscard]] Outcome ParseOutcome(const std::string& text);

/// Returns what a run on a board that ships must leave, from tests/boards. Throws
/// std::runtime_error when nothing is expected of that board or the file is of another form.
[[nodiscard]] Outcome ExpectedOutcome(const std::string& board);

}  // namespace vam

#endif  // TESTS_SUPPORT_OUTCOME_H_
