#ifndef SIMULATOR_EXPLORING_SINGLE_RUN_H_
#define SIMULATOR_EXPLORING_SINGLE_RUN_H_

#include <string>

#include "simulator/exploring/exploration.h"
#include "simulator/exploring/moments.h"
#include "simulator/exploring/rules.h"

namespace vam {

class PreparedProgram;

/// What a run left, and what the rig knows of it.
// NOLINTNEXTLINE(bugprone-exception-escape): Json moves without one
struct SingleRun {
  Evidence evidence;
  MomentCounts counts;
  /// Whether every one of the faults that were added has fired.
  bool allFired = true;
};

/// Runs the program of `scene` in `folder`, which exists and is empty, on its board with `faults`
/// added. The status files hold entries of an earlier run. Throws std::runtime_error for what is no
/// affair of the program's. `prepared` is the program of `scene`, or null.
[[nodiscard]] SingleRun RunOnce(const Scene& scene, const std::string& folder,
                                const std::string& faults, PreparedProgram* prepared = nullptr);

/// Runs the program once more on the chip that RunOnce() left in `folder`, without a fault and
/// after the recovery that a damaged or an interrupted chip asks for.
[[nodiscard]] SingleRun RunAgain(const Scene& scene, const std::string& folder,
                                 PreparedProgram* prepared);

/// Returns the bytes of the chip's memory in `folder`.
[[nodiscard]] std::string ChipMemoryOf(const std::string& folder);

}  // namespace vam

#endif  // SIMULATOR_EXPLORING_SINGLE_RUN_H_
