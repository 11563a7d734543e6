#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/program.h"
#include "command_line/values.h"
#include "journal/journal.h"
#include "simulator/board/board.h"
#include "simulator/files/temporary_folder.h"
#include "simulator/files/whole_file.h"
#include "simulator/programs/board_commands.h"
#include "simulator/programs/board_files.h"
#include "simulator/programs/board_launch.h"
#include "simulator/programs/run_files.h"
#include "simulator/run/board_program.h"
#include "simulator/run/board_status.h"
#include "simulator/run/run.h"
#include "simulator/state/state_claim.h"
#include "simulator/state/state_folder.h"

namespace vam {

namespace {

namespace fs = std::filesystem;

struct RunOptions {
  std::string board;
  std::string state;
  std::string journal;
  bool withKeys = false;
  bool sharesMachinesTmp = false;
  bool showsVerdict = false;
  bool takesChipOver = false;
  std::vector<std::string> command;
};

void ReportFaultsThatNeverFired(const Run& run) {
  for (const Fault* fault : run.FaultsThatNeverFired()) {
    std::fprintf(stderr, "vam-board: fault %u (%s) never fired\n", fault->number,
                 fault->description.c_str());
  }
}

int RunProgram(const RunOptions& options) {
  const BoardFile file = LoadBoardFile(options.board);
  const Board description = ReadBoardText(file.text, file.path);
  RemoveLeftOverFolders(kRunFolders);
  const TemporaryFolder folder(kRunFolders);
  const bool isKept = !options.state.empty();
  const std::string stateFolder =
      isKept ? fs::absolute(options.state).string() : Run::OwnStateFolder(folder.Path());
  RefuseToOverwrite({file.path, ImageFileOf(description, file.Folder()),
                     FindProgram(options.command[0]), isKept ? stateFolder : "", options.journal});
  std::optional<StateClaim> claim;
  if (isKept) {
    claim.emplace(stateFolder, file.Identity(), options.takesChipOver);
  }
  PrepareStateFolder(stateFolder, description, file.Folder(),
                     isKept ? Keeping::kThroughPowerFailure : Keeping::kWhilePowered);
  if (claim) {
    claim->Record();
  }
  JournalSettings settings;
  settings.withKeys = options.withKeys;
  const std::string journalFile = StartRunJournal(options.journal, options.command, settings);
  Run::Prepare(folder.Path(), file.text, file.path, isKept ? stateFolder : "", journalFile,
               settings);
  if (!options.sharesMachinesTmp) {
    LeadToStatusFiles(folder.Path(), stateFolder, description.faults);
  }
  const BoardStatus statusFiles(options.sharesMachinesTmp ? "/tmp" : stateFolder);

  const int status = RunOnBoard(
      {options.command, folder.Path(), LibrariesFolder(), description.probe, description.faults});
  const Run run(folder.Path());
  ReportFaultsThatNeverFired(run);
  if (options.showsVerdict) {
    Print(statusFiles.DescribeChanges());
  }
  if (run.HasTrouble()) {
    throw std::runtime_error(run.TroubleInWords());
  }
  if (!options.sharesMachinesTmp) {
    statusFiles.RequireRoom();
  }
  return status;
}

}  // namespace

void AddRunCommand(CLI::App& program, const std::vector<std::string>& typed, int& status) {
  const auto options = std::make_shared<RunOptions>();
  CLI::App* run = program.add_subcommand("run", "Run a program on a board");
  AddBoardOption(run, options->board);
  CLI::Option* state = run->add_option("--state", options->state,
                                       "Folder that keeps the chip's memory and the status files "
                                       "from run to run; a new chip by default");
  TakeNamed(state, kFolderType);
  run->add_flag("--other-board", options->takesChipOver,
                "Put the chip of the state folder on this board, also when it is another board's")
      ->disable_flag_override()
      ->needs(state);
  TakeNamed(
      run->add_option("--journal", options->journal, "File for a line on every platform call"),
      kFileType);
  run->add_flag("--with-keys", options->withKeys,
                "Write AK records into the journal, and not only their digests")
      ->disable_flag_override();
  run->add_flag("--verdict", options->showsVerdict,
                "Show the status files when the program has ended")
      ->disable_flag_override();
  run->add_flag("--machine-tmp", options->sharesMachinesTmp,
                "Let the program use the machine's /tmp/VAM_OK and /tmp/VAM_FAIL, and not the "
                "board's own")
      ->disable_flag_override();
  run->add_option("PROGRAM", options->command, "The program and its arguments, after --")
      ->type_name(kCommandType)
      ->required();
  run->callback([options, typed, &status] {
    // The parser takes words in brackets apart.
    if (!typed.empty()) {
      options->command = typed;
    }
    status = RunProgram(*options);
  });
}

}  // namespace vam
