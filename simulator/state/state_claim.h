#ifndef SIMULATOR_STATE_STATE_CLAIM_H_
#define SIMULATOR_STATE_STATE_CLAIM_H_

#include <optional>
#include <string>

namespace vam {

/// A kept state folder that one run uses. As long as the object lives, no other
/// can claim it.
class StateClaim {
 public:
  /// Claims `stateFolder`, made when it is missing, for a run on the board `owner`. Throws
  /// std::runtime_error, with a line for the user, when another run has it, when another version
  /// made it, and when its chip is another board's and `takesOver` is false.
  StateClaim(const std::string& stateFolder, const std::string& owner, bool takesOver);
  ~StateClaim();
  StateClaim(const StateClaim&) = delete;
  StateClaim& operator=(const StateClaim&) = delete;

  /// Writes down that the folder's chip is the board's from now on. Throws std::runtime_error.
  void Record() const;

 private:
  void Lock();

  std::string folder;
  std::string board;
  /// Whether the folder's record says so already.
  bool isRecorded = false;
  int lock = -1;
};

/// Returns the board that the chip in `folder` belongs to; none where the
/// folder does not say. Throws std::runtime_error, with a line for the user,
/// when another version made the folder.
[[nodiscard]] std::optional<std::string> BoardOfState(const std::string& folder);

}  // namespace vam

#endif  // SIMULATOR_STATE_STATE_CLAIM_H_
