#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "command_line/program.h"
#include "simulator/board/board.h"
#include "simulator/programs/board_commands.h"
#include "simulator/programs/board_files.h"

namespace vam {

namespace {

std::string Padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text + " ";
}

}  // namespace

void ListBoards(bool asJson) {
  constexpr std::size_t kNameWidth = 32;
  constexpr std::size_t kOutcomeWidth = 15;
  std::string text;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (const std::filesystem::path& file : BoardsThatShip()) {
    const std::string name = file.stem().string();
    const Board board = ReadBoardFile(file.string());
    text += Padded(name, kNameWidth) + Padded(board.outcome, kOutcomeWidth) + board.about + "\n";
    json.push_back({{"name", name},
                    {"title", board.title},
                    {"about", board.about},
                    {"outcome", board.outcome}});
  }
  Print(asJson ? json.dump() + "\n" : text);
}

}  // namespace vam
