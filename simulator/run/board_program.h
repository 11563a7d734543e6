#ifndef SIMULATOR_RUN_BOARD_PROGRAM_H_
#define SIMULATOR_RUN_BOARD_PROGRAM_H_

#include <string>
#include <vector>

namespace vam {

/// Exit statuses beyond the program's own.
constexpr int kNotExecutable = 126;
constexpr int kNotFound = 127;

/// How a program is put on a board.
struct BoardProgram {
  std::vector<std::string> command;
  /// The run's directory, and the folder of the stand-in libraries.
  std::string runDirectory;
  std::string libraries;
};

/// Runs the program, answers its calls on the device node meanwhile, and waits until it and
/// everything that it started have ended. SIGINT, SIGTERM and SIGHUP are passed on to it; once it
/// has ended they end the waiting for what it left behind. Returns its exit status, 128 and the
/// signal's number when it was killed; kNotFound or kNotExecutable, with a line on standard error,
/// when it could not be started. REQUIRES: a MockNode of the board is up.
[[nodiscard]] int RunOnBoard(const BoardProgram& program);

}  // namespace vam

#endif  // SIMULATOR_RUN_BOARD_PROGRAM_H_
