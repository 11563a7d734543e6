#include "report/status_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "report/result_codes.h"
#include "report/status_messages.h"

namespace vam {

namespace {

constexpr off_t kTailSize = 65536;
constexpr std::size_t kEntriesOfARun = 3;

/// A message of the update tool and what it means.
struct KnownMessage {
  const char* message;
  const char* meaning;
  /// Whether the entry's code is one of the TEE Client API.
  bool hasTeeCode;
};

constexpr KnownMessage kKnownMessages[] = {
    {kNodeOpenFailed,
     "The device node /dev/zelkshield could not be opened, so the board was not asked.", false},
    {kNodeQueryFailed, "The kernel driver did not answer whether the board carries a VAM.", false},
    {kInformationFailed, "The firmware information words could not be read; the run went on.",
     true},
    {kUpdateFailed, "The update of the chip (mode 3) failed.", true},
    {kImageVersionsFailed,
     "The versions of the image in the file system (mode 7) could not be read.", true},
    {kChipVersionsFailed, "The versions that the chip runs (mode 11) could not be read.", true},
    {kSystemMismatch, "The chip's system part runs another version than the image has.", false},
    {kAppMismatch, "The chip's app part runs another version than the image has.", false},
};

/// Fills in what the entry's message says of it.
void Explain(StatusEntry& entry) {
  if (entry.code && entry.message == kNotImplemented) {
    entry.meaning = *entry.code == VAM_RET_NOT_IMPLEMENTED
                        ? "The chip's firmware branch does not implement the update."
                        : "The board carries no VAM; the kernel driver's flag is the code.";
    return;
  }
  for (const KnownMessage& known : kKnownMessages) {
    if (entry.code && entry.message == known.message) {
      entry.meaning = known.meaning;
      entry.hasTeeCode = known.hasTeeCode;
      return;
    }
  }
  entry.meaning = "The update tool writes no such line.";
  entry.isForeign = true;
}

/// Reads up to `size` bytes at `offset`; nothing where the file cannot be read.
std::optional<std::string> ReadAt(int descriptor, off_t offset, std::size_t size) {
  std::string bytes(size, '\0');
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t count =
        pread(descriptor, &bytes[filled], size - filled, offset + static_cast<off_t>(filled));
    if (count < 0) {
      return std::nullopt;
    }
    if (count == 0) {
      break;
    }
    filled += static_cast<std::size_t>(count);
  }
  bytes.resize(filled);
  return bytes;
}

/// Splits `text` at each newline. The last line may have none.
std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

/// Reads the number from `start` to the blank that ends `line`.
std::optional<std::int32_t> ReadCode(const std::string& line, std::size_t start) {
  if (line.size() <= start || line.back() != ' ') {
    return std::nullopt;
  }
  std::int32_t code = 0;
  const char* end = line.data() + line.size() - 1;
  const std::from_chars_result read = std::from_chars(line.data() + start, end, code);
  if (read.ec != std::errc() || read.ptr != end) {
    return std::nullopt;
  }
  return code;
}

/// Reads the number of a line that starts with `prefix`.
std::optional<std::int32_t> ReadCodeAfter(const std::string& prefix, const std::string& line) {
  return line.compare(0, prefix.size(), prefix) == 0 ? ReadCode(line, prefix.size()) : std::nullopt;
}

/// Reads `line` as a message, a blank, a code and a blank. Any other line is a message alone.
StatusEntry ReadEntry(const std::string& line) {
  const std::size_t blank = line.size() < 2 ? std::string::npos : line.rfind(' ', line.size() - 2);
  if (blank != std::string::npos) {
    const std::optional<std::int32_t> code = ReadCode(line, blank + 1);
    if (code) {
      return StatusEntry{line.substr(0, blank), code};
    }
  }
  return StatusEntry{line};
}

/// Reads the two lines of a record, from `line` on.
std::optional<VamResult> ReadRecord(const std::vector<std::string>& lines, std::size_t line) {
  if (line + 1 >= lines.size()) {
    return std::nullopt;
  }
  const std::optional<std::int32_t> vamCode = ReadCodeAfter(kVamCodePrefix, lines[line]);
  const std::optional<std::int32_t> fwCode = ReadCodeAfter(kFirmwareCodePrefix, lines[line + 1]);
  if (!vamCode || !fwCode) {
    return std::nullopt;
  }
  return VamResult{*vamCode, *fwCode};
}

/// Returns the version in the last of `lines`, if that is as the tool writes it.
std::optional<std::string> VerifiedVersion(const std::vector<std::string>& lines) {
  constexpr std::size_t kStart = sizeof kVerifiedMessage - 1;
  if (lines.empty() || lines.back().size() <= kStart || lines.back().back() != ' ' ||
      lines.back().compare(0, kStart, kVerifiedMessage) != 0) {
    return std::nullopt;
  }
  return lines.back().substr(kStart, lines.back().size() - kStart - 1);
}

Outcome OutcomeOf(const StatusFile& okFile, const StatusFile& errorFile, const Verdict& verdict) {
  if (!verdict.problems.empty()) {
    return Outcome::kUnclear;
  }
  const bool verifiedLast = okFile.present && okFile.changed > errorFile.changed;
  if (verifiedLast || verdict.entries.empty()) {
    return okFile.present ? Outcome::kVerified : Outcome::kNone;
  }
  const bool sameMoment = okFile.present && okFile.changed == errorFile.changed;
  const StatusEntry& last = verdict.entries.back();
  if (last.isForeign) {
    return Outcome::kUnclear;
  }
  if (last.message == kInformationFailed) {
    // This entry ends no run. A run that verifies the firmware may leave it just before its
    // verdict.
    return sameMoment ? Outcome::kVerified : Outcome::kNone;
  }
  return sameMoment ? Outcome::kUnclear : Outcome::kNotVerified;
}

}  // namespace

StatusFile ReadStatusFile(const std::string& path) {
  StatusFile file;
  file.path = path;
  // Does not wait for the writer of a pipe.
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) {
    if (errno != ENOENT) {
      file.present = true;
      file.problem = std::strerror(errno);
    }
    return file;
  }
  file.present = true;
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    file.problem = "not a regular file";
    close(descriptor);
    return file;
  }
  file.changed = std::int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec;
  const off_t start = status.st_size > kTailSize ? status.st_size - kTailSize : 0;
  const std::optional<std::string> tail = ReadAt(descriptor, start, kTailSize);
  if (tail) {
    file.lines = Lines(*tail);
    if (start > 0 && file.lines.size() > 1) {
      // Began in the middle of a line.
      file.lines.erase(file.lines.begin());
    }
  } else {
    file.problem = std::strerror(errno);
  }
  close(descriptor);
  return file;
}

std::vector<StatusEntry> EntriesOf(const std::vector<std::string>& lines) {
  std::vector<StatusEntry> entries;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    StatusEntry entry = ReadEntry(lines[i]);
    if (entry.code) {
      entry.record = ReadRecord(lines, i + 1);
      if (entry.record) {
        i += 2;
      }
    }
    Explain(entry);
    entries.push_back(entry);
  }
  return entries;
}

Verdict Judge(const StatusFile& okFile, const StatusFile& errorFile) {
  Verdict verdict;
  verdict.version = VerifiedVersion(okFile.lines);
  verdict.entries = EntriesOf(errorFile.lines);
  if (verdict.entries.size() > kEntriesOfARun) {
    verdict.entries.erase(verdict.entries.begin(), verdict.entries.end() - kEntriesOfARun);
  }
  for (const StatusFile* file : {&okFile, &errorFile}) {
    if (!file->problem.empty()) {
      verdict.problems.push_back(file->path + ": cannot be read: " + file->problem);
    }
  }
  if (okFile.present && okFile.problem.empty() && !verdict.version) {
    verdict.problems.push_back(okFile.path + ": not as the update tool writes it");
  }
  verdict.outcome = OutcomeOf(okFile, errorFile, verdict);
  return verdict;
}

Verdict ReadVerdict() { return Judge(ReadStatusFile(kOkFile), ReadStatusFile(kErrorFile)); }

}  // namespace vam
