#ifndef SIMULATOR_RUN_BOARD_PROGRAM_H_
#define SIMULATOR_RUN_BOARD_PROGRAM_H_

#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/board/board.h"

namespace vam {

class PreparedProgram;

/// A program that does not exist, or that cannot be executed.
class NotStarted : public std::runtime_error {
 public:
  NotStarted(const std::string& program, int errorNumber);

  /// The exit status that shells give to it: 127 or 126.
  const int status;
};

/// Returns the path of the program that a shell would start by `name`. Throws NotStarted when there
/// is none that can be executed.
[[nodiscard]] std::string FindProgram(const std::string& name);

/// How a program is put on a board.
struct BoardProgram {
  std::vector<std::string> command;
  /// The run's folder, and the folder of the stand-in libraries.
  std::string runFolder;
  std::string libraries;
  ProbeSection probe;
  /// Those of the program's surroundings are made here.
  std::vector<Fault> faults;
  /// The same program, loaded; null, or not ready: it is executed anew. Where it is not null, every
  /// signal is passed on, also one that the program got by itself.
  PreparedProgram* prepared = nullptr;
};

/// Puts up the board's device node, runs the program, and waits until the program and everything
/// that it started have ended. SIGINT, SIGQUIT, SIGTERM and SIGHUP are passed on to the program
/// unless it got them with the whole process group. Once the program has ended, these signals end
/// the waiting for what it left behind. They stay blocked afterwards. When the board loses power,
/// everything is killed. Returns the program's exit status, or 128 and the number of the signal
/// that killed it. Throws NotStarted, and std::runtime_error for what else goes wrong.
[[nodiscard]] int RunOnBoard(const BoardProgram& program);

}  // namespace vam

#endif  // SIMULATOR_RUN_BOARD_PROGRAM_H_
