#ifndef SIMULATOR_STATE_STATE_FOLDER_H_
#define SIMULATOR_STATE_STATE_FOLDER_H_

// The folder that keeps a chip from run to run: the chip's memory and the firmware image.

#include <string>

#include "simulator/board/board.h"
#include "simulator/files/whole_file.h"

namespace vam {

/// Return where the state folder `folder` keeps the chip's memory and the firmware image.
[[nodiscard]] std::string ChipMemoryIn(const std::string& folder);
[[nodiscard]] std::string FirmwareImageIn(const std::string& folder);
/// Returns where the image file of a board in `boardFolder` lies; empty: the board has none.
[[nodiscard]] std::string ImageFileOf(const Board& board, const std::string& boardFolder);
/// Return where it keeps the lock that a command to the chip holds, the lock that a run holds, and
/// the record of the board that it belongs to.
[[nodiscard]] std::string ChipLockIn(const std::string& folder);
[[nodiscard]] std::string RunLockIn(const std::string& folder);
[[nodiscard]] std::string BoardRecordIn(const std::string& folder);

/// Prepares `folder`, created when missing, for a run on `board`: writes the firmware image as the
/// board has it, and the chip's memory where there is none yet. An image file of the board is
/// looked up relative to `boardFolder`. A chip that is made is kept as `keeping` says. Throws
/// std::runtime_error, with a line for the user, also where a chip's memory cannot be read or is of
/// another format; a damaged one is a chip's state like others. REQUIRES: no other run uses
/// `folder`.
void PrepareStateFolder(const std::string& folder, const Board& board,
                        const std::string& boardFolder,
                        Keeping keeping = Keeping::kThroughPowerFailure);

}  // namespace vam

#endif  // SIMULATOR_STATE_STATE_FOLDER_H_
