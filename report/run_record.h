#ifndef REPORT_RUN_RECORD_H_
#define REPORT_RUN_RECORD_H_

#include <cstdint>
#include <string>
#include <vector>

#include "report/status_reader.h"

// The record that vam-verdict keeps of a run of the update tool: what it holds, its JSON text, and
// the same in words. docs/run-record.schema.json describes the text.

namespace vam {

/// How a run ended.
enum class RunOutcome {
  /// The chip runs the image's firmware.
  kVerified,
  /// The chip runs another version than the image has.
  kNotVerified,
  /// The board carries no VAM, or its driver did not answer.
  kNoVam,
  /// The chip's firmware branch does not implement the update.
  kNotImplemented,
  /// An update command failed.
  kUpdateFailed,
  /// The run did not reach its end: a signal ended the program, it could not be started, or its
  /// exit status is none of the update tool's.
  kInterrupted,
  /// The run reached its end, and the status files do not hold its verdict.
  kFilesNotWritten,
};

/// Returns the outcome's name, such as "files not written".
[[nodiscard]] const char* RunOutcomeName(RunOutcome outcome);

/// A moment on two clocks, in milliseconds.
struct Moment {
  /// Since the start of this boot, time asleep included.
  std::int64_t bootTime = 0;
  /// Since 1970 by the wall clock, which may be wrong: no judgement rests on it.
  std::int64_t wallClock = 0;
};

/// What stood in the place of a status file before the run, and where it was moved to.
struct MovedFile {
  std::string path;
  std::string movedTo;
  /// What it is, such as "a symbolic link of user 1000".
  std::string was;
};

/// The record of one run. Its texts may hold any bytes.
struct RunRecord {
  /// The boot in which the run ended, as the kernel writes it.
  std::string bootId;
  Moment start;
  Moment end;
  /// The program's exit status; -1 when a signal ended it.
  int status = -1;
  /// The signal that ended the program; 0 when it exited.
  int signal = 0;
  RunOutcome outcome = RunOutcome::kInterrupted;
  /// The system version that was verified; empty with any other outcome.
  std::string version;
  /// What the run added to the error file, the first 16 entries; no run of the
  /// update tool adds more than three. In a record that
  /// was read, `isForeign` and `hasTeeCode` are not set.
  std::vector<StatusEntry> entries;
  std::vector<MovedFile> moved;
  /// What kept the recorder from seeing everything, a sentence each.
  std::vector<std::string> problems;
};

/// Returns `record` as one JSON object on one line, a newline included. A text is written with one
/// character for each byte, U+0000 to U+00FF, so that any bytes come back as they were; everything
/// but printable ASCII is escaped.
[[nodiscard]] std::string RunRecordAsJson(const RunRecord& record);

/// Reads `json` into `record`, which is a new one. Returns false for any text that
/// RunRecordAsJson() does not write, such as one that is cut off, goes on, or has another format;
/// `record` then holds no whole run.
[[nodiscard]] bool ReadRunRecord(const std::string& json, RunRecord& record);

/// Returns the JSON object that stands in place of a record that there is none of, on one line, a
/// newline included: {"format":1,"error":...}.
[[nodiscard]] std::string NoRecordAsJson(const std::string& reason);

/// Returns how the run ended in one line of printable ASCII, without a newline at the end.
[[nodiscard]] std::string RunEndInWords(const RunRecord& record);

/// The same with what each entry says, in the same line.
[[nodiscard]] std::string RunRecordInWords(const RunRecord& record);

}  // namespace vam

#endif  // REPORT_RUN_RECORD_H_
