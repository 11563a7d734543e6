// vam-board: puts programs on a simulated board.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "command_line/parsing.h"
#include "command_line/program.h"
#include "command_line/values.h"
#include "simulator/programs/board_commands.h"
#include "simulator/run/board_program.h"
#include "util/standard_output.h"

namespace {

/// Exit status of vam-board's own failures; a program's status passes through.
constexpr int kFailed = 125;

/// The words after "--", as they were typed: the parser takes words in brackets apart.
using Typed = std::vector<std::string>;

void AddBoardOption(CLI::App* command, std::string& board) {
  CLI::Option* option = command->add_option(
      "--board", board,
      "The name of a board that ships, or a board file; - reads one from standard input");
  vam::TakeNamed(option, vam::kBoardType);
  option->required();
}

CLI::Option* AddFolderOption(CLI::App* command, const char* name, std::string& folder,
                             const char* help) {
  CLI::Option* option = command->add_option(name, folder, help);
  vam::TakeNamed(option, vam::kFolderType);
  return option;
}

CLI::Option* AddSwitch(CLI::App* command, const char* name, bool& value, const char* help) {
  return command->add_flag(name, value, help)->disable_flag_override();
}

/// Adds the options that `run` and `replay` share, but for the state folder's: its help differs.
void AddLaunchOptions(CLI::App* command, vam::LaunchOptions& options) {
  vam::TakeNamed(
      command->add_option("--journal", options.journal, "File for a line on every platform call"),
      vam::kFileType);
  AddSwitch(command, "--with-keys", options.withKeys,
            "Write AK records into the journal, and not only their digests");
  AddSwitch(command, "--verdict", options.showsVerdict,
            "Show the status files when the program has ended");
  AddSwitch(command, "--machine-tmp", options.sharesMachinesTmp,
            "Let the program use the machine's /tmp/VAM_OK and /tmp/VAM_FAIL, and not the "
            "board's own");
}

/// Adds the program that `command` starts, and has it start by `perform`.
template <typename Options>
void AddProgram(CLI::App* command, const std::shared_ptr<Options>& options, const Typed& typed,
                int& status, int (*perform)(const Options&)) {
  command->add_option("PROGRAM", options->command, "The program and its arguments, after --")
      ->type_name(vam::kCommandType)
      ->required();
  command->callback([options, typed, &status, perform] {
    if (!typed.empty()) {
      options->command = typed;
    }
    status = perform(*options);
  });
}

void AddRun(CLI::App& program, const Typed& typed, int& status) {
  const auto options = std::make_shared<vam::RunOptions>();
  CLI::App* run = program.add_subcommand("run", "Run a program on a board");
  AddBoardOption(run, options->board);
  CLI::Option* state = AddFolderOption(run, "--state", options->state,
                                       "Folder that keeps the chip's memory and the status files "
                                       "from run to run; a new chip by default");
  AddSwitch(run, "--other-board", options->takesChipOver,
            "Put the chip of the state folder on this board, also when it is another board's")
      ->needs(state);
  AddLaunchOptions(run, *options);
  AddProgram(run, options, typed, status, vam::RunProgram);
}

void AddReplay(CLI::App& program, const Typed& typed, int& status) {
  const auto options = std::make_shared<vam::ReplayOptions>();
  CLI::App* replay = program.add_subcommand("replay", "Run a program on a recorded run");
  replay->add_option("FILE", options->recording, "The journal of the recorded run")->required();
  replay
      ->add_option("--from-call", options->firstCall,
                   "The first call of the recording that the program must make; 1 by default")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  AddFolderOption(replay, "--state", options->state,
                  "Folder that keeps the status files from run to run");
  AddLaunchOptions(replay, *options);
  AddProgram(replay, options, typed, status, vam::ReplayRecording);
}

void AddExplore(CLI::App& program, const Typed& typed, int& status) {
  const auto options = std::make_shared<vam::ExploreOptions>();
  CLI::App* explore =
      program.add_subcommand("explore", "Run a program once for each fault at each moment");
  AddBoardOption(explore, options->board);
  AddSwitch(explore, "--pairs", options->pairs, "Two faults a run, one of each kind at each place");
  CLI::Option* sample = explore->add_option(
      "--sample", options->sample, "So many runs of all, chosen at random; all by default");
  vam::TakeNumber(sample, 1, INT32_MAX);
  CLI::Option* seed = explore->add_option("--seed", options->seed,
                                          "Choose as the exploration did that showed this seed");
  vam::TakeNumber(seed, 0, INT32_MAX);
  seed->needs(sample);
  AddFolderOption(explore, "--keep", options->keep,
                  "Folder for a board file of each run that breaks a rule");
  AddSwitch(explore, "--json", options->asJson, "Show the results as JSON");
  AddProgram(explore, options, typed, status, vam::ExploreProgram);
}

void AddShow(CLI::App& program) {
  struct Options {
    std::string board;
    std::string state;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* show = program.add_subcommand("show", "Show a board and its chip in words");
  AddBoardOption(show, options->board);
  AddFolderOption(show, "--state", options->state,
                  "Folder that keeps the chip's memory and the status files");
  show->callback([options] { vam::ShowBoard(options->board, options->state); });
}

void AddList(CLI::App& program) {
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* list = program.add_subcommand(
      "list", "List the boards that ship, how a run of the update tool ends there, and why");
  AddSwitch(list, "--json", *asJson, "List them as one JSON array");
  list->callback([asJson] { vam::ListBoards(*asJson); });
}

void AddCheck(CLI::App& program, int& status) {
  const auto boards = std::make_shared<std::vector<std::string>>();
  CLI::App* check =
      program.add_subcommand("check", "Say whether board files are right, or what is wrong");
  CLI::Option* option = check->add_option(
      "BOARD", *boards, "Board files, or names of boards that ship; - reads standard input");
  vam::TakeNamed(option, vam::kBoardType);
  option->required();
  check->callback([boards, &status] { status = vam::CheckBoards(*boards); });
}

void AddJournal(CLI::App& program, int& status) {
  struct Options {
    std::string file;
    std::string other;
    bool asJson = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* journal = program.add_subcommand("journal", "Read the journals of runs");
  journal->require_subcommand(1);

  CLI::App* show = journal->add_subcommand("show", "Show a run in words");
  show->add_option("FILE", options->file, "A journal")->required();
  show->add_flag("--json", options->asJson, "Print JSON instead of text");
  show->callback([options] { vam::ShowJournal(options->file, options->asJson); });

  CLI::App* diff = journal->add_subcommand("diff", "Show where two runs part");
  diff->add_option("A", options->file, "A journal")->required();
  diff->add_option("B", options->other, "Another journal")->required();
  diff->callback(
      [options, &status] { status = vam::CompareJournals(options->file, options->other); });

  CLI::App* board = journal->add_subcommand("board", "Print a board that repeats a run");
  board->add_option("FILE", options->file, "A journal")->required();
  board->callback([options] { vam::PrintBoardOfJournal(options->file); });
}

int Perform(int argc, char** argv) {
  CLI::App program("Puts programs on a simulated board.", "vam-board");
  program.set_version_flag("--version", "vam-board " VAM_VERSION);
  int status = 0;
  char** end = argv + argc;
  char** dashes = std::find(argv, end, std::string("--"));
  const Typed typed(dashes == end ? end : dashes + 1, end);
  AddRun(program, typed, status);
  AddReplay(program, typed, status);
  AddExplore(program, typed, status);
  AddShow(program);
  AddList(program);
  AddCheck(program, status);
  AddJournal(program, status);
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
