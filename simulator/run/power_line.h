#ifndef SIMULATOR_RUN_POWER_LINE_H_
#define SIMULATOR_RUN_POWER_LINE_H_

// How the loss of the board's power reaches every program of a run: the process in which it strikes
// tells the launcher, and the launcher ends them all.

#include <string>

namespace vam {

/// The launcher's end of the line. Throws std::runtime_error when it cannot be laid.
class PowerLine {
 public:
  /// Lays the line in the folder of a run.
  explicit PowerLine(const std::string& runFolder);
  ~PowerLine();
  PowerLine(const PowerLine&) = delete;
  PowerLine& operator=(const PowerLine&) = delete;

  /// Readable once the power is gone.
  int Descriptor() const { return descriptor; }

 private:
  int descriptor;
};

/// Cuts the power of the run in `runFolder`. Returns only when no launcher listens.
void CutPowerAtLauncher(const std::string& runFolder);

/// Cuts the power of the run in `runFolder`. Ends this process alone when no launcher listens.
[[noreturn]] void CutPower(const std::string& runFolder);

}  // namespace vam

#endif  // SIMULATOR_RUN_POWER_LINE_H_
