#ifndef SIMULATOR_RUN_PREPARED_PROGRAM_H_
#define SIMULATOR_RUN_PREPARED_PROGRAM_H_

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "simulator/run/companion.h"

namespace vam {

/// A program that is loaded once and started many times, each time as a process of its own that
/// begins at its main. What takes long at a start is done once: the dynamic linker's work.
class PreparedProgram {
 public:
  /// Loads `command`, with the stand-ins in `libraries`. A program that is not of this machine's
  /// kind, is a script, or does not get the preloaded library, is not ready. The caller adopts the
  /// orphans of its descendants from now on. Throws std::runtime_error.
  PreparedProgram(const std::vector<std::string>& command, const std::string& libraries);

  [[nodiscard]] bool IsReady() const { return keeper.has_value(); }

  /// Starts a process for the run in `runFolder`, with the caller's working folder and standard
  /// error; `standardOutput` is its standard output, or -1. Returns the process, a child of the
  /// caller; -1 where it cannot be started: the program is not ready any more. REQUIRES: IsReady().
  [[nodiscard]] pid_t Start(const std::string& runFolder, int standardOutput);

 private:
  /// Keeps the loaded program, so that who waits for children does not see it; none: not ready.
  std::optional<Companion> keeper;
};

}  // namespace vam

#endif  // SIMULATOR_RUN_PREPARED_PROGRAM_H_
