#ifndef REPORT_LAST_RUN_H_
#define REPORT_LAST_RUN_H_

#include <cstddef>
#include <string>

#include "report/run_record.h"

// The verdict of this boot's last run, for services that must know it. Unlike the status files in
// /tmp, the record cannot be forged by another user, does not outlive its boot and is never half
// written.

namespace vam {

/// The record's name in its folder.
inline constexpr char kRecordName[] = "verdict.json";

/// No record is longer, in bytes: it holds the longest name of a program, each byte escaped.
inline constexpr std::size_t kLongestRecord = 2097152;

/// Returns the folder in which vam-verdict keeps the record, as this build was configured:
/// "/run/vam-update" unless VAM_VERDICT_FOLDER says otherwise.
[[nodiscard]] const char* VerdictFolder();

/// Returns the kernel's name of this boot, 36 characters; empty where /proc/sys does not tell it.
[[nodiscard]] std::string BootId();

/// What is known of the last run of this boot.
struct LastRun {
  enum class State {
    /// It has ended, as `record` tells.
    kEnded,
    /// No run has ended in this boot.
    kNone,
    /// There is something that cannot be read or trusted; `problem` tells why.
    kNotTrusted,
  };
  State state = State::kNone;
  RunRecord record;
  /// One line of printable ASCII.
  std::string problem;
};

/// Reads the record in `folder`. It is trusted if nobody but root and the folder's owner can have
/// written it: it is a regular file of either under a single name, and no other user may write to
/// it, to the folder, or to a folder above. It must be of this boot, and whole. The call waits for
/// nobody, follows no symbolic link in `folder`, and reads at most kLongestRecord bytes.
[[nodiscard]] LastRun ReadLastRun(const std::string& folder = VerdictFolder());

}  // namespace vam

#endif  // REPORT_LAST_RUN_H_
