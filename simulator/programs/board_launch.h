#ifndef SIMULATOR_PROGRAMS_BOARD_LAUNCH_H_
#define SIMULATOR_PROGRAMS_BOARD_LAUNCH_H_

// What every command of vam-board that starts a program does.

#include <string>
#include <vector>

#include "journal/journal.h"

namespace vam {

/// Returns the folder of the stand-in libraries.
[[nodiscard]] std::string LibrariesFolder();

/// Starts the journal of a run of `command` at `path`, and returns where it lies; an empty text
/// where `path` is empty. Throws std::runtime_error, with a line for the user.
[[nodiscard]] std::string StartRunJournal(const std::string& path,
                                          const std::vector<std::string>& command,
                                          JournalSettings& settings);

}  // namespace vam

#endif  // SIMULATOR_PROGRAMS_BOARD_LAUNCH_H_
