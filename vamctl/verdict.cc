#include "vamctl/verdict.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "report/result_codes.h"
#include "vamctl/code_texts.h"

namespace vam {

namespace {

constexpr off_t kTailSize = 65536;
constexpr std::size_t kEntriesOfARun = 3;
constexpr char kVerifiedMessage[] = "Updated FW version: ";
constexpr char kInformationMessage[] = "vam_getFWInfo failed";
constexpr char kProbeMessage[] = "VAM_RET_NOT_IMPLEMENTED";
constexpr char kForeign[] = "The update tool writes no such line.";

/// A message of the update tool and what it means.
struct KnownMessage {
  const char* message;
  const char* meaning;
  /// Whether the entry's code is one of the TEE Client API.
  bool hasTeeCode;
};

constexpr KnownMessage kKnownMessages[] = {
    {"Open /dev/zelkshield failed with error:",
     "The device node /dev/zelkshield could not be opened, so the board was not asked.", false},
    {"ioctl GET_VAM_SUPPORT failed with error:",
     "The kernel driver did not answer whether the board carries a VAM.", false},
    {kInformationMessage, "The firmware information words could not be read; the run went on.",
     true},
    {"vam_updateFW failed: ", "The update of the chip (mode 3) failed.", true},
    {"vam_updateFW failed(get firmware size from FS): ",
     "The versions of the image in the file system (mode 7) could not be read.", true},
    {"vam_updateFW failed(get firmware size from IC): ",
     "The versions that the chip runs (mode 11) could not be read.", true},
    {"updated firmware version (IC) != firmware version on FS (System part)",
     "The chip's system part runs another version than the image has.", false},
    {"updated firmware version (IC) != firmware version on FS (App part)",
     "The chip's app part runs another version than the image has.", false},
};

const KnownMessage* Find(const std::string& message) {
  for (const KnownMessage& known : kKnownMessages) {
    if (message == known.message) {
      return &known;
    }
  }
  return nullptr;
}

std::string Meaning(const StatusEntry& entry) {
  if (entry.code && entry.message == kProbeMessage) {
    return *entry.code == VAM_RET_NOT_IMPLEMENTED
               ? "The chip's firmware branch does not implement the update."
               : "The board carries no VAM; the kernel driver's flag is the code.";
  }
  const KnownMessage* known = Find(entry.message);
  return known == nullptr || !entry.code ? kForeign : known->meaning;
}

bool HasTeeCode(const StatusEntry& entry) {
  const KnownMessage* known = Find(entry.message);
  return entry.code && known != nullptr && known->hasTeeCode;
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

/// Splits `text` behind each newline, which is left out; a last line may have none.
std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

/// Reads `line`, which ends in a number and a blank, as the text before the number and the number.
std::optional<StatusEntry> ReadEntry(const std::string& line) {
  if (line.size() < 2 || line.back() != ' ') {
    return std::nullopt;
  }
  const std::size_t blank = line.rfind(' ', line.size() - 2);
  if (blank == std::string::npos) {
    return std::nullopt;
  }
  std::int32_t code = 0;
  const char* end = line.data() + line.size() - 1;
  const std::from_chars_result read = std::from_chars(line.data() + blank + 1, end, code);
  if (read.ec != std::errc() || read.ptr != end) {
    return std::nullopt;
  }
  return StatusEntry{line.substr(0, blank), code};
}

/// Reads the two lines of a record, from `line` on.
std::optional<VamResult> ReadRecord(const std::vector<std::string>& lines, std::size_t line) {
  if (line + 1 >= lines.size()) {
    return std::nullopt;
  }
  const std::optional<StatusEntry> vam = ReadEntry(lines[line]);
  const std::optional<StatusEntry> firmware = ReadEntry(lines[line + 1]);
  if (!vam || vam->message != "vam ret:" || !firmware || firmware->message != "fw ret:") {
    return std::nullopt;
  }
  return VamResult{*vam->code, *firmware->code};
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
  if (Meaning(last) == kForeign) {
    return Outcome::kUnclear;
  }
  if (last.message == kInformationMessage) {
    // Ends no run: a run that verifies the firmware leaves it in the moment before its verdict.
    return sameMoment ? Outcome::kVerified : Outcome::kNone;
  }
  return sameMoment ? Outcome::kUnclear : Outcome::kNotVerified;
}

const char* OutcomeName(Outcome outcome) {
  switch (outcome) {
    case Outcome::kVerified:
      return "verified";
    case Outcome::kNotVerified:
      return "not verified";
    case Outcome::kNone:
      return "none";
    default:
      return "unclear";
  }
}

std::string OutcomeInWords(const Verdict& verdict) {
  const std::string version = verdict.version ? Printable(*verdict.version) : "";
  const std::string before =
      verdict.version ? "; an earlier run verified system version " + version : "";
  switch (verdict.outcome) {
    case Outcome::kVerified:
      return "verified: the chip runs the image's firmware, system version " + version;
    case Outcome::kNotVerified:
      return "not verified: the last entry tells why" + before;
    case Outcome::kNone:
      return "none: the last run, if there was one, did not reach its end" + before;
    default:
      return "unclear: the files do not tell how the last run ended";
  }
}

std::string EntryInWords(const StatusEntry& entry) {
  std::string text = "\n- " + Meaning(entry) + "\n  " + Printable(entry.message);
  if (entry.code) {
    text += "\n  code: " + std::to_string(*entry.code);
  }
  if (HasTeeCode(entry)) {
    text += ", " + TeeCodeAsText(static_cast<std::uint32_t>(*entry.code));
  }
  if (entry.record) {
    text += "\n" + RecordAsText(*entry.record, "  ");
  }
  return text;
}

nlohmann::ordered_json EntryAsJson(const StatusEntry& entry) {
  nlohmann::ordered_json json = {{"message", Printable(entry.message)},
                                 {"meaning", Meaning(entry)}};
  if (entry.code) {
    json["code"] = *entry.code;
  }
  if (HasTeeCode(entry)) {
    json["result"] = TeeCodeAsJson(static_cast<std::uint32_t>(*entry.code));
  }
  if (entry.record) {
    json["record"] = RecordAsJson(*entry.record);
  }
  return json;
}

}  // namespace

StatusFile ReadStatusFile(const std::string& path) {
  StatusFile file;
  file.path = path;
  // Nobody's pipe is waited for.
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
    std::optional<StatusEntry> entry = ReadEntry(lines[i]);
    if (entry) {
      entry->record = ReadRecord(lines, i + 1);
      if (entry->record) {
        i += 2;
      }
    }
    entries.push_back(entry.value_or(StatusEntry{lines[i]}));
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

std::string VerdictAsText(const Verdict& verdict) {
  std::string text = "verdict: " + OutcomeInWords(verdict);
  for (const std::string& problem : verdict.problems) {
    text += "\nproblem: " + problem;
  }
  if (!verdict.entries.empty()) {
    text += "\nlast entries, the newest last:";
    for (const StatusEntry& entry : verdict.entries) {
      text += EntryInWords(entry);
    }
  }
  return text;
}

std::string VerdictAsJson(const Verdict& verdict) {
  nlohmann::ordered_json json = {{"verdict", OutcomeName(verdict.outcome)}, {"version", nullptr}};
  if (verdict.version) {
    json["version"] = Printable(*verdict.version);
  }
  json["entries"] = nlohmann::ordered_json::array();
  for (const StatusEntry& entry : verdict.entries) {
    json["entries"].push_back(EntryAsJson(entry));
  }
  json["problems"] = verdict.problems;
  return json.dump();
}

}  // namespace vam
