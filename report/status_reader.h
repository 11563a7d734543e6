#ifndef REPORT_STATUS_READER_H_
#define REPORT_STATUS_READER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/result_codes.h"

// The reader of the status files, for services that act on what the update tool left. Anybody can
// write to /tmp, so a status file may hold anything, or be no file at all: the reader trusts
// nothing, waits for nothing and reads only a file's end. Bytes are handed on as they are.

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
  /// Whether the file has more before them.
  bool startsLater = false;
};

/// Reads the status file `path`. A file that is missing is not present; one that cannot be read,
/// or is no regular file, is present and has a problem.
[[nodiscard]] StatusFile ReadStatusFile(const std::string& path);

/// An entry of the error file, or a line of it that is no entry.
struct StatusEntry {
  /// The entry's message, or the whole line.
  std::string message;
  /// Nothing for a line that is no entry.
  std::optional<std::int32_t> code = std::nullopt;
  std::optional<VamResult> record = std::nullopt;
  /// What the entry says, in one English sentence.
  std::string meaning = {};
  /// The names of the code and of the record's two codes; empty where there is none. A firmware
  /// code that was reported as its negative has a "-" before its name.
  std::string codeName = {};
  std::string vamName = {};
  std::string firmwareName = {};
  /// Whether the update tool writes no such entry.
  bool isForeign = false;
  /// Whether `code`, read as unsigned, is a result code of the TEE Client API.
  bool hasTeeCode = false;
};

/// Splits `text` at each newline. The last line may have none.
[[nodiscard]] std::vector<std::string> LinesOf(const std::string& text);

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
  /// The version in kOkFile; nothing unless the file is as the update tool writes it.
  std::optional<std::string> version = std::nullopt;
  /// The last entries of kErrorFile, the newest last. At most three: a run leaves no more.
  std::vector<StatusEntry> entries;
  /// A line for each file that could not be read, was read in part where older entries are asked
  /// for, or is not as the update tool writes it.
  std::vector<std::string> problems;
};

/// Judges what was read from kOkFile and kErrorFile. The file that changed last tells how the last
/// run ended.
[[nodiscard]] Verdict Judge(const StatusFile& okFile, const StatusFile& errorFile);

/// Reads and judges kOkFile and kErrorFile.
[[nodiscard]] Verdict ReadVerdict();

}  // namespace vam

#endif  // REPORT_STATUS_READER_H_
