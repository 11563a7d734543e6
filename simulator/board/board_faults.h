#ifndef SIMULATOR_BOARD_BOARD_FAULTS_H_
#define SIMULATOR_BOARD_BOARD_FAULTS_H_

#include <vector>

#include "simulator/board/board.h"
#include "simulator/board/board_section.h"

namespace vam {

/// Reads the faults of a board file, each a [[fault]] of `file`, and numbers them from 1. Throws
/// BoardError.
[[nodiscard]] std::vector<Fault> ReadFaults(const BoardSection& file);

}  // namespace vam

#endif  // SIMULATOR_BOARD_BOARD_FAULTS_H_
