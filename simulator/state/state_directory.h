#ifndef SIMULATOR_STATE_STATE_DIRECTORY_H_
#define SIMULATOR_STATE_STATE_DIRECTORY_H_

#include <string>

#include "simulator/board/board.h"
#include "simulator/model/chip_memory.h"

namespace vam {

/// Prepares `directory`, created when missing, for a run on `board`: writes the firmware image as
/// the board has it (image files are looked up relative to `boardFolder`), and the chip's memory
/// where there is none yet. Throws std::runtime_error, with a line for the user.
void PrepareStateDirectory(const std::string& directory, const Board& board,
                           const std::string& boardFolder);

/// Returns in words, a line each, what the memory file `path` of a chip holds; says so when there
/// is none or when it is damaged.
[[nodiscard]] std::string DescribeChip(const std::string& path);

}  // namespace vam

#endif  // SIMULATOR_STATE_STATE_DIRECTORY_H_
