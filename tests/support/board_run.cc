#include "tests/support/board_run.h"

#include <map>
#include <string>
#include <vector>

#include "tests/support/private_tmp.h"

namespace vam {

std::vector<std::string> OnBoard(const std::string& board, const std::vector<std::string>& program,
                                 const std::string& state, const std::string& journal) {
  std::vector<std::string> command = {BoardLauncher(), "run", "--board", board};
  if (!state.empty()) {
    command.insert(command.end(), {"--state", state});
  }
  if (!journal.empty()) {
    command.insert(command.end(), {"--journal", journal});
  }
  command.emplace_back("--");
  command.insert(command.end(), program.begin(), program.end());
  return command;
}

std::vector<std::string> OnBoardWithMachineTmp(const std::string& board,
                                               const std::vector<std::string>& program,
                                               const std::string& state) {
  std::vector<std::string> command = OnBoard(board, program, state);
  command.insert(command.begin() + 2, "--machine-tmp");
  return command;
}

std::vector<std::string> WithTheChipTakenOver(std::vector<std::string> command) {
  command.insert(command.begin() + 2, "--other-board");
  return command;
}

std::map<std::string, std::string> BoardEnvironment() {
  return {{"TMPDIR", PrivateTmp::Folder()}, {"ASAN_OPTIONS", "detect_leaks=1"}};
}

std::string UpdateTool() { return VAM_UPDATE_TOOL; }

std::string Vamctl() { return VAM_VAMCTL; }

std::string BoardLauncher() { return VAM_BOARD_PROGRAM; }

}  // namespace vam
