#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <string>

#include "command_line/program.h"
#include "simulator/board/board.h"
#include "simulator/programs/board_commands.h"
#include "simulator/programs/board_files.h"

namespace vam {

namespace {

constexpr std::size_t kNameWidth = 32;

void ListBoards() {
  std::string text;
  for (const std::filesystem::path& file : BoardsThatShip()) {
    std::string name = file.stem().string();
    name.resize(std::max(name.size(), kNameWidth), ' ');
    text += name + " " + ReadBoardFile(file.string()).title + "\n";
  }
  Print(text);
}

}  // namespace

void AddListCommand(CLI::App& program) {
  program.add_subcommand("list", "List the boards that ship")->callback(&ListBoards);
}

}  // namespace vam
