#ifndef SIMULATOR_RECORDING_JOURNAL_WORDS_H_
#define SIMULATOR_RECORDING_JOURNAL_WORDS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "simulator/recording/journal_reader.h"

namespace vam {

/// What a run did at one go, as a person reads it: the probe of the board, one command of the
/// trusted application, or a question to a service.
struct RunStep {
  /// When its first call ended, in nanoseconds from the run's start.
  std::uint64_t time = 0;
  std::int64_t process = 0;
  std::int64_t thread = 0;
  /// The line of its first call.
  std::size_t line = 0;
  /// What was done: "vm_updateFW, mode 3 (update)".
  std::string title;
  /// How it went: "answered" and "TEEC_SUCCESS from TEEC_ORIGIN_TRUSTED_APP, after 0.3 ms".
  struct Detail {
    std::string label;
    std::string text;
  };
  std::vector<Detail> details;
};

/// Returns the steps of a run in the order in which they began.
[[nodiscard]] std::vector<RunStep> StepsOf(const RecordedRun& run);

/// Returns a run in words: what was run, and a block for each step.
[[nodiscard]] std::string RunInWords(const RecordedRun& run);

/// Returns the same as JSON for scripts.
[[nodiscard]] std::string RunAsJson(const RecordedRun& run);

/// Returns one call in a line: its name, and its members with the names of their numbers.
[[nodiscard]] std::string CallInWords(const JournalCall& call);

}  // namespace vam

#endif  // SIMULATOR_RECORDING_JOURNAL_WORDS_H_
