#ifndef TESTS_SUPPORT_RECORDED_RUN_H_
#define TESTS_SUPPORT_RECORDED_RUN_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/private_tmp.h"
#include "tests/support/process.h"

namespace vam {

/// A /run of the test's own besides its /tmp: the places of the record and of the status files, as
/// empty as after a boot. Only root may write to /run, as on a device.
class PrivateRun {
 public:
  /// `tmpOptions` are mount options of /tmp.
  explicit PrivateRun(const std::string& tmpOptions = "");
  ~PrivateRun();
  PrivateRun(const PrivateRun&) = delete;
  PrivateRun& operator=(const PrivateRun&) = delete;

 private:
  const PrivateTmp tmp;
};

/// The path of vam-verdict.
[[nodiscard]] std::string VerdictProgram();

/// Runs vam-verdict with `arguments`.
[[nodiscard]] Output Ask(const std::vector<std::string>& arguments = {});

/// Runs the recorder around `program`.
[[nodiscard]] Output Record(const std::vector<std::string>& program,
                            const std::vector<std::string>& options = {});

/// Runs the recorder around the update tool on a simulated board.
[[nodiscard]] Output RecordOnBoard(const std::string& board,
                                   const std::vector<std::string>& options = {});

/// Returns the record's text; empty where there is none.
[[nodiscard]] std::string RecordText();

}  // namespace vam

#endif  // TESTS_SUPPORT_RECORDED_RUN_H_
