#ifndef SIMULATOR_EXPLORING_RULES_H_
#define SIMULATOR_EXPLORING_RULES_H_

// What must hold after every run, whatever befell it. Stated over what can be seen from outside of
// the program: its platform calls, the chip, the files and the exit status.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/recording/journal_reader.h"

namespace vam {

/// What a run left.
// NOLINTNEXTLINE(bugprone-exception-escape): Json moves without one
struct Evidence {
  RecordedRun journal;
  /// As a shell has it: 128 and more where a signal ended the program.
  int status = 0;
  /// The bytes of /tmp/VAM_OK and /tmp/VAM_FAIL; nothing where there is no such file.
  std::optional<std::string> okBefore;
  std::optional<std::string> okAfter;
  std::optional<std::string> failBefore;
  std::optional<std::string> failAfter;
  /// Whether the chip is whole and runs the image.
  bool chipRunsImage = false;
  /// Whether a fault changed an answer that the program got.
  bool answersChanged = false;
  /// Whether a fault ended a process of the program: the board lost power, a signal came, or memory
  /// was refused.
  bool isCutOff = false;
  /// Which status files a fault kept from being written.
  bool okIsRefused = false;
  bool failIsRefused = false;
  /// For how many bytes of status files there was room; nothing: for all.
  std::optional<std::uint32_t> statusRoom;
  /// Platform calls after a status file was first opened for writing.
  std::uint32_t callsAfterStatus = 0;
  /// Files that the run left in its working folder and beside the status files.
  std::vector<std::string> strangers;
  /// What the programs of the run wrote to standard error.
  std::string complaints;
};

/// Returns the rules that a run of any program broke, a line each. `clean` is what the program left
/// without the fault, and `whole` what it leaves on a board where nothing fails: a changed answer
/// may lead it that far.
[[nodiscard]] std::vector<std::string> BrokenByAnyProgram(const Evidence& run,
                                                          const Evidence& clean,
                                                          const Evidence& whole);

/// Returns the rules that a run of vam-update broke beside those, a line each.
[[nodiscard]] std::vector<std::string> BrokenByTheUpdateTool(const Evidence& run);

/// Returns the rules that a run of vam-update broke which came, without a fault, after a run with
/// one and the recovery that the chip asked for. `clean` is what it leaves on a new board.
[[nodiscard]] std::vector<std::string> BrokenByTheNextRun(const Evidence& next,
                                                          const Evidence& clean);

/// Returns the row of docs/outcomes.md that a run of vam-update is, by the answers that it got.
[[nodiscard]] std::string OutcomeOf(const Evidence& run);

}  // namespace vam

#endif  // SIMULATOR_EXPLORING_RULES_H_
