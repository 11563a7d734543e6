#include "simulator/programs/board_files.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "command_line/program.h"
#include "command_line/words.h"
#include "simulator/board/board.h"
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

std::string BoardFile::Identity() const {
  std::error_code error;
  const fs::path file = fs::canonical(path, error);
  // What was read from standard input has no file.
  if (error) {
    return path;
  }
  const bool ships = file.parent_path() == fs::canonical(BoardsFolder(), error);
  return ships ? file.stem().string() : file.string();
}

BoardFile LoadBoardFile(const std::string& board) {
  if (board == kStandardStream) {
    return {"standard input", ReadStandardInput()};
  }
  const bool isPath =
      board.find('/') != std::string::npos || fs::path(board).extension() == ".toml";
  BoardFile file;
  file.path = isPath ? board : (BoardsFolder() / (board + ".toml")).string();
  const std::optional<std::string> text = ReadWholeFile(file.path, kBoardFileLimit);
  if (!text && isPath) {
    throw std::runtime_error(board + ": cannot be read: " + FileErrorInWords(errno) +
                             "; give a board file, or a name that `vam-board list` shows");
  }
  if (!text) {
    std::vector<std::string> names;
    for (const fs::path& ships : BoardsThatShip()) {
      names.push_back(ships.stem().string());
    }
    throw std::runtime_error("no board is named " + Quoted(board) + Suggestion(board, names) +
                             "; `vam-board list` shows those that there are");
  }
  file.text = *text;
  return file;
}

}  // namespace vam
