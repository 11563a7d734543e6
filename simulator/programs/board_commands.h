#ifndef SIMULATOR_PROGRAMS_BOARD_COMMANDS_H_
#define SIMULATOR_PROGRAMS_BOARD_COMMANDS_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// The commands of vam-board. Each adds itself to the program's parser, which carries it out when
// the command line asks for it. A failure is a std::runtime_error with a line for the user.

namespace vam {

/// Adds `run`, which puts a program on a board. `typed` are the words after "--", as they were
/// typed. The program's exit status, or vam-board's own, goes to `status`, which outlives the
/// parser.
void AddRunCommand(CLI::App& program, const std::vector<std::string>& typed, int& status);

/// Adds `explore`, which runs a program once for each fault at each moment. `typed` is as above.
/// The exit status goes to `status`.
void AddExploreCommand(CLI::App& program, const std::vector<std::string>& typed, int& status);

/// Adds `show`, which shows a board and its chip in words.
void AddShowCommand(CLI::App& program);

/// Adds `replay`, which runs a program on a recorded run. `typed` and `status` are as above.
void AddReplayCommand(CLI::App& program, const std::vector<std::string>& typed, int& status);

/// Adds `journal`, which shows and compares the journals of runs. The exit status of a comparison
/// goes to `status`, which outlives the parser.
void AddJournalCommand(CLI::App& program, int& status);

/// Adds `list`, which lists the boards that ship.
void AddListCommand(CLI::App& program);

/// Adds `check`, which says whether board files are right. Where one is not, 1 goes to `status`.
void AddCheckCommand(CLI::App& program, int& status);

}  // namespace vam

#endif  // SIMULATOR_PROGRAMS_BOARD_COMMANDS_H_
