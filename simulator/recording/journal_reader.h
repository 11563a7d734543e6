#ifndef SIMULATOR_RECORDING_JOURNAL_READER_H_
#define SIMULATOR_RECORDING_JOURNAL_READER_H_

// Reads the journal of a run, whoever wrote it. docs/journal.md describes the form. Nothing in a
// journal is believed: a line that is not of the form ends the reading, and is named.

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simulator/board/platform_calls.h"

namespace vam {

using Json = nlohmann::ordered_json;

/// One platform call of a journal.
// NOLINTNEXTLINE(bugprone-exception-escape): Json moves without one
struct JournalCall {
  /// Its line in the file, from 1.
  std::size_t line = 0;
  /// When it ended, in nanoseconds from the run's start.
  std::uint64_t time = 0;
  std::int64_t process = 0;
  std::int64_t thread = 0;
  PlatformCall call = PlatformCall::kOpen;
  /// What the line says of it: the members after its name, each of its kind.
  Json members;
};

/// What was read of a journal.
// NOLINTNEXTLINE(bugprone-exception-escape): Json moves without one
struct RecordedRun {
  /// The head; null where the journal has none.
  Json head;
  /// The calls up to the end, or up to the first line that is wrong.
  std::vector<JournalCall> calls;
  /// What is wrong, in one line: the file, the line, and what was expected. Empty: nothing.
  std::string problem;
  /// Whether only that is wrong that the last call's line is cut.
  bool isCut = false;
};

/// Reads the journal in `text`; `name` stands for the file in the problem. Takes any bytes.
[[nodiscard]] RecordedRun ReadJournal(const std::string& text, const std::string& name);

/// Returns the bytes that a text of a journal stands for: a character is a byte. REQUIRES: a text
/// of a journal that was read.
[[nodiscard]] std::string BytesOfText(const Json& text);

/// Returns the bytes that hexadecimal digits of a journal stand for. REQUIRES: as above.
[[nodiscard]] std::string BytesOfDigits(const Json& digits);

}  // namespace vam

#endif  // SIMULATOR_RECORDING_JOURNAL_READER_H_
