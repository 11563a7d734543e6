#include "report/status_reader.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "report/result_codes.h"
#include "report/status_messages.h"
#include "report/tee_codes.h"
#include "report/trusted_file.h"
#include "report/vam_result.h"

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
    if (*entry.code == VAM_RET_NOT_IMPLEMENTED) {
      entry.meaning = "The chip's firmware branch does not implement the update.";
      entry.codeName = kNotImplemented;
    } else {
      entry.meaning = "The board carries no VAM; the kernel driver's flag is the code.";
    }
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

/// Fills in the names of the entry's codes, of which Explain() has told the kind.
void NameCodes(StatusEntry& entry) {
  const char* teeName =
      entry.hasTeeCode ? TeeCodeName(static_cast<std::uint32_t>(*entry.code)) : nullptr;
  if (teeName != nullptr) {
    entry.codeName = teeName;
  }
  if (!entry.record) {
    return;
  }
  const char* vamName = VamCodeName(entry.record->vamCode);
  if (vamName != nullptr) {
    entry.vamName = vamName;
  }
  const char* firmwareName = ZelkCodeName(entry.record->fwCode);
  if (firmwareName != nullptr) {
    entry.firmwareName = entry.record->fwCode < 0 ? "-" : "";
    entry.firmwareName += firmwareName;
  }
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
std::optional<std::int32_t> ReadCodeAfter(const char* prefix, const std::string& line) {
  const std::size_t length = std::strlen(prefix);
  return std::strncmp(line.c_str(), prefix, length) == 0 ? ReadCode(line, length) : std::nullopt;
}

/// Reads `line` as a message, a blank, a code and a blank. Any other line is a message alone.
StatusEntry ReadEntry(const std::string& line) {
  StatusEntry entry{line};
  // The blank before the code; the line's last byte is another.
  std::size_t blank = line.size() < 2 ? 0 : line.size() - 2;
  while (blank > 0 && line[blank] != ' ') {
    --blank;
  }
  if (line[blank] == ' ') {
    entry.code = ReadCode(line, blank + 1);
  }
  if (entry.code) {
    entry.message.resize(blank);
  }
  return entry;
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
      std::strncmp(lines.back().c_str(), kVerifiedMessage, kStart) != 0) {
    return std::nullopt;
  }
  std::string version;
  version.assign(lines.back().data() + kStart, lines.back().size() - kStart - 1);
  return version;
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
  const Descriptor descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!descriptor.IsOpen()) {
    if (errno != ENOENT) {
      file.present = true;
      file.problem = std::strerror(errno);
    }
    return file;
  }
  file.present = true;
  struct stat status = {};
  if (fstat(descriptor.Number(), &status) != 0 || !S_ISREG(status.st_mode)) {
    file.problem = "not a regular file";
    return file;
  }
  file.changed = Nanoseconds(status.st_mtim);
  const off_t start = status.st_size > kTailSize ? status.st_size - kTailSize : 0;
  std::string tail;
  if (!ReadAt(descriptor.Number(), start, kTailSize, tail)) {
    file.problem = std::strerror(errno);
    return file;
  }
  file.lines = LinesOf(tail);
  file.startsLater = start > 0;
  if (start > 0 && file.lines.size() > 1) {
    // Began in the middle of a line.
    file.lines.erase(file.lines.begin());
  }
  return file;
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  bool isWithinLine = false;
  for (const char byte : text) {
    if (!isWithinLine) {
      lines.push_back(std::string());
    }
    isWithinLine = byte != '\n';
    if (isWithinLine) {
      lines.back() += byte;
    }
  }
  return lines;
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
    NameCodes(entry);
    entries.push_back(std::move(entry));
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
  // What was read decides. What was not may be what the reader of the entries looks for.
  if (errorFile.startsLater && verdict.entries.size() < kEntriesOfARun) {
    verdict.problems.push_back(errorFile.path + ": only its last 64 KiB were read; older entries " +
                               "are left out");
  }
  return verdict;
}

Verdict ReadVerdict() { return Judge(ReadStatusFile(kOkFile), ReadStatusFile(kErrorFile)); }

}  // namespace vam
