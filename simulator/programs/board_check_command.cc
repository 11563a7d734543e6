#include <cstddef>
#include <exception>
#include <string>
#include <vector>

#include "command_line/program.h"
#include "simulator/board/board.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/programs/board_commands.h"
#include "simulator/programs/board_files.h"
#include "simulator/state/state_folder.h"

namespace vam {

namespace {

constexpr int kWrongBoard = 1;

/// Throws for a board that no run can be on. Returns what the board is, in words.
std::string Check(const std::string& board) {
  const BoardFile file = LoadBoardFile(board);
  const Board description = ReadBoardText(file.text, file.path);
  const TemporaryFolder folder(kRunFolders);
  // The image file that the board names is read too.
  PrepareStateFolder(folder.Path(), description, file.Folder(), Keeping::kWhilePowered);
  const std::size_t faults = description.faults.size();
  return file.path + ": right: " + description.title +
         (faults == 0   ? ""
          : faults == 1 ? ", with 1 fault"
                        : ", with " + std::to_string(faults) + " faults");
}

}  // namespace

int CheckBoards(const std::vector<std::string>& boards) {
  int status = 0;
  for (const std::string& board : boards) {
    std::string found;
    try {
      found = Check(board);
    } catch (const std::exception& error) {
      Tell("vam-board", ProblemInWords(error));
      status = kWrongBoard;
      continue;
    }
    Print(found + "\n");
  }
  return status;
}

}  // namespace vam
