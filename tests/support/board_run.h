#ifndef TESTS_SUPPORT_BOARD_RUN_H_
#define TESTS_SUPPORT_BOARD_RUN_H_

#include <map>
#include <string>
#include <vector>

namespace vam {

/// Returns the command line that puts `program` on `board`, with the chip kept in `state` and the
/// journal in `journal` where they are not empty.
[[nodiscard]] std::vector<std::string> OnBoard(const std::string& board,
                                               const std::vector<std::string>& program,
                                               const std::string& state = "",
                                               const std::string& journal = "");

/// Does the same where the program is to find the machine's status files in /tmp, and not the
/// board's own.
[[nodiscard]] std::vector<std::string> OnBoardWithMachineTmp(
    const std::string& board, const std::vector<std::string>& program,
    const std::string& state = "");

/// Returns `command`, a run with a state folder, with its chip put on the run's board.
[[nodiscard]] std::vector<std::string> WithTheChipTakenOver(std::vector<std::string> command);

/// Returns the environment for such a run: the launcher's own files stay out of the tested /tmp,
/// and sanitized programs report leaks.
[[nodiscard]] std::map<std::string, std::string> BoardEnvironment();

/// A script for `sh -c` that starts the program $1 with the library $0 preloaded. A blank would end
/// the library's path in LD_PRELOAD, so that it is looked up by its name.
inline constexpr char kPreloading[] =
    "LD_LIBRARY_PATH=\"${0%/*}:$LD_LIBRARY_PATH\" LD_PRELOAD=\"${0##*/}:$LD_PRELOAD\" exec \"$@\"";

/// Paths of the programs under test.
[[nodiscard]] std::string UpdateTool();
[[nodiscard]] std::string Vamctl();
[[nodiscard]] std::string BoardLauncher();

}  // namespace vam

#endif  // TESTS_SUPPORT_BOARD_RUN_H_
