// vam-board: puts programs on a simulated board.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <string>

#include "command_line/parsing.h"
#include "command_line/program.h"
#include "simulator/programs/board_commands.h"
#include "simulator/run/board_program.h"
#include "util/standard_output.h"

namespace {

/// Exit status of vam-board's own failures; a program's status passes through.
constexpr int kFailed = 125;

int Perform(int argc, char** argv) {
  CLI::App program("Puts programs on a simulated board.", "vam-board");
  program.set_version_flag("--version", "vam-board " VAM_VERSION);
  int status = 0;
  char** end = argv + argc;
  char** dashes = std::find(argv, end, std::string("--"));
  const std::vector<std::string> typed(dashes == end ? end : dashes + 1, end);
  vam::AddRunCommand(program, typed, status);
  vam::AddReplayCommand(program, typed, status);
  vam::AddExploreCommand(program, typed, status);
  vam::AddShowCommand(program);
  vam::AddListCommand(program);
  vam::AddCheckCommand(program, status);
  vam::AddJournalCommand(program, status);
  static_cast<void>(vam::Parse(program, argc, argv));
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  vam::HoldClosedStandardStreams();
  try {
    return Perform(argc, argv);
  } catch (const vam::NotStarted& error) {
    vam::Tell("vam-board", error.what());
    return error.status;
  } catch (const std::exception& error) {
    vam::Tell("vam-board", vam::ProblemInWords(error));
    return kFailed;
  }
}
