#ifndef SIMULATOR_RUN_BOARD_STATUS_H_
#define SIMULATOR_RUN_BOARD_STATUS_H_

// The status files of a board: what its programs find at /tmp/VAM_OK and /tmp/VAM_FAIL.

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/board/board.h"

namespace vam {

/// Leads the programs of the run in `runFolder` to the status files in `folder`. Without it they
/// share the machine's. Makes the status files what `faults` say of them. Throws
/// std::runtime_error, with a line for the user.
void LeadToStatusFiles(const std::string& runFolder, const std::string& folder,
                       const std::vector<Fault>& faults = {});

/// The status files in one folder.
class BoardStatus {
 public:
  /// Takes note of how the files in `folder` are now.
  explicit BoardStatus(const std::string& folder);

  /// Returns what both files hold now, in words and lines for the user. At most the last lines of a
  /// file are shown, and bytes that a terminal would not print are escaped.
  [[nodiscard]] std::string Describe() const;

  /// Does the same, and says of which files the object took note as they still are.
  [[nodiscard]] std::string DescribeChanges() const;

  /// Throws std::runtime_error, with a line for the user, when the folder's file system is full:
  /// what a program wrote to the files may be lost, and the program itself does not tell.
  void RequireRoom() const;

 private:
  /// What tells that a file was written since.
  struct Stamp {
    bool present;
    std::uint64_t inode;
    std::int64_t size;
    std::int64_t changed;

    bool operator==(const Stamp& other) const;
  };

  static Stamp StampOf(const std::string& path);
  std::string Text(bool namesOldOnes) const;

  std::string place;
  std::string okFile;
  std::string errorFile;
  Stamp okBefore;
  Stamp errorBefore;
};

}  // namespace vam

#endif  // SIMULATOR_RUN_BOARD_STATUS_H_
