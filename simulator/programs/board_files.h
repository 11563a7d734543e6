#ifndef SIMULATOR_PROGRAMS_BOARD_FILES_H_
#define SIMULATOR_PROGRAMS_BOARD_FILES_H_

#include <filesystem>
#include <string>
#include <vector>

// Where vam-board finds what it was installed with, and the boards that its user names.

namespace vam {

/// How the names of the folders of runs begin.
inline constexpr char kRunFolders[] = "vam-board";

/// Returns the folder above the program's own. Build tree and installation are laid out alike below
/// it.
[[nodiscard]] std::filesystem::path Prefix();

/// Returns the files of the boards that ship, in the order of their names.
[[nodiscard]] std::vector<std::filesystem::path> BoardsThatShip();

/// A board file's place and contents.
struct BoardFile {
  std::string path;
  std::string text;

  [[nodiscard]] std::string Folder() const {
    return std::filesystem::path(path).parent_path().string();
  }

  /// Returns what tells the board from others: the name of one that ships, else the file's path.
  [[nodiscard]] std::string Identity() const;
};

/// Reads the file of `board`, which is the name of a board that ships, or a path. Throws
/// std::runtime_error, with a line for the user.
[[nodiscard]] BoardFile LoadBoardFile(const std::string& board);

}  // namespace vam

#endif  // SIMULATOR_PROGRAMS_BOARD_FILES_H_
