#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <memory>
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

}  // namespace

void AddListCommand(CLI::App& program) {
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* list = program.add_subcommand(
      "list", "List the boards that ship, how a run of the update tool ends there, and why");
  list->add_flag("--json", *asJson, "List them as one JSON array")->disable_flag_override();
  list->callback([asJson] { ListBoards(*asJson); });
}

}  // namespace vam
