#ifndef VAMCTL_ANSWER_H_
#define VAMCTL_ANSWER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/vam_result.h"
#include "vamctl/tee_witness.h"

// What a command of the trusted application answered, and how vamctl shows it: as text for
// people, and as one line of JSON for programs.

namespace vam {

/// Versions as they were received, a terminating zero byte included.
struct FirmwareVersions {
  std::string system;
  std::string app;
};

/// Answer to one command. A member that the command brought nothing for is left out.
struct Answer {
  /// The subcommand's name.
  std::string command;
  /// The command's result, a TEEC_Result.
  std::uint32_t code = 0;
  /// The mode of an update command.
  std::optional<std::int32_t> mode = std::nullopt;
  std::optional<VamResult> record = std::nullopt;
  std::optional<FirmwareVersions> versions = std::nullopt;
  /// Information words, shown in signed decimal.
  std::optional<std::vector<std::uint32_t>> words = std::nullopt;
  /// The hack information record.
  std::optional<std::vector<std::uint8_t>> bytes = std::nullopt;
  /// The step that failed; shown in JSON alone, because the lines before the text say it.
  std::optional<FailedStep> cause = std::nullopt;
};

/// Returns whether the command did what was asked: its code is 0, and so are both codes of its
/// record where it brought one.
[[nodiscard]] bool Succeeded(const Answer& answer);

/// Returns `answer` in lines of text, without a newline at the end.
[[nodiscard]] std::string AnswerAsText(const Answer& answer);

/// Returns `answer` as one JSON object on one line, without a newline at the end. A code's "name"
/// is null where it has none.
[[nodiscard]] std::string AnswerAsJson(const Answer& answer);

/// Returns `problem`, which kept vamctl from an answer, as one JSON object on one line, without a
/// newline at the end.
[[nodiscard]] std::string ErrorAsJson(const std::string& problem);

}  // namespace vam

#endif  // VAMCTL_ANSWER_H_
