#include "verdict/judgement.h"

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "report/result_codes.h"
#include "report/run_record.h"
#include "report/status_messages.h"
#include "report/status_reader.h"

namespace vam {

namespace {

constexpr int kSucceeded = 0;
constexpr int kCommandFailed = 255;
constexpr std::size_t kMostEntries = 16;

/// Takes the version out of a whole file of verified firmware, where it is one. The version may
/// hold any bytes.
bool TakeVersion(const std::string& okText, std::string& version) {
  const std::size_t start = std::strlen(kVerifiedMessage);
  const std::size_t end = std::strlen(kLineEnd);
  if (okText.size() < start + end || std::memcmp(okText.data(), kVerifiedMessage, start) != 0 ||
      std::memcmp(okText.data() + okText.size() - end, kLineEnd, end) != 0) {
    return false;
  }
  version.assign(okText.data() + start, okText.size() - start - end);
  return true;
}

/// Returns the outcome of a run whose last entry is `entry`; nothing for the entry of a run that
/// goes on, or for none of the update tool's.
std::optional<RunOutcome> OutcomeAfter(const StatusEntry& entry) {
  if (entry.isForeign || entry.message == kInformationFailed) {
    return std::nullopt;
  }
  if (entry.message == kNotImplemented && entry.code == VAM_RET_NOT_IMPLEMENTED) {
    return RunOutcome::kNotImplemented;
  }
  if (entry.message == kNotImplemented || entry.message == kNodeOpenFailed ||
      entry.message == kNodeQueryFailed) {
    return RunOutcome::kNoVam;
  }
  if (entry.message == kSystemMismatch || entry.message == kAppMismatch) {
    return RunOutcome::kNotVerified;
  }
  return RunOutcome::kUpdateFailed;
}

/// Returns the outcome of a run that exited with success, as its files tell it.
RunOutcome OutcomeInFiles(const std::vector<StatusEntry>& entries, bool isVersionLeft) {
  RunOutcome outcome = isVersionLeft ? RunOutcome::kVerified : RunOutcome::kFilesNotWritten;
  for (const StatusEntry& entry : entries) {
    if (entry.isForeign) {
      return RunOutcome::kFilesNotWritten;
    }
    outcome = OutcomeAfter(entry).value_or(outcome);
  }
  return outcome;
}

}  // namespace

void JudgeRun(RunRecord& record, const std::string& okText, const std::string& added) {
  record.entries = EntriesOf(LinesOf(added));
  std::string version;
  const bool isVersionLeft = TakeVersion(okText, version);
  record.outcome = record.status == kSucceeded       ? OutcomeInFiles(record.entries, isVersionLeft)
                   : record.status == kCommandFailed ? RunOutcome::kUpdateFailed
                                                     : RunOutcome::kInterrupted;
  if (record.outcome == RunOutcome::kVerified) {
    record.version = version;
  }
  while (record.entries.size() > kMostEntries) {
    record.entries.pop_back();
  }
}

}  // namespace vam
