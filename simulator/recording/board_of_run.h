#ifndef SIMULATOR_RECORDING_BOARD_OF_RUN_H_
#define SIMULATOR_RECORDING_BOARD_OF_RUN_H_

#include <string>

#include "simulator/recording/journal_reader.h"

namespace vam {

/// Returns a board file for the simulated board that leads the recorded program to the same calls:
/// the probe's answer, the versions, the information, the settings, and a fault for each answer
/// that a whole chip would not give. What the board cannot be stands in its first lines as
/// comments.
[[nodiscard]] std::string BoardOfRun(const RecordedRun& run);

}  // namespace vam

#endif  // SIMULATOR_RECORDING_BOARD_OF_RUN_H_
