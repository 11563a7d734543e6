#ifndef SIMULATOR_RUN_BOARD_PROGRAM_H_
#define SIMULATOR_RUN_BOARD_PROGRAM_H_

#include <string>
#include <vector>

#include "simulator/board/board.h"

namespace vam {

/// Exit statuses beyond the program's own.
constexpr int kNotExecutable = 126;
constexpr int kNotFound = 127;

/// How a program is put on a board.
struct BoardProgram {
  std::vector<std::string> command;
  /// The run's folder, and the folder of the stand-in libraries.
  std::string runFolder;
  std::string libraries;
  ProbeSection probe;
};

/// Puts up the board's device node, runs the program, and waits until the program and everything
/// that it started have ended. SIGINT, SIGQUIT, SIGTERM and SIGHUP are passed on to the program
/// unless it got them with the whole process group. Once the program has ended, these signals end
/// the waiting for what it left behind. They stay blocked afterwards. When the board loses power,
/// everything is killed. Returns the program's exit status, or 128 and the number of the signal
/// that killed it; kNotFound or kNotExecutable, with a line on standard error, when it could not be
/// started. Throws std::runtime_error.
[[nodiscard]] int RunOnBoard(const BoardProgram& program);

}  // namespace vam

#endif  // SIMULATOR_RUN_BOARD_PROGRAM_H_
