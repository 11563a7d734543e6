#include <cstdio>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/program.h"
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

void ReportFaultsThatNeverFired(const Run& run) {
  for (const Fault* fault : run.FaultsThatNeverFired()) {
    std::fprintf(stderr, "vam-board: fault %u (%s) never fired\n", fault->number,
                 fault->description.c_str());
  }
}

}  // namespace

int RunProgram(const RunOptions& options) {
  const BoardFile file = LoadBoardFile(options.board);
  const Board description = ReadBoardText(file.text, file.path);
  RemoveLeftOverFolders(kRunFolders);
  const TemporaryFolder folder(kRunFolders);
  const bool isKept = !options.state.empty();
  const std::string stateFolder =
      isKept ? fs::absolute(options.state).string() : Run::OwnStateFolder(folder.Path());
  RefuseToOverwrite({file.path, "", ImageFileOf(description, file.Folder()),
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

}  // namespace vam
