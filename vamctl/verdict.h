#ifndef VAMCTL_VERDICT_H_
#define VAMCTL_VERDICT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/vam_result.h"

// The update tool's two status files, read and said in words. /tmp is everybody's, so a status
// file may hold anything or be no file at all: nothing of it is trusted, waited for or read whole.

namespace vam {

/// A status file as it was found.
struct StatusFile {
  std::string path;
  /// Why it could not be read; empty when it could, or when there is none.
  std::string problem;
  bool present = false;
  /// Time of the last change, in nanoseconds.
  std::int64_t changed = 0;
  /// Its last lines, at most 64 KiB of them.
  std::vector<std::string> lines;
};

/// Reads the status file `path`. A file that is missing is not present; one that cannot be read,
/// or is no regular file, is present and has a problem.
[[nodiscard]] StatusFile ReadStatusFile(const std::string& path);

/// An entry of the error file, or a line of it that is none.
struct StatusEntry {
  /// The entry's message, or the line.
  std::string message;
  /// Left out for a line that is no entry.
  std::optional<std::int32_t> code = std::nullopt;
  std::optional<VamResult> record = std::nullopt;
};

/// Returns the entries that `lines` of the error file make, in their order.
[[nodiscard]] std::vector<StatusEntry> EntriesOf(const std::vector<std::string>& lines);

/// How the last run ended, as far as the files tell.
enum class Outcome {
  /// The chip runs the image's firmware.
  kVerified,
  /// It does not, or there is no chip to ask; the entries tell why.
  kNotVerified,
  /// No run has left a verdict.
  kNone,
  /// The files do not tell: one cannot be read, or both are of the same moment.
  kUnclear,
};

/// What both files say together.
struct Verdict {
  Outcome outcome = Outcome::kNone;
  /// Of the file of verified firmware: the version, where the file is as the tool writes it.
  std::optional<std::string> version = std::nullopt;
  /// The error file's last entries, the newest last, at most three: a run leaves no more.
  std::vector<StatusEntry> entries;
  /// Files that could not be read or are not as the tool writes them, a line each.
  std::vector<std::string> problems;
};

/// Judges the file of verified firmware and the error file. The one that changed last tells how
/// the last run ended.
[[nodiscard]] Verdict Judge(const StatusFile& okFile, const StatusFile& errorFile);

/// Returns `verdict` in lines of text, without a newline at the end.
[[nodiscard]] std::string VerdictAsText(const Verdict& verdict);

/// Returns `verdict` as one JSON object on one line, without a newline at the end.
[[nodiscard]] std::string VerdictAsJson(const Verdict& verdict);

}  // namespace vam

#endif  // VAMCTL_VERDICT_H_
