#ifndef SIMULATOR_RUN_PROGRAM_CONSOLE_H_
#define SIMULATOR_RUN_PROGRAM_CONSOLE_H_

#include <vector>

#include "simulator/board/board.h"

namespace vam {

/// The standard output that a board gives to its program, in the state that a fault declares.
class ProgramConsole {
 public:
  /// Throws std::runtime_error.
  explicit ProgramConsole(const std::vector<Fault>& faults);
  ~ProgramConsole();
  ProgramConsole(const ProgramConsole&) = delete;
  ProgramConsole& operator=(const ProgramConsole&) = delete;

  /// In the child: makes it standard output. Does nothing where that is as it should be.
  void BecomeStandardOutput() const;

  /// Returns the descriptor that is to be the program's standard output; -1: it is closed.
  [[nodiscard]] int StandardOutput() const;

  /// In the launcher, once the program has started: closes what is the program's alone.
  void LeaveToProgram();

  /// The end of a pipe that the launcher reads after a while; -1: none, or nobody writes any more.
  [[nodiscard]] int ReadingEnd() const { return reading; }

  /// Reads what is there, and passes it on to the launcher's standard output. REQUIRES:
  /// ReadingEnd() is readable.
  void PassOn();

 private:
  Fault::Console state = Fault::Console::kWhole;
  int writing = -1;
  int reading = -1;
  /// How many bytes are to come that filled the pipe from the start.
  long long filling = 0;
};

}  // namespace vam

#endif  // SIMULATOR_RUN_PROGRAM_CONSOLE_H_
