#include "simulator/programs/board_files.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/files/whole_file.h"

namespace vam {

namespace {

namespace fs = std::filesystem;

fs::path BoardsFolder() { return Prefix() / VAM_BOARDS_FOLDER; }

}  // namespace

fs::path Prefix() { return fs::read_symlink("/proc/self/exe").parent_path().parent_path(); }

std::vector<fs::path> BoardsThatShip() {
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(BoardsFolder())) {
    if (entry.path().extension() == ".toml") {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

BoardFile LoadBoardFile(const std::string& board) {
  const bool isPath =
      board.find('/') != std::string::npos || fs::path(board).extension() == ".toml";
  BoardFile file;
  file.path = isPath ? board : (BoardsFolder() / (board + ".toml")).string();
  const std::optional<std::string> text = ReadWholeFile(file.path);
  if (!text) {
    throw std::runtime_error(isPath
                                 ? board + ": cannot be read: " + FileErrorInWords(errno) +
                                       "; give a board file, or a name that `vam-board list` shows"
                                 : "no board is named \"" + board +
                                       "\"; `vam-board list` shows those that there are");
  }
  file.text = *text;
  return file;
}

}  // namespace vam
