#ifndef SIMULATOR_STATE_CHIP_LOCK_H_
#define SIMULATOR_STATE_CHIP_LOCK_H_

#include <string>

namespace vam {

/// Holds the chip of a state folder for one command: as long as the object lives, every other
/// process and thread that wants to make one waits. The kernel frees the chip of a process that is
/// killed.
class ChipLock {
 public:
  /// Waits for the chip in `folder`. Throws std::runtime_error, with a line for the user, when it
  /// cannot be locked.
  explicit ChipLock(const std::string& folder);
  ~ChipLock();
  ChipLock(const ChipLock&) = delete;
  ChipLock& operator=(const ChipLock&) = delete;

 private:
  int descriptor;
};

}  // namespace vam

#endif  // SIMULATOR_STATE_CHIP_LOCK_H_
