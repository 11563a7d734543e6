#ifndef SIMULATOR_PROGRAMS_BOARD_COMMANDS_H_
#define SIMULATOR_PROGRAMS_BOARD_COMMANDS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The commands of vam-board, each with what its command line says. Those that return a number
// return vam-board's exit status. A failure is a std::runtime_error with a line for the user.

namespace vam {

/// What a command that starts a program says of it. An empty path: there is none.
struct LaunchOptions {
  /// The folder that keeps the chip and the status files from run to run.
  std::string state;
  std::string journal;
  /// AK records go into the journal whole, and not as digests.
  bool withKeys = false;
  /// The program's status files are those of the machine's /tmp.
  bool sharesMachinesTmp = false;
  bool showsVerdict = false;
  /// The program and its arguments.
  std::vector<std::string> command;
};

struct RunOptions : LaunchOptions {
  /// The name of a board that ships, or a board file.
  std::string board;
  /// A chip of another board may be put on this one.
  bool takesChipOver = false;
};

struct ReplayOptions : LaunchOptions {
  /// The journal of the recorded run.
  std::string recording;
  /// The first call that the program must make, from 1.
  std::uint32_t firstCall = 1;
};

struct ExploreOptions {
  std::string board;
  bool pairs = false;
  /// How many runs of all; 0: all.
  std::uint64_t sample = 0;
  /// Chooses the sample; none: a fresh one does.
  std::optional<std::uint64_t> seed;
  /// The folder for a board file of each run that breaks a rule; empty: none is written.
  std::string keep;
  bool asJson = false;
  std::vector<std::string> command;
};

/// `run`: runs a program on a board. Returns the program's exit status, as a shell gives it.
[[nodiscard]] int RunProgram(const RunOptions& options);

/// `replay`: runs a program on a recorded run. Returns as RunProgram(), and 123 where the program
/// asks something else than the recorded one.
[[nodiscard]] int ReplayRecording(const ReplayOptions& options);

/// `explore`: runs a program once for each fault at each moment. Returns 1 where a run breaks a
/// rule.
[[nodiscard]] int ExploreProgram(const ExploreOptions& options);

/// `show`: shows a board and the chip in the folder `state`; empty: a new chip.
void ShowBoard(const std::string& board, const std::string& state);

/// `list`: lists the boards that ship.
void ListBoards(bool asJson);

/// `check`: says whether board files are right. Returns 1 where one is not.
[[nodiscard]] int CheckBoards(const std::vector<std::string>& boards);

/// `journal show`: shows a run.
void ShowJournal(const std::string& path, bool asJson);

/// `journal diff`: shows where two runs part. Returns 1 where they do.
[[nodiscard]] int CompareJournals(const std::string& one, const std::string& other);

/// `journal board`: prints a board that repeats a run.
void PrintBoardOfJournal(const std::string& path);

}  // namespace vam

#endif  // SIMULATOR_PROGRAMS_BOARD_COMMANDS_H_
